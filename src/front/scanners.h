// Scanners of the argument list: each looks for one option by name, and takes what it finds out of the list.
// Called by the option passes at their fixed places; there is no parser loop.
// They know no option: a name that nobody asks for stays in the list.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Names are compared without regard to case. All start at index 0, so the program path is looked at too.
bool take_flag(std::string_view name, std::vector<std::string>& list);
bool take_flag_wide(std::string_view name, std::vector<std::u16string>& list);
// The entry behind the option is the value, whatever it looks like. False, with the list left alone, if none follows.
bool take_value(std::string_view name, std::string& value, std::vector<std::string>& list);
bool take_value_wide(std::string_view name, std::u16string& value, std::vector<std::u16string>& list);
// From index 1 on; removes nothing.
bool peek_value(std::string_view name, std::string& value, const std::vector<std::string>& list);
bool has_pipe(const std::vector<std::string>& list);

std::vector<std::u16string> widened(const std::vector<std::string>& list);
// Bytes that were no UTF-8 come back as they were.
std::vector<std::string> narrowed(const std::vector<std::u16string>& list);
// As one line for readers; entries with a blank stand between `quote`s.
std::string joined(const std::vector<std::string>& list, char quote);
