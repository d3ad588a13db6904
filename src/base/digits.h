// Digits written in place, for the row path: the caller has made room.
// Called by the writer and by the appenders of numbers.h.
// Writes no sign, no prefix and no terminator; each returns the place behind what it wrote.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace digits {

constexpr std::size_t most_decimal = 20;  // digits of a 64-bit number
constexpr std::size_t most_hex = 16;

constexpr std::array<char, 200> build_pairs() {
    std::array<char, 200> pairs{};
    for (std::size_t value = 0; value < 100; ++value) {
        pairs[2 * value] = static_cast<char>('0' + value / 10);
        pairs[2 * value + 1] = static_cast<char>('0' + value % 10);
    }
    return pairs;
}
inline constexpr std::array<char, 200> pairs = build_pairs();

constexpr std::array<char, 512> build_hex_pairs() {
    std::array<char, 512> made{};
    for (std::size_t value = 0; value < 256; ++value) {
        made[2 * value] = "0123456789abcdef"[value >> 4];
        made[2 * value + 1] = "0123456789abcdef"[value & 15];
    }
    return made;
}
inline constexpr std::array<char, 512> hex_pairs = build_hex_pairs();

// `value` below 100.
inline char* put_two(char* to, unsigned value) {
    std::memcpy(to, &pairs[2 * value], 2);
    return to + 2;
}

inline std::size_t count_decimal(std::uint64_t value) {
    std::size_t count = 1;
    for (; value >= 10; value /= 10) ++count;
    return count;
}

inline std::size_t count_hex(std::uint64_t value) {
    return value == 0 ? 1 : (67 - static_cast<std::size_t>(__builtin_clzll(value))) / 4;
}

// At least `count` digits, with zeros ahead.
inline char* put_decimal(char* to, std::uint64_t value, std::size_t count = 1) {
    const std::size_t needed = count_decimal(value);
    char* const end = to + (needed > count ? needed : count);
    for (char* at = end; at != to; value /= 10) *--at = static_cast<char>('0' + value % 10);
    return end;
}

inline char* put_hex(char* to, std::uint64_t value, std::size_t count = 1) {
    const std::size_t needed = count_hex(value);
    char* const end = to + (needed > count ? needed : count);
    char* at = end;
    for (; at - to >= 2; value >>= 8) std::memcpy(at -= 2, &hex_pairs[2 * (value & 0xFF)], 2);
    if (at != to) *to = hex_pairs[2 * (value & 15) + 1];
    return end;
}

}  // namespace digits
