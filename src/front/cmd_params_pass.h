// The pass of cmd_params: the options that any tool of this kind has.
// Called by the option reader on the narrow list, behind -script and -hashfile.
// Knows nothing of $MFT; what it does not ask for stays in the list.
#pragma once

#include <string>
#include <vector>

struct cmd_params;

// False for an empty list and when an option failed: it has said so itself.
bool parse_cmd_params(cmd_params& params, std::vector<std::string>& args);
