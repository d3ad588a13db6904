// The settings that a run's options leave, as text that a test can compare.
// Used by the tests of the option passes.
// Leaves out what differs from run to run: the moments, the command line, the open source.
#pragma once

#include <string>

struct mft_entries_ctx;

// "name=value" for every setting that differs from `base`, in the order of the context, divided by blanks. Flags are
// "+name" and "-name". What an option does shows as a difference from the same run without it.
std::string settings_beyond(const mft_entries_ctx& base, const mft_entries_ctx& ctx);
