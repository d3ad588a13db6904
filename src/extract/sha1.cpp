#include "extract/sha1.h"

#include <bit>
#include <utility>

namespace {

constexpr std::array<std::uint32_t, 5> start_state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
constexpr std::uint32_t round_constants[4] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};

constexpr std::uint32_t swapped(std::uint32_t value) {
    return (value << 24) | ((value & 0xff00) << 8) | ((value >> 8) & 0xff00) | (value >> 24);
}

// As with MD5, the majority is written as a sum of two halves that share no bit.
template <std::size_t round>
std::uint32_t mixed(std::uint32_t sum, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0) return sum + (d ^ (b & (c ^ d)));
    if constexpr (round == 2) return sum + (c & d) + (b & (c ^ d));
    return sum + (b ^ c ^ d);
}

// The message's words take turns in a ring of 16.
template <std::size_t step>
std::uint32_t next_word(std::array<std::uint32_t, 16>& words, const std::uint8_t* block) {
    std::uint32_t& word = words[step % 16];
    if constexpr (step < 16) {
        std::memcpy(&word, block + 4 * step, sizeof word);
        word = swapped(word);
    } else {
        word = std::rotl(word ^ words[(step + 2) % 16] ^ words[(step + 8) % 16] ^ words[(step + 13) % 16], 1);
    }
    return word;
}

template <std::size_t step>
void run_step(std::array<std::uint32_t, 5>& s, std::array<std::uint32_t, 16>& words, const std::uint8_t* block) {
    constexpr std::size_t a = (80 - step) % 5, b = (a + 1) % 5, c = (a + 2) % 5, d = (a + 3) % 5, e = (a + 4) % 5;
    const std::uint32_t sum = s[e] + next_word<step>(words, block) + round_constants[step / 20];
    s[e] = mixed<step / 20>(sum, s[b], s[c], s[d]) + std::rotl(s[a], 5);
    s[b] = std::rotl(s[b], 30);
}

template <std::size_t... steps>
void run_steps(std::array<std::uint32_t, 5>& s, const std::uint8_t* block, std::index_sequence<steps...>) {
    std::array<std::uint32_t, 16> words;
    (run_step<steps>(s, words, block), ...);
}

}  // namespace

void sha1_blocks_portable(std::uint32_t* state, const std::uint8_t* blocks, std::size_t count) {
    std::array<std::uint32_t, 5> s;
    std::memcpy(s.data(), state, sizeof s);
    for (std::size_t index = 0; index < count; ++index) {
        const std::array<std::uint32_t, 5> before = s;
        run_steps(s, blocks + index * message_blocks::block_size, std::make_index_sequence<80>());
        for (std::size_t word = 0; word < s.size(); ++word) s[word] += before[word];
    }
    std::memcpy(state, s.data(), sizeof s);
}

sha1_block_function fastest_sha1_blocks() {
    static const sha1_block_function hardware = hardware_sha1_blocks();
    return hardware != nullptr ? hardware : sha1_blocks_portable;
}

void sha1_context::init() {
    state = start_state;
    message.length = 0;
}

void sha1_context::update(byte_view bytes) {
    message.feed(bytes, [this](const std::uint8_t* at, std::size_t count) { blocks(state.data(), at, count); });
}

sha1_value sha1_context::finish() {
    message.end(false, [this](const std::uint8_t* at, std::size_t count) { blocks(state.data(), at, count); });
    sha1_value value;
    for (std::size_t index = 0; index < value.size(); ++index) {
        value[index] = static_cast<std::uint8_t>(state[index / 4] >> (24 - 8 * (index % 4)));
    }
    return value;
}
