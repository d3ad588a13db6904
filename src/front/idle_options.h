// For -diags: which arguments of a run have no effect, and why.
// Called by the option reader when the passes have ended.
// Changes no setting and refuses nothing.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

// `given`: every argument, before the passes took theirs; `left`: what none of them took.
void tell_idle_options(const mft_entries_ctx& ctx, std::vector<std::string> given, std::vector<std::string> left);
