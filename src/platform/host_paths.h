// Helpers on host paths that source options and output options share.
// Called by the option passes, the run driver, plain_file and the copy-out; knows files, and no source.
// They word nothing: a caller says what a false or an empty text means.
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

// "\\?\GLOBALROOT\Device\HarddiskVolumeShadowCopy", with no number.
std::string shadow_device_prefix(bool lower_case);

// Environment variables between "%" signs are replaced by their values, "%vss%" by the shadow copy prefix unless a
// variable has that name; other names stay. Texts of more than 512 characters are left alone.
std::string expand_variables(std::string text);

// True also when it exists. Tried once more in the long form where the host has one.
bool create_directory(const std::u16string& path);
// Every directory of `path`, outermost first. False for an empty path and at the first that cannot be made.
bool create_directory_tree(const std::u16string& path);
// What stands ahead of the last separator ("." if there is none), without that separator.
std::u16string directory_part(const std::u16string& path);
// What stands behind the last separator.
std::u16string file_part(const std::u16string& path);
// Without separators at its end, which a file's path never has.
std::u16string without_end_separators(std::u16string path);
void remove_file(const std::u16string& path);
// Never onto something that is there. Tried once more in the long form where the host has one.
move_outcome move_file(const std::u16string& from, const std::u16string& to);

// `path` made absolute if it is relative, behind "\\?\". Only for hosts with long-path errors.
std::u16string long_form(const std::u16string& path);
