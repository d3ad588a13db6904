// One run split over several processes: each walks a range of record numbers, and their results become one file.
// Called by the run driver when -cpu asks for more than one instance.
// Instances share nothing but the source. What a child says of itself is not looked at, only what it wrote.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct mft_entries_ctx;

// `child_args` is the program's argument vector without what an instance gets anew; `temp_dir` ends in a separator.
// False: there is nothing to split, no file for the results, or one that takes no more; standard error says so.
bool run_instances(mft_entries_ctx& ctx, std::uint32_t count, const std::vector<std::string>& child_args,
                   const std::string& temp_dir);
// In the first instance: the merged file, to whose end its rows go, so that nobody need copy them. Its own results file
// gets the header alone. Elsewhere empty. To be asked once, before options are read: paths may name variables.
std::u16string take_merged_path();
// In all instances but the first. Selected records know no range, so the first one walks them all. To be asked once.
bool is_later_instance();
