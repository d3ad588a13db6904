// The default report: what a walker calls for an accepted record when no other format is chosen, and under -csv.
// Behind it stand three shapes, picked by settings: the bare path list, one row a path, one row a timestamp.
// Decides which calls a record gets (per path, per stream); the shapes write the rows.
#pragma once

#include "report/record_text.h"

struct mft_entries_ctx;
struct report_output;

void write_default_report(const file_record& record, report_output& out, const mft_entries_ctx& ctx);

// One call of a shape: one entry of the record's paths or null, one attribute or null.
struct report_call {
    const file_record& record;
    const path_entry* path = nullptr;
    const attr_entry* attribute = nullptr;
    bool hide_clusters = true;
};

void write_path_line(const report_call& call, report_output& out, const mft_entries_ctx& ctx);
void write_per_path_row(const report_call& call, report_output& out, const mft_entries_ctx& ctx);
void write_timeline_rows(const report_call& call, report_output& out, const mft_entries_ctx& ctx);
