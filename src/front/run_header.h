// The header block of a run: banner, run line, command line.
// Built once by the run driver, ahead of the options; written to standard output and to the results file.
// Reads no setting but the date format, which it looks up in the arguments itself.
#pragma once

#include <string>
#include <vector>

// Three lines, each ended by a line feed.
std::string build_run_header(const std::vector<std::string>& args);
