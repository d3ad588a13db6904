// The spine of a run: header, options, results file, source, walker, end.
// Called by main with the process's arguments.
// Decides nothing about NTFS.
#pragma once

#include <string>
#include <vector>

// The process's exit code.
int run(std::vector<std::string> args);
