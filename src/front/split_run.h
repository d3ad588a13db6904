// A run that is split over instances: where their results lie meanwhile, and which arguments they get.
// Called by the run driver in place of the walks when -cpu is above 1.
// Starts and merges nothing itself: run_instances does.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

// `left_args` is what no pass took, `child_args` the whole argument vector. False: the run has failed and said so.
bool run_split(mft_entries_ctx& ctx, std::vector<std::string>& left_args, std::vector<std::string> child_args);
