// The usage text and the banner.
// Called by the run driver: the banner for every run, the usage text when it is asked for.
// Lists the documented options only; the option passes know more.
#pragma once

#include <string>

// The one place of the version: CMake reads it out of this line.
constexpr const char* banner = "grelmoor ver: 0.72";
constexpr const char* version_text = banner + sizeof "grelmoor";

std::string usage_text();
