#include "base/numbers.h"

#include <algorithm>

#include "base/digits.h"
#include "base/text.h"

namespace {

int digit_of(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return 99;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The usual conversion: blanks, a sign, a "0x" in front of hexadecimal digits; it stops at the first bad character and
// saturates.
std::uint64_t converted(std::string_view text, unsigned base) {
    text = trimmed(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (base == 16 && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
    std::uint64_t value = 0;
    for (const char c : text) {
        const auto digit = static_cast<unsigned>(digit_of(c));
        if (digit >= base) break;
        if (value > (~std::uint64_t{0} - digit) / base) return ~std::uint64_t{0};
        value = value * base + digit;
    }
    return negative ? 0 - value : value;
}

std::uint32_t saturated_u32(std::uint64_t value) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, ~std::uint32_t{0}));
}

// Plain accumulation that wraps around: long decimal texts are not checked digit by digit.
std::uint64_t unchecked_decimal(std::string_view text) {
    std::uint64_t value = 0;
    for (const char c : text) value = value * 10 + static_cast<std::uint64_t>(c - '0');
    return value;
}

std::string_view behind(std::string_view text, std::size_t at) { return text.substr(std::min(at, text.size())); }

constexpr std::size_t longest_checked_decimal = 9;

}  // namespace

std::string low_bytes(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char16_t unit : text) out += static_cast<char>(unit & 0xFF);
    return out;
}

bool parse_u64(std::string_view text, std::uint64_t& value) {
    const std::string lower = lowered_ascii(trimmed(text));
    if (lower.empty()) return false;
    if (const std::size_t x = lower.find('x'); x != std::string::npos) {
        value = converted(behind(lower, x + 1), 16);
        return true;
    }
    if (const std::size_t o = lower.find('o'); o != std::string::npos) {
        value = converted(behind(lower, o + 1), 8);
        return true;
    }
    if (!is_digit(lower.front())) return false;
    value = converted(lower, 10);
    return true;
}

void parse_u32(std::string_view text, std::uint32_t& value) {
    value = 0;
    const std::string lower = lowered_ascii(trimmed(text));
    if (lower.empty()) return;
    if (lower.size() > 1 && lower[1] == 'x') {
        value = saturated_u32(converted(behind(lower, 2), 16));
    } else if (lower.front() == 'x') {
        value = saturated_u32(converted(behind(lower, 1), 16));
    } else if (lower.front() == 'o') {
        value = saturated_u32(converted(behind(lower, 1), 8));
    } else if (is_digit(lower.front())) {
        value = saturated_u32(converted(lower, 10));
    } else if (lower.size() == 3 && lower.front() == '\'' && lower.back() == '\'') {
        value = static_cast<std::uint8_t>(trimmed(text)[1]);
    }
}

void parse_i32(std::string_view text, std::int32_t& value) {
    const std::string lower = lowered_ascii(trimmed(text));
    if (lower.empty()) return;
    if (const std::size_t x = lower.find('x'); x != std::string::npos) {
        value = static_cast<std::int32_t>(converted(behind(lower, x + 1), 16));
    } else if (const std::size_t o = lower.find('o'); o != std::string::npos) {
        value = static_cast<std::int32_t>(converted(behind(lower, o + 1), 8));
    } else if (is_digit(lower.front()) || lower.front() == '-' || lower.front() == '+') {
        value = static_cast<std::int32_t>(converted(lower, 10));
    }
}

bool parse_size(std::string_view text, std::uint64_t& value) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    if (text.empty()) return false;
    const bool second_is_x = text.size() > 1 && (text[1] == 'x' || text[1] == 'X');
    const bool first_is_x = text[0] == 'x' || text[0] == 'X';
    if (text.size() > 2 && (first_is_x || second_is_x)) {
        const std::string_view digits = text.substr(2);
        if (digits.size() > 16) return false;
        value = converted(digits, 16);
        return true;
    }
    if (text[0] == 'o' || text[0] == 'O') {
        const std::string_view digits = text.substr(1);
        if (digits.size() > 22) return false;
        value = converted(digits, 8);
        return true;
    }
    if (text.size() > 20 || !is_digit(text[0])) return false;
    value = text.size() > longest_checked_decimal ? unchecked_decimal(text) : converted(text, 10);
    return true;
}

void split_list(std::vector<std::u16string>& out, std::u16string_view value, std::string_view delimiters) {
    out.clear();
    for (const char delimiter : delimiters) {
        const auto unit = static_cast<char16_t>(delimiter);
        if (value.find(unit) == std::u16string_view::npos) continue;
        while (true) {
            const std::size_t end = value.find(unit);
            const std::u16string_view item = trimmed(value.substr(0, end));
            if (!item.empty()) out.emplace_back(item);
            if (end == std::u16string_view::npos) return;
            value.remove_prefix(end + 1);
        }
    }
    out.emplace_back(value);
}

bool split_on_char(std::string_view value, char delimiter, std::vector<std::string>& out, bool trim) {
    out.clear();
    if (value.empty()) return false;
    while (true) {
        const std::size_t end = value.find(delimiter);
        const std::string_view part = value.substr(0, end);
        const std::string_view item = trim ? trimmed(part) : part;
        if (!item.empty()) out.emplace_back(item);
        if (end == std::string_view::npos) return true;
        value.remove_prefix(end + 1);
    }
}

void append_decimal(std::string& out, std::uint64_t value, std::size_t least) {
    char text[digits::most_decimal];
    const auto written = static_cast<std::size_t>(digits::put_decimal(text, value) - text);
    if (written < least) out.append(least - written, '0');
    out.append(text, written);
}

void append_hex(std::string& out, std::uint64_t value, std::size_t least) {
    char text[digits::most_hex];
    const auto written = static_cast<std::size_t>(digits::put_hex(text, value) - text);
    if (written < least) out.append(least - written, '0');
    out.append(text, written);
}
