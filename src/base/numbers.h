// Numbers as text: the parsers of option values and the appenders of the row path.
// Parsers are called by option passes and path patterns; appenders by every report.
// A parser never reports an error in words: it leaves 0 or the old value, as each declaration says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Hexadecimal behind the first "x", else octal behind the first "o", else decimal if a digit comes first.
// Stops at the first bad character. False leaves `value` alone. More than 64 bits saturate.
bool parse_u64(std::string_view text, std::uint64_t& value);
// `value` becomes 0 first. "0x10", "x10", "o20", "16", and 'c' for the code of c.
void parse_u32(std::string_view text, std::uint32_t& value);
// Hexadecimal behind an "x", octal behind an "o", else decimal with an optional sign. Anything else leaves `value`.
void parse_i32(std::string_view text, std::int32_t& value);
// Sizes and record numbers: "0x" or any character and "x": hexadecimal from the third character on (16 digits at most);
// a leading "o": octal (22 digits at most); else decimal (20 characters at most). False: not a number.
bool parse_size(std::string_view text, std::uint64_t& value);
// Wide option values are cut to the low byte of each unit.
std::string low_bytes(std::u16string_view text);

// Splits at the first character of `delimiters` that occurs in `value`, and at that one only. Items are trimmed, empty
// ones dropped. Without a delimiter the list is the whole value, untrimmed: an empty value gives one empty item.
void split_list(std::vector<std::u16string>& out, std::u16string_view value, std::string_view delimiters);
// Splits at one given delimiter. False only for an empty value.
bool split_on_char(std::string_view value, char delimiter, std::vector<std::string>& out, bool trim);

// Digits only, no sign, no prefix; `least` is the least number of digits, filled with zeros.
void append_decimal(std::string& out, std::uint64_t value, std::size_t least = 1);
void append_hex(std::string& out, std::uint64_t value, std::size_t least = 1);
