// The -script file: arguments read from a text.
// Called by the option reader, once, ahead of every other option.
// Does not nest: a -script inside a script stays an unknown argument.
#pragma once

#include <string>
#include <vector>

#include "base/bytes.h"

// The arguments that the text stands for, in order. A text whose line ends are mixed, or that has none within its
// first 1024 bytes, has no lines.
std::vector<std::u16string> script_tokens(byte_view text);

// Takes -script and its value out of the list and appends the file's arguments to it. A file that cannot be read, or
// is empty, drops out without a word.
void append_script(std::vector<std::u16string>& list);
