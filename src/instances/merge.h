// Joining the results of instances: where the rows of one file begin, and their way to the end of another.
// Called by run_instances for each instance that has ended.
// Knows no report: an empty line ends a run's header, if it has one, and the line behind it names the columns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct plain_file;

// Offset of what is to be kept of results that begin with `head`: what stands behind the run's header, without the
// column line if that is to be dropped. False: the header does not end within these bytes.
bool find_body(std::string_view head, bool drop_header, std::uint64_t& offset, bool has_run_header = true);

enum class merge_result { merged, no_rows, header_too_long, unreadable, not_written };
// Adds an instance's results to the file at `path`, whose header is there already. A row that was cut short, as in the
// results of a killed instance, stays out: the next one would go on where it ends.
merge_result append_results(const std::u16string& path, plain_file& part, bool drop_header, bool has_run_header = true);
// The same for rows that an instance has added to that file itself, behind its first `start` bytes, while its own
// results, `part`, hold no more than the header, if as much: what must stay out is cut off again.
merge_result settle_results(const std::u16string& path, std::uint64_t start, plain_file& part,
                            bool has_run_header = true);
