// Bytes that come in pieces, as the whole blocks of 64 that MD5 and SHA-1 work on, and the end of a message.
// Called by md5 and sha1, which differ only in what they do to a block and in the order of the length's bytes.
// Keeps at most one block; whole blocks of a piece go on from where they lie.
#pragma once

#include <array>
#include <cstdint>

#include "base/bytes.h"

struct message_blocks {
    static constexpr std::size_t block_size = 64;
    static constexpr std::size_t length_size = 8;

    std::uint64_t length = 0;  // bytes fed so far
    std::array<std::uint8_t, block_size> pending{};

    // `run_blocks` is called with a pointer and a count of whole blocks.
    template <class block_function>
    void feed(byte_view bytes, block_function run_blocks) {
        const std::size_t held = length % block_size;
        length += bytes.size;
        if (held > 0) {
            const byte_view head = bytes.part(0, block_size - held);
            head.copy(0, pending.data() + held, head.size);
            bytes = bytes.part(head.size, bytes.size);
            if (held + head.size < block_size) return;
            run_blocks(pending.data(), std::size_t{1});
        }
        const byte_view tail = bytes.part(bytes.size - bytes.size % block_size, block_size);
        if (bytes.size >= block_size) run_blocks(bytes.data, bytes.size / block_size);
        tail.copy(0, pending.data(), tail.size);
    }

    // A bit of 1, zeros, and the length in bits, lowest byte first or last.
    template <class block_function>
    void end(bool lowest_first, block_function run_blocks) {
        const std::uint64_t bits = length * 8;
        std::array<std::uint8_t, block_size + length_size> padding{0x80};
        const std::size_t filled = length % block_size;
        const std::size_t fill =
            (filled < block_size - length_size ? block_size : 2 * block_size) - filled - length_size;
        for (std::size_t index = 0; index < length_size; ++index) {
            const std::size_t shift = 8 * (lowest_first ? index : length_size - 1 - index);
            padding[fill + index] = static_cast<std::uint8_t>(bits >> shift);
        }
        feed({padding.data(), fill + length_size}, run_blocks);
    }
};
