#include "platform/sha1_blocks.h"

#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

#include <utility>

#define WITH_SHA __attribute__((target("sha,sse4.1")))

namespace {

// The message's words, four to a register: each group of 16 makes way for the next.
using word_ring = __m128i[4];

WITH_SHA inline __m128i load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }

// Four steps. `carried` is the state ahead of the four steps before: the instructions take e from its first word.
template <std::size_t group>
WITH_SHA inline __attribute__((always_inline)) void run_group(__m128i& abcd, __m128i& carried, word_ring& words,
                                                              const std::uint8_t* block) {
    __m128i& now = words[group % 4];
    if constexpr (group < 4) {
        const __m128i to_big_endian = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
        now = _mm_shuffle_epi8(load(block + 16 * group), to_big_endian);
    } else {
        const __m128i sum = _mm_xor_si128(_mm_sha1msg1_epu32(now, words[(group + 1) % 4]), words[(group + 2) % 4]);
        now = _mm_sha1msg2_epu32(sum, words[(group + 3) % 4]);
    }
    const __m128i e_and_words = group == 0 ? _mm_add_epi32(carried, now) : _mm_sha1nexte_epu32(carried, now);
    carried = abcd;
    abcd = _mm_sha1rnds4_epu32(abcd, e_and_words, group / 5);
}

template <std::size_t... groups>
WITH_SHA inline __attribute__((always_inline)) void run_groups(__m128i& abcd, __m128i& carried,
                                                               const std::uint8_t* block,
                                                               std::index_sequence<groups...>) {
    word_ring words;
    (run_group<groups>(abcd, carried, words, block), ...);
}

WITH_SHA void run_blocks(std::uint32_t* state, const std::uint8_t* blocks, std::size_t count) {
    constexpr int reversed = 0x1b;
    constexpr std::size_t block_size = 64;
    __m128i abcd = _mm_shuffle_epi32(load(state), reversed);
    __m128i e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
    for (std::size_t index = 0; index < count; ++index) {
        const __m128i abcd_before = abcd, e_before = e;
        run_groups(abcd, e, blocks + index * block_size, std::make_index_sequence<20>());
        e = _mm_sha1nexte_epu32(e, e_before);
        abcd = _mm_add_epi32(abcd, abcd_before);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(state), _mm_shuffle_epi32(abcd, reversed));
    state[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e, 3));
}

// Asked of the processor itself: the compiler's own question does not know these instructions in every version.
bool processor_has_sha() {
    constexpr unsigned ssse3 = 1u << 9, sse41 = 1u << 19, sha = 1u << 29;
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & ssse3) == 0 || (c & sse41) == 0) return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & sha) != 0;
}

}  // namespace

sha1_block_function hardware_sha1_blocks() { return processor_has_sha() ? run_blocks : nullptr; }

#else

sha1_block_function hardware_sha1_blocks() { return nullptr; }

#endif
