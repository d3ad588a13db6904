// SHA-1 as FIPS 180-1 tells it, over bytes that come in pieces.
// Called by the stream reader of digests.h.
// Picks the processor's own instructions at run time where platform/sha1_blocks.h offers them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "extract/message_blocks.h"
#include "platform/sha1_blocks.h"

using sha1_value = std::array<std::uint8_t, 20>;

// `count` blocks of 64 bytes into `state`, without any instruction that not every processor has.
void sha1_blocks_portable(std::uint32_t* state, const std::uint8_t* blocks, std::size_t count);
// The fastest that this processor can run.
sha1_block_function fastest_sha1_blocks();

struct sha1_context {
    std::array<std::uint32_t, 5> state{};
    message_blocks message;
    sha1_block_function blocks;

    explicit sha1_context(sha1_block_function function = fastest_sha1_blocks()) : blocks(function) { init(); }
    void init();
    void update(byte_view bytes);
    // Ends the message; the context must be initialised before it is fed again.
    sha1_value finish();
};
