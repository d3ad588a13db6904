// UTF-16 texts as Windows calls take and give them.
// Called by the files of this folder alone.
// Converts nothing: both kinds of unit are the same sixteen bits.
#pragma once

#include <string>
#include <string_view>

inline std::wstring wide_of(std::u16string_view text) { return {text.begin(), text.end()}; }
inline std::u16string units_of(std::wstring_view text) { return {text.begin(), text.end()}; }
