#include "extract/md5.h"

#include <bit>
#include <utility>

namespace {

constexpr std::array<std::uint32_t, 4> start_state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// 2^32 times the sine of 1 to 64 radians, its sign and fraction dropped.
constexpr std::array<std::uint32_t, 64> sines = {
    // clang-format off
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
    // clang-format on
};

constexpr std::uint32_t first_word[4] = {0, 1, 5, 0};  // of a round, and how far it goes from step to step
constexpr std::uint32_t word_stride[4] = {1, 5, 3, 7};
constexpr int turns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// What a step adds to `a`. Of the second round's two halves no bit is set in both, so that they may be added: the sum
// without b does not have to wait for the step ahead, which is what MD5's speed hangs on.
template <std::size_t round>
std::uint32_t mixed(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0) return a + (d ^ (b & (c ^ d)));
    if constexpr (round == 1) return a + (~d & c) + (d & b);
    if constexpr (round == 2) return a + (b ^ (c ^ d));
    return a + (c ^ (b | ~d));
}

template <std::size_t step>
void run_step(std::array<std::uint32_t, 4>& s, const std::array<std::uint32_t, 16>& words) {
    constexpr std::size_t round = step / 16;
    constexpr std::size_t a = (64 - step) % 4, b = (a + 1) % 4, c = (a + 2) % 4, d = (a + 3) % 4;
    constexpr std::size_t word = (first_word[round] + word_stride[round] * (step % 16)) % 16;
    const std::uint32_t sum = mixed<round>(s[a] + words[word] + sines[step], s[b], s[c], s[d]);
    s[a] = s[b] + std::rotl(sum, turns[round][step % 4]);
}

template <std::size_t... steps>
void run_steps(std::array<std::uint32_t, 4>& s, const std::array<std::uint32_t, 16>& words,
               std::index_sequence<steps...>) {
    (run_step<steps>(s, words), ...);
}

void run_blocks(std::array<std::uint32_t, 4>& state, const std::uint8_t* blocks, std::size_t count) {
    const byte_view bytes(blocks, count * message_blocks::block_size);
    std::array<std::uint32_t, 4> s = state;
    for (std::size_t at = 0; at < bytes.size; at += message_blocks::block_size) {
        std::array<std::uint32_t, 16> words;
        std::memcpy(words.data(), bytes.data + at, sizeof words);
        const std::array<std::uint32_t, 4> before = s;
        run_steps(s, words, std::make_index_sequence<64>());
        for (std::size_t index = 0; index < s.size(); ++index) s[index] += before[index];
    }
    state = s;
}

}  // namespace

void md5_context::init() {
    state = start_state;
    message.length = 0;
}

void md5_context::update(byte_view bytes) {
    message.feed(bytes, [this](const std::uint8_t* blocks, std::size_t count) { run_blocks(state, blocks, count); });
}

md5_value md5_context::finish() {
    message.end(true, [this](const std::uint8_t* blocks, std::size_t count) { run_blocks(state, blocks, count); });
    md5_value value;
    std::memcpy(value.data(), state.data(), value.size());
    return value;
}
