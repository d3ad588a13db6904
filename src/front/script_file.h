// The -script file: arguments read from a text.
// Called by the option reader, once, ahead of every other option.
// Does not nest: a -script inside a script stays an unknown argument.
#pragma once

#include <string>
#include <vector>

#include "base/bytes.h"
#include "sources/evidence.h"

// Appends the arguments that the text stands for, in order. A text whose line ends are mixed, or that has none within
// its first 1024 bytes, has no lines. False: more arguments than a script has.
bool script_tokens(byte_view text, std::vector<std::u16string>& tokens);

// Takes -script and its value out of the list and appends the file's arguments to it. A file that cannot be read, or
// is empty, drops out as a whole: the reason is given back. The file becomes evidence: results may not lead to it.
std::string append_script(std::vector<std::u16string>& list, evidence_files& evidence);
