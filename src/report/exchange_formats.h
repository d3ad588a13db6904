// Report shapes for other tools: -csvl2t, -bodyfile and -hashfile.
// Called by the walkers for an accepted record, each in place of the default report.
// They select nothing: a record's groups and streams are listed as they are.
#pragma once

struct file_record;
struct mft_entries_ctx;
struct report_output;

void write_l2t_rows(const file_record& record, report_output& out, const mft_entries_ctx& ctx);
void write_body_file(const file_record& record, report_output& out, const mft_entries_ctx& ctx);
void write_hash_list(const file_record& record, report_output& out, const mft_entries_ctx& ctx);
