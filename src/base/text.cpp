#include "base/text.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "base/lower_table.h"

namespace {

constexpr std::array<char16_t, 65536> build_lower_table() {
    std::array<char16_t, 65536> table{};
    for (std::size_t unit = 0; unit < table.size(); ++unit) table[unit] = static_cast<char16_t>(unit);
    for (const lower_range& range : lower_ranges) {
        for (std::size_t unit = range.first; unit <= range.last; unit += range.step) {
            table[unit] = static_cast<char16_t>(static_cast<std::int32_t>(unit) + range.delta);
        }
    }
    return table;
}

constexpr std::array<char16_t, 65536> lower_table = build_lower_table();

constexpr bool is_high_surrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool is_low_surrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }
constexpr bool is_blank(char32_t unit) { return unit == ' ' || unit == '\t'; }
constexpr bool is_trimmed(char32_t unit) { return is_blank(unit) || unit == '\r' || unit == '\n'; }
constexpr char lower_ascii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

std::size_t put_code(char* to, std::uint32_t code) {
    if (code < 0x80) {
        to[0] = static_cast<char>(code);
        return 1;
    }
    if (code < 0x800) {
        to[0] = static_cast<char>(0xC0 | (code >> 6));
        to[1] = static_cast<char>(0x80 | (code & 0x3F));
        return 2;
    }
    if (code < 0x10000) {
        to[0] = static_cast<char>(0xE0 | (code >> 12));
        to[1] = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        to[2] = static_cast<char>(0x80 | (code & 0x3F));
        return 3;
    }
    to[0] = static_cast<char>(0xF0 | (code >> 18));
    to[1] = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    to[2] = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    to[3] = static_cast<char>(0x80 | (code & 0x3F));
    return 4;
}

// The code point at `at`, which moves behind it. False, with `at` unmoved, where the bytes are no UTF-8:
// stray or missing continuation bytes, forms longer than needed, surrogates, beyond 0x10FFFF.
bool take_utf8(std::string_view text, std::size_t& at, std::uint32_t& code) {
    const auto byte = [&](std::size_t index) { return static_cast<std::uint8_t>(text[index]); };
    const std::uint8_t first = byte(at);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0 || text.size() - at < length) return false;
    code = length == 1 ? first : first & (0xFFu >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(at + index) & 0xC0) != 0x80) return false;
        code = (code << 6) | (byte(at + index) & 0x3Fu);
    }
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    at += length;
    return true;
}

template <class view>
view trim_view(view text, bool (*at_front)(char32_t)) {
    while (!text.empty() && at_front(static_cast<char32_t>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && is_trimmed(static_cast<char32_t>(text.back()))) text.remove_suffix(1);
    return text;
}

// Four units at a time while they are ASCII; returns how many were written. Most names are nothing else.
std::size_t put_ascii(char* to, std::u16string_view text) {
    std::size_t at = 0;
    for (; at + 4 <= text.size(); at += 4) {
        std::uint64_t units = 0;
        std::memcpy(&units, text.data() + at, sizeof units);
        if ((units & 0xFF80'FF80'FF80'FF80) != 0) break;
        units = (units | (units >> 8)) & 0x0000'FFFF'0000'FFFF;
        const auto packed = static_cast<std::uint32_t>(units | (units >> 16));
        std::memcpy(to + at, &packed, sizeof packed);
    }
    for (; at < text.size() && text[at] < 0x80; ++at) to[at] = static_cast<char>(text[at]);
    return at;
}

template <bool keeps_lone>
char* put_units(char* to, std::u16string_view text, bool& complete) {
    complete = true;
    std::size_t at = put_ascii(to, text);
    to += at;
    while (at < text.size()) {
        std::uint32_t code = text[at++];
        const bool paired =
            is_high_surrogate(static_cast<char16_t>(code)) && at < text.size() && is_low_surrogate(text[at]);
        if (paired) {
            code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<std::uint32_t>(text[at++]) - 0xDC00);
        } else if (!keeps_lone && is_high_surrogate(static_cast<char16_t>(code))) {
            complete = false;
            break;
        }
        to += put_code(to, code);
    }
    return to;
}

}  // namespace

char* put_utf8(char* to, std::u16string_view text, bool& complete) { return put_units<false>(to, text, complete); }

char* put_whole_utf8(char* to, std::u16string_view text) {
    bool complete = true;
    return put_units<true>(to, text, complete);
}

char16_t take_unit_or_utf8(std::string_view text, std::size_t& at) {
    std::uint32_t code = 0;
    if (take_utf8(text, at, code)) return 0;
    const auto byte = [&](std::size_t index) { return static_cast<std::uint8_t>(text[at + index]); };
    const bool is_surrogate = text.size() - at >= 3 && byte(0) == 0xED && (byte(1) & 0xE0) == 0xA0 &&  //
                              (byte(2) & 0xC0) == 0x80;
    const unsigned unit = is_surrogate ? 0xD000u | ((byte(1) & 0x3Fu) << 6) | (byte(2) & 0x3Fu) : 0xDC00u + byte(0);
    at += is_surrogate ? 3 : 1;
    return static_cast<char16_t>(unit);
}

bool append_utf8(std::string& out, std::u16string_view text) {
    const std::size_t start = out.size();
    out.resize(start + text.size());
    const std::size_t plain = put_ascii(out.data() + start, text);
    if (plain == text.size()) return true;
    out.resize(start + most_utf8 * text.size());
    bool complete = true;
    const char* end = put_utf8(out.data() + start + plain, text.substr(plain), complete);
    out.resize(static_cast<std::size_t>(end - out.data()));
    return complete;
}

std::string utf8_from_utf16(std::u16string_view text) {
    std::string out;
    append_utf8(out, text);
    return out;
}

std::u16string utf16_from_utf8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        std::uint32_t code = 0;
        if (!take_utf8(text, at, code)) {
            out.push_back(static_cast<char16_t>(0xDC00 + static_cast<std::uint8_t>(text[at])));
            ++at;
        } else if (code < 0x10000) {
            out.push_back(static_cast<char16_t>(code));
        } else {
            out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
        }
    }
    return out;
}

