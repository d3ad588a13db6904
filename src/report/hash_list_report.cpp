// The hash list of -hashfile: one line for each file, with the digests of its unnamed stream.

#include "base/text.h"
#include "front/run_context.h"
#include "report/exchange_formats.h"
#include "report/record_text.h"
#include "report/report_scratch.h"
#include "report/stream_digests.h"

namespace {

constexpr std::string_view no_data_text = "no data";

struct time_labels {
    const char *paired, *date, *time;
};

constexpr time_labels time_columns[] = {
    {"modify date/time-utc", "mdate", "mtime-utc"},
    {"access date/time-utc", "adate", "atime-utc"},
    {"create date/time-utc", "cdate", "ctime-utc"},
    {"mftdate/time-utc", "mftdate", "time-utc"},
};

void add_time_columns(mft_entries_ctx& ctx) {
    const std::size_t date = date_width(ctx.date_format), time = time_width(ctx.time_format);
    for (const time_labels& labels : time_columns) {
        if (ctx.pair_datetime) {
            column_add(ctx, labels.paired, date + time + 1, cell_paired_date_time);
            continue;
        }
        column_add(ctx, labels.date, date);
        column_add(ctx, labels.time, time, cell_time_half);
    }
}

void add_columns(mft_entries_ctx& ctx) {
    if (ctx.want_md5) column_add(ctx, "md5 hash", 32);
    if (ctx.want_sha1) column_add(ctx, "sha1 hash", 40);
    column_add(ctx, "inode", 10);
    column_add(ctx, "file size", 10);
    add_time_columns(ctx);
    column_add(ctx, "filename", 10);
    column_add(ctx, "path", 20);
    column_add(ctx, "hostname", 14);
    column_add(ctx, "valid", 3);
    column_add(ctx, "filter", 10);
    column_add(ctx, "comment", 10);
}

// In the order of the columns.
void set_times(result_row& row, int& index, const si_entry& si, const mft_entries_ctx& ctx) {
    const cell_kind kind = ctx.pair_datetime ? cell_paired_date_time : cell_date_time;
    for (const std::uint64_t time : {si.modified, si.accessed, si.created, si.mft_changed}) {
        index += cell_set_value(row, index, time, kind);
    }
}

std::string_view first_long_name(const file_record& record, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).name;
    text.clear();
    for (const auto& item : record.file_names) {
        if (item.value.is_dos) continue;
        append_utf8(text, item.value.name);
        break;
    }
    return text.view();
}

const char* valid_text(const file_record& record, const mft_entries_ctx& ctx) {
    if (ctx.unalloc_phase) return "unalloc-deleted";
    return record.in_use() ? "yes" : "deleted";
}

std::string_view filter_text(const file_record& record, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).other_info;
    text.clear();
    append_first_filter_hit(text, record);
    return text.view();
}

bool can_be_digested(const attr_entry& attribute) {
    constexpr std::size_t header_up_to_value = 22;
    return attribute.raw.size() > header_up_to_value && attribute.type == type_data && is_unnamed_data(attribute);
}

void write_file(const file_record& record, const path_entry& path, const attr_entry& attribute, std::ostream& out,
                mft_entries_ctx& ctx) {
    report_scratch& scratch = scratch_of(ctx);
    if (scratch.columns.empty()) add_columns(ctx);
    const std::uint64_t size = attribute.data_size();
    const bool no_data = size == 0 || (attribute.non_resident() && ctx.mft_reader != nullptr);
    result_row& row = scratch.row;
    row_reset(row, scratch.columns.size());
    int index = 0;
    if (ctx.want_md5) index += cell_set_text(row, index, no_data ? no_data_text : scratch.md5_text);
    if (ctx.want_sha1) index += cell_set_text(row, index, no_data ? no_data_text : scratch.sha1_text);
    index += cell_set_value(row, index, record.inode, cell_u64);
    index += cell_set_value(row, index, size, cell_u64);
    set_times(row, index, record.std_infos.begin()->value, ctx);
    index += cell_set_text(row, index, first_long_name(record, ctx));
    // Kept: an empty path takes no cell, so that what follows moves one column to the left.
    if (!path.value.path.empty()) index += cell_set_text(row, index, path.value.path);
    index += cell_set_text(row, index, ctx.hostname);
    index += cell_set_text(row, index, valid_text(record, ctx));
    index += cell_set_text(row, index, filter_text(record, ctx));
    cell_set_text(row, index, record.time_warning_text);
    write_row(out, row, ctx);
}

}  // namespace

void write_hash_list(const file_record& record, std::ostream& out, mft_entries_ctx& ctx) {
    const held_rows rows(out, ctx);
    // Kept: with SHA-1 alone nothing is written.
    if (!ctx.want_md5 || record.std_infos.empty()) return;
    forget_digested(ctx);
    for (const path_entry& path : record.parents) {
        for (const auto& item : record.attributes) {
            if (!can_be_digested(item.value) || !first_sight(item.key, ctx)) continue;
            if (!take_digests(record, item.value, ctx)) show_zero_digests(ctx);
            write_file(record, path, item.value, out, ctx);
        }
    }
}
