#include "report/default_report.h"

#include "base/text.h"
#include "extract/copy_out.h"
#include "report/report_output.h"
#include "report/stream_digests.h"
#include "run/run_context.h"

namespace {

using shape_writer = void (*)(const report_call& call, report_output& out, const mft_entries_ctx& ctx);

// A copy run with -filepath_only has both settings on: then the bare list is written.
shape_writer shape_of(const mft_entries_ctx& ctx) {
    if (ctx.format_jsonl) return write_timeline_rows;
    if (ctx.filepath_only) return write_path_line;
    return ctx.csv_per_path ? write_per_path_row : write_timeline_rows;
}

void clear_stream_texts(report_scratch& scratch) {
    scratch.extracted_path.clear();
    scratch.md5_text.clear();
    scratch.sha1_text.clear();
}

// One path entry and one attribute entry of a record.
struct stream_call {
    const file_record& record;
    const path_entry& path;
    attr_key key;
    const attr_entry& attribute;
};

// What is done with a stream ahead of its row. False: it gets none.
using stream_action = bool (*)(const stream_call& call, report_scratch& scratch, const mft_entries_ctx& ctx);

bool copy_ahead(const stream_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    stream_state& stream = scratch.stream;
    if (stream.is_handled(call.key) || !is_selected_for_copy(call.record, call.attribute, ctx)) return false;
    stream.set_handled(call.key);
    stream.extracted_path = call.path.value.name;
    copy_stream(call.record, ctx, call.attribute, stream);
    scratch.extracted_path = utf8_from_utf16(stream.extracted_path);
    if (stream.has_digests) set_digest_texts(scratch, ctx);
    return true;
}

// A named stream has no digest; it is not remembered either, so that each path entry has a row of it.
bool digest_ahead(const stream_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    if (scratch.stream.is_handled(call.key)) return false;
    if (!is_unnamed_data(call.attribute)) return true;
    take_digests(call.record, call.path, call.key, call.attribute, scratch, ctx);
    if (scratch.stream.has_digests) set_digest_texts(scratch, ctx);
    return true;
}

bool nothing_ahead(const stream_call&, report_scratch&, const mft_entries_ctx& ctx) { return !ctx.omit_cluster_info; }

bool wants_digests(const mft_entries_ctx& ctx) { return ctx.want_md5 || ctx.want_sha1; }

stream_action action_for(const file_record& record, const mft_entries_ctx& ctx) {
    if (record.std_infos.empty()) return nothing_ahead;
    if (ctx.copy_files) return copy_ahead;
    return wants_digests(ctx) ? digest_ahead : nothing_ahead;
}

}  // namespace

void write_default_report(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    const shape_writer write = shape_of(ctx);
    report_scratch& scratch = out.scratch;
    clear_stream_texts(scratch);
    if (ctx.copy_files) tell_missing_streams(record, ctx);
    if (record.parents.empty()) {
        write({record, nullptr, nullptr, false}, out, ctx);
        return;
    }
    const bool reads_streams = ctx.copy_files || wants_digests(ctx);
    const bool whole_record = record.attributes.empty() || (ctx.omit_cluster_info && !reads_streams);
    const stream_action act = action_for(record, ctx);
    scratch.stream.begin_record();
    for (const path_entry& path : record.parents) {
        if (whole_record) {
            write({record, &path, nullptr, ctx.omit_cluster_info}, out, ctx);
            continue;
        }
        for (const auto& item : record.attributes) {
            clear_stream_texts(scratch);
            scratch.stream.begin_stream(record, path.value.path);
            if (act({record, path, item.key, item.value}, scratch, ctx))
                write({record, &path, &item.value, ctx.omit_cluster_info}, out, ctx);
        }
    }
}