std::string bytes_from_utf16(std::u16string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] >= 0xDC80 && text[at] <= 0xDCFF) {
            out += static_cast<char>(text[at] - 0xDC00);
            ++at;
            continue;
        }
        const bool pair = is_high_surrogate(text[at]) && at + 1 < text.size() && is_low_surrogate(text[at + 1]);
        append_utf8(out, text.substr(at, pair ? 2 : 1));
        at += pair ? 2 : 1;
    }
    return out;
}

char16_t lower_unit(char16_t unit) { return lower_table[unit]; }

void lower_in_place(std::u16string& text) {
    std::size_t at = 0;
    // Four units at a time while they are ASCII: a sum that reaches a unit's bit 7 tells a letter from "A" on, or one
    // behind "Z", and that bit moved down by two is what lower case adds.
    for (; at + 4 <= text.size(); at += 4) {
        std::uint64_t units = 0;
        std::memcpy(&units, text.data() + at, sizeof units);
        if ((units & 0xFF80'FF80'FF80'FF80) != 0) break;
        const std::uint64_t from_a = units + 0x003F'003F'003F'003F, behind_z = units + 0x0025'0025'0025'0025;
        units += ((from_a & ~behind_z) & 0x0080'0080'0080'0080) >> 2;
        std::memcpy(text.data() + at, &units, sizeof units);
    }
    for (; at < text.size(); ++at) text[at] = lower_table[text[at]];
}

std::u16string lowered(std::u16string_view text) {
    std::u16string out(text);
    lower_in_place(out);
    return out;
}

std::string lowered_ascii(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = lower_ascii(c);
    return out;
}

bool equals_ignoring_case(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) return false;
    for (std::size_t at = 0; at < left.size(); ++at) {
        if (lower_ascii(left[at]) != lower_ascii(right[at])) return false;
    }
    return true;
}

std::size_t find_nul(std::u16string_view text) {
    std::size_t at = 0;
    // Four units at a time: a borrow into a unit's top bit tells a zero.
    for (; at + 4 <= text.size(); at += 4) {
        std::uint64_t units = 0;
        std::memcpy(&units, text.data() + at, sizeof units);
        if (((units - 0x0001'0001'0001'0001) & ~units & 0x8000'8000'8000'8000) != 0) break;
    }
    while (at < text.size() && text[at] != 0) ++at;
    return at;
}

std::string_view trimmed(std::string_view text) { return trim_view(text, is_trimmed); }
std::u16string_view trimmed(std::u16string_view text) { return trim_view(text, is_trimmed); }
std::u16string_view trimmed_path(std::u16string_view text) { return trim_view(text, is_blank); }
