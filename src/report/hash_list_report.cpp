// The hash list of -hashfile: one line for each file, with the digests of its unnamed stream.

#include "base/text.h"
#include "report/columns.h"
#include "report/exchange_formats.h"
#include "report/record_text.h"
#include "report/report_output.h"
#include "report/stream_digests.h"
#include "run/run_context.h"

namespace {

using call_t = report_call;
using ctx_t = mft_entries_ctx;

bool wants_md5(const call_t&, const ctx_t& ctx) { return ctx.want_md5; }
bool wants_sha1(const call_t&, const ctx_t& ctx) { return ctx.want_sha1; }

void add_digest(row_in_hand& row, std::string_view digest) {
    const attr_entry& attribute = *row.call.attribute;
    // An extracted $MFT has no clusters to read: that is no failure of a read.
    const bool no_data = attribute.data_size() == 0 || (attribute.non_resident() && row.ctx.mft_reader != nullptr);
    row.add_text(no_data ? "no data" : digest);
}

std::string_view first_long_name(const file_record& record, report_scratch& scratch) {
    text_buffer& text = scratch.name;
    text.clear();
    for (const auto& item : record.file_names) {
        if (item.value.is_dos) continue;
        append_utf8(text, item.value.name);
        break;
    }
    return text.view();
}

// Kept: an empty path takes no cell, so that what follows moves one column to the left.
void add_path(row_in_hand& row) {
    const std::string& path = row.call.path->value.path;
    if (!path.empty()) row.add_text(path);
}

void add_valid(row_in_hand& row) {
    const char* const live_or_not = row.call.record.in_use() ? "yes" : "deleted";
    row.add_text(row.ctx.unalloc_phase ? "unalloc-deleted" : live_or_not);
}

void add_filter_hit(row_in_hand& row) {
    text_buffer& text = row.scratch.other_info;
    text.clear();
    append_first_filter_hit(text, row.call.record);
    row.add_text(text.view());
}

constexpr report_column columns[] = {
    {"md5 hash", 32, wants_md5, [](row_in_hand& row) { add_digest(row, row.scratch.md5_text); }},
    {"sha1 hash", 40, wants_sha1, [](row_in_hand& row) { add_digest(row, row.scratch.sha1_text); }},
    {"inode", 10, nullptr, [](row_in_hand& row) { row.add_number(row.call.record.inode, cell_u64); }},
    {"file size", 10, nullptr, [](row_in_hand& row) { row.add_number(row.call.attribute->data_size(), cell_u64); }},
    {"modify date/time-utc", width_of_time, nullptr, [](row_in_hand& row) { row.add_time(row.si->modified); }, "mdate",
     "mtime-utc"},
    {"access date/time-utc", width_of_time, nullptr, [](row_in_hand& row) { row.add_time(row.si->accessed); }, "adate",
     "atime-utc"},
    {"create date/time-utc", width_of_time, nullptr, [](row_in_hand& row) { row.add_time(row.si->created); }, "cdate",
     "ctime-utc"},
    {"mftdate/time-utc", width_of_time, nullptr, [](row_in_hand& row) { row.add_time(row.si->mft_changed); }, "mftdate",
     "time-utc"},
    {"filename", 10, nullptr, [](row_in_hand& row) { row.add_text(first_long_name(row.call.record, row.scratch)); }},
    {"path", 20, nullptr, add_path},
    {"hostname", 14, nullptr, [](row_in_hand& row) { row.add_text(row.ctx.hostname); }},
    {"valid", 3, nullptr, add_valid},
    {"filter", 10, nullptr, add_filter_hit},
    {"comment", 10, nullptr, [](row_in_hand& row) { row.add_text(row.call.record.time_warning_text); }},
};

bool can_be_listed(const attr_entry& attribute) {
    constexpr std::size_t header_up_to_value = 22;
    return attribute.raw.size() > header_up_to_value && attribute.type == type_data && is_unnamed_data(attribute);
}

void write_file(const report_call& call, report_output& out, const mft_entries_ctx& ctx) {
    choose_columns(out.scratch, columns, call, ctx);
    row_in_hand row{call, out.scratch, ctx};
    row.si = &call.record.std_infos.begin()->value;
    fill_row(row);
    write_row(out, out.scratch.row, ctx);
}

}  // namespace

void write_hash_list(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    // Kept: with SHA-1 alone nothing is written.
    if (!ctx.want_md5 || record.std_infos.empty() || record.parents.empty()) return;
    stream_state& stream = out.scratch.stream;
    stream.begin_record();
    // A stream is listed once, so under the first path.
    const path_entry& path = *record.parents.begin();
    for (const auto& item : record.attributes) {
        if (!can_be_listed(item.value)) continue;
        stream.begin_stream(record, path.value.path);
        take_digests(record, path, item.key, item.value, out.scratch, ctx);
        set_digest_texts(out.scratch, ctx);
        write_file({record, &path, &item.value}, out, ctx);
    }
}
