#include "report/default_report.h"

#include "report/report_output.h"
#include "report/stream_digests.h"
#include "run/run_context.h"

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

bool digests_wanted(const mft_entries_ctx& ctx) { return ctx.want_md5 || ctx.want_sha1; }

// A stream that is digested has one call for all paths of its record, and is digested for it; any other has one a path.
bool stream_has_call(const file_record& record, const flat_map_item<attr_key, attr_entry>& stream,
                     report_scratch& scratch, const mft_entries_ctx& ctx) {
    if (!digests_wanted(ctx) || record.std_infos.empty()) return !ctx.omit_cluster_info;
    if (!is_unnamed_data(stream.value)) return true;
    if (!first_sight(stream.key, scratch)) return false;
    take_digests(record, stream.value, scratch, ctx);
    return true;
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
    forget_digested(scratch);
    const bool whole_record = record.attributes.empty() || (ctx.omit_cluster_info && !digests_wanted(ctx));
    for (const path_entry& path : record.parents) {
        if (whole_record) {
            write({record, &path, nullptr, ctx.omit_cluster_info}, out, ctx);
            continue;
        }
        for (const auto& item : record.attributes) {
            reset_stream_state(scratch);
            if (!stream_has_call(record, item, scratch, ctx)) continue;
            write({record, &path, &item.value, ctx.omit_cluster_info}, out, ctx);
        }
    }
}
