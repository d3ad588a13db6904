// The program's own arguments and its two standard streams.
// Called by main.cpp and the run driver; words for standard error come from the option passes, too.
// Does not parse anything, and buffers nothing.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

// Once, first thing in main: binary/text modes, UTF-8 output on a console, a closed pipe that shows as a failed write,
// the ends of instances told.
void prepare_console();
// The process's arguments as UTF-8, program path first. Bytes that are no UTF-8 stay as they are (POSIX).
std::vector<std::string> native_arguments(int count, char** values);
// Standard output as a stream whose every write goes out as one system call.
std::ostream& standard_output();
// UTF-8 text to standard error, unbuffered, in the host's text mode.
void write_standard_error(std::string_view text);
