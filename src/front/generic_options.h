// The generic pass: the options that any tool of this kind has, read into cmd_params.
// Called by the option reader on the narrow list, behind -script and -hashfile.
// Knows nothing of $MFT; what it does not ask for stays in the list.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct cmd_params;

// False for an empty list and when an option failed: it has said so itself.
bool parse_generic_options(cmd_params& params, std::vector<std::string>& args);

// The separator, and the pair of bytes that keeps it out of text cells.
void set_separator(cmd_params& params, std::string_view text);
