#include "report/default_report.h"

#include "run/run_context.h"
#include "report/report_output.h"

namespace {

using shape_writer = void (*)(const report_call& call, report_output& out, const mft_entries_ctx& ctx);

// A copy run with -filepath_only has both settings on: then the bare list is written.
shape_writer shape_of(const mft_entries_ctx& ctx) {
    if (ctx.filepath_only) return write_path_line;
    return ctx.csv_per_path ? write_per_path_row : write_timeline_rows;
}

void reset_stream_state(report_scratch& scratch) {
    scratch.extracted_path.clear();
    scratch.md5_text.clear();
    scratch.sha1_text.clear();
}

}  // namespace

void write_default_report(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    const shape_writer write = shape_of(ctx);
    report_scratch& scratch = out.scratch;
    reset_stream_state(scratch);
    if (record.parents.empty()) {
        write({record, nullptr, nullptr, false}, out, ctx);
        return;
    }
    const bool whole_record = record.attributes.empty() || ctx.omit_cluster_info;
    for (const path_entry& path : record.parents) {
        if (whole_record) {
            write({record, &path, nullptr, ctx.omit_cluster_info}, out, ctx);
            continue;
        }
        for (const auto& item : record.attributes) {
            reset_stream_state(scratch);
            write({record, &path, &item.value, ctx.omit_cluster_info}, out, ctx);
        }
    }
}
