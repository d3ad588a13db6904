// Reads all options into the run context, in the fixed order of the passes.
// Called once by the run driver.
// Words only what no single option can: missing rights; every other failure is worded by the pass that met it.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

enum option_result : int {
    options_read = 0,
    option_failed = -1,    // reported
    options_invalid = -2,  // too few, or the pass of cmd_params failed
    no_source_given = -3,  // reported; the run goes on
};

// `args` is left with what no pass took.
option_result parse_run_options(mft_entries_ctx& ctx, std::vector<std::string>& args, const std::string& version,
                                const std::string& source_type);
