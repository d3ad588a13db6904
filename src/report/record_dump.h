// The dump of one record, for people: every fact of it on a line of its own, under -find_mft.
// Called by the walker, ahead of every other report, for each accepted record.
// No cells, no header line, no separators; -csv and its like only take the white space of absent times.
#pragma once

struct file_record;
struct mft_entries_ctx;
struct report_output;

void write_record_dump(const file_record& record, report_output& out, const mft_entries_ctx& ctx);
