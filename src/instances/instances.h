// One run split over several processes: each walks a range of record numbers, and their results become one file.
// Called by the run driver when -cpu asks for more than one instance.
// Instances share nothing but the source. Of what a child says of itself, only that the merged file refused its rows is
// looked at; all else goes by what it wrote.
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
// gets the header alone. Elsewhere empty, and where the path leads this process to another file; its results hold its
// rows then.
std::u16string merged_path();
// Its exit code where that file refused a row.
constexpr int merged_file_refused = 74;
// In all instances but the first. Selected records know no range, so the first one walks them all.
bool is_later_instance();
