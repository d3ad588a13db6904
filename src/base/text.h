// Text conversions and small text helpers: UTF-16 as on disk, UTF-8 as in results.
// Called by every folder. Knows no locale: the same text gives the same result on every machine.
// Does no normalisation and never puts in a replacement character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Appends `text` as UTF-8. A high surrogate without its low one ends the conversion: what came before stays, and the
// result is false. A lone low surrogate is written like any other unit, as three bytes.
bool append_utf8(std::string& out, std::u16string_view text);
// The same in place, into at least `most_utf8` bytes for each unit; returns where it ended.
constexpr std::size_t most_utf8 = 3;  // a pair of units makes four
char* put_utf8(char* to, std::u16string_view text, bool& complete);
std::string utf8_from_utf16(std::u16string_view text);
// The same to its end: a lone high surrogate becomes three bytes as well. Whoever writes the text on deals with them.
char* put_whole_utf8(char* to, std::u16string_view text);
// Where text stops to be UTF-8 at `at`, the 16-bit unit that stands there, and `at` moves behind it: a surrogate out of
// three bytes, else 0xDC00 and the byte, as utf16_from_utf8 has it. 0, with `at` moved: a character that is UTF-8.
char16_t take_unit_or_utf8(std::string_view text, std::size_t& at);

// Bytes that are no UTF-8 become the units 0xDC80 to 0xDCFF, one a byte, so that a host file name in another encoding
// survives the way through wide strings: host paths turn them back into the bytes they stand for.
std::u16string utf16_from_utf8(std::string_view text);
// The way back: those units become their bytes again.
std::string bytes_from_utf16(std::u16string_view text);

// Lower case by 16-bit unit, through the one-to-one mapping of the Basic Multilingual Plane.
char16_t lower_unit(char16_t unit);
void lower_in_place(std::u16string& text);
std::u16string lowered(std::u16string_view text);
// ASCII letters only.
std::string lowered_ascii(std::string_view text);
// Equal after lower-casing ASCII letters.
bool equals_ignoring_case(std::string_view left, std::string_view right);

// Where the first NUL unit stands; the text's size if there is none.
std::size_t find_nul(std::u16string_view text);

// Without blanks, tabs, CR and LF at both ends.
std::string_view trimmed(std::string_view text);
std::u16string_view trimmed(std::u16string_view text);
// As paths and their segments are: a line end stays at the front, where it belongs to a name.
std::u16string_view trimmed_path(std::u16string_view text);
