// One row for each path and stream, with all times of the file in columns: -csvperpath.

#include "base/text.h"
#include "front/run_context.h"
#include "report/default_report.h"
#include "report/report_scratch.h"

namespace {

// Labels of one set of four times, in the order of the columns: modified, accessed, MFT changed, created.
struct time_labels {
    const char* paired[4];
    const char* dates[4];
};

constexpr const char* time_half_labels[4] = {"mtime-UTC", "atime-UTC", "ctime-UTC", "btime-UTC"};
constexpr time_labels si_labels = {{"SI modify-UTC", "SI access-UTC", "SI MFTchanged-UTC", "SI created-UTC"},
                                   {"SI mdate", "SI adate", "SI cdate", "SI bdate"}};
constexpr time_labels fn_labels = {{"FN modify-UTC", "FN access-UTC", "FN MFTchanged-UTC", "FN created-UTC"},
                                   {"FN mdate", "FN adate", "FN cdate", "FN bdate"}};
constexpr time_labels dos_labels = {
    {"FN8.3 modify-UTC", "FN8.3 access-UTC", "FN8.3 MFTchanged-UTC", "FN8.3 created-UTC"},
    {"8.3 mdate", "8.3 adate", "8.3 cdate", "8.3 bdate"}};

void add_time_columns(mft_entries_ctx& ctx, const time_labels& labels) {
    const std::size_t date = date_width(ctx.date_format), time = time_width(ctx.time_format);
    for (std::size_t index = 0; index < 4; ++index) {
        if (ctx.pair_datetime) {
            column_add(ctx, labels.paired[index], date + time + 1, cell_paired_date_time);
            continue;
        }
        column_add(ctx, labels.dates[index], date);
        column_add(ctx, time_half_labels[index], time, cell_time_half);
    }
}

void add_columns(const report_call& call, mft_entries_ctx& ctx) {
    column_add(ctx, "MFT entry", 10);
    column_add(ctx, "seqnum", 6);
    column_add(ctx, "parent MFT", 10);
    column_add(ctx, "seqnum", 6);
    add_time_columns(ctx, si_labels);
    add_time_columns(ctx, fn_labels);
    column_add(ctx, "type", 9);
    column_add(ctx, "ext", 7);
    column_add(ctx, "size", 10);
    if (ctx.record_offset_wanted) column_add(ctx, "MFT Offset", 10);
    column_add(ctx, "name", 15);
    column_add(ctx, "path", 15);
    column_add(ctx, "sym link", 15);
    column_add(ctx, "object ID", 15);
    column_add(ctx, "ADS metadata", 15);
    column_add(ctx, "Time warning", 15);
    if (!ctx.hostname.empty()) column_add(ctx, "hostname", ctx.hostname.size());
    if (!ctx.hide_dos_fntimes) add_time_columns(ctx, dos_labels);
    if (ctx.copy_files) column_add(ctx, "extracted file path/file", 15);
    scratch_of(ctx).columns_show_clusters = !call.hide_clusters;
    if (!call.hide_clusters) column_add(ctx, "summary data stats", 15);
}

// The last name in the call's directory, long or 8.3 as asked.
const name_entry* last_name(const report_call& call, bool dos) {
    const name_entry* found = nullptr;
    if (call.path == nullptr) return found;
    for (const name_entry* name : names_in(call.record, call.path->key)) {
        if (name->is_dos == dos) found = name;
    }
    return found;
}

template <class entry>
void set_times(result_row& row, int& index, const entry* times, const mft_entries_ctx& ctx) {
    const cell_kind kind = ctx.pair_datetime ? cell_paired_date_time : cell_date_time;
    index += cell_set_value(row, index, times == nullptr ? 0 : times->modified, kind);
    index += cell_set_value(row, index, times == nullptr ? 0 : times->accessed, kind);
    index += cell_set_value(row, index, times == nullptr ? 0 : times->mft_changed, kind);
    index += cell_set_value(row, index, times == nullptr ? 0 : times->created, kind);
}

std::string_view type_text(const report_call& call, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).type;
    text.clear();
    text += record_type_word(call.record, ctx);
    if (call.attribute == nullptr) return text.view();
    const std::string_view label = call.attribute->label;
    if (label.empty() || label == "unnamed data") return text.view();
    text += ':';
    text += label;
    return text.view();
}

std::string_view ext_text(const report_call& call, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).ext;
    text.clear();
    if (call.path == nullptr || call.record.is_directory()) return text.view();
    const std::u16string_view ext = extension_of(call.path->value.name, false);
    append_utf8(text, ctx.no_whitespace ? ext : ext.substr(0, 7));
    return text.view();
}

// The call's attribute, else the record's unnamed $DATA.
const attr_entry* sized_attribute(const report_call& call) {
    if (call.attribute != nullptr) return call.attribute;
    for (const auto& item : call.record.attributes) {
        if (item.value.is_data && !item.value.is_named_data) return &item.value;
    }
    return nullptr;
}

void set_size(result_row& row, int& index, const report_call& call) {
    const attr_entry* attribute = sized_attribute(call);
    index += attribute == nullptr ? cell_set_text(row, index, {})
                                  : cell_set_value(row, index, attribute->data_size(), cell_u64);
}

std::string_view name_text(const report_call& call, const name_entry* name, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).name;
    text.clear();
    if (name == nullptr) {
        text += "<no filename>";
        return text.view();
    }
    append_utf8(text, name->name);
    if (has_stream_name(call.attribute)) {
        text += ':';
        append_utf8(text, call.attribute->name);
    }
    return text.view();
}

std::uint64_t stream_list_size(const attr_entry& attribute) {
    const std::uint64_t allocated = byte_view(attribute.raw).u64(attribute_at::allocated_size);
    return attribute.non_resident() && allocated != 0 ? allocated : attribute.value_length();
}

std::string_view stream_list(const report_call& call, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).streams;
    text.clear();
    if (call.attribute != nullptr) return text.view();
    for (const auto& item : call.record.attributes) {
        if (!item.value.is_named_data) continue;
        append_item(text, {});
        append_utf8(text, item.value.name);
        text += " [sz:";
        append_number_text(text, stream_list_size(item.value), ctx.no_whitespace ? 1 : 8, ctx);
        text += ']';
    }
    return text.view();
}

std::string_view data_stats(const report_call& call, mft_entries_ctx& ctx) {
    text_buffer& text = scratch_of(ctx).clusters;
    text.clear();
    if (!call.hide_clusters && call.attribute != nullptr) append_cluster_text(text, *call.attribute);
    return text.view();
}

}  // namespace

void write_per_path_row(const report_call& call, std::ostream& out, mft_entries_ctx& ctx) {
    report_scratch& scratch = scratch_of(ctx);
    if (scratch.columns.empty()) add_columns(call, ctx);
    const file_record& record = call.record;
    const si_entry* si = record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
    const name_entry* name = last_name(call, false);
    scratch.links.clear();
    append_reparse_targets(scratch.links, record);
    scratch.object_ids.clear();
    append_object_ids(scratch.object_ids, record);

    result_row& row = scratch.row;
    row_reset(row, scratch.columns.size());
    int index = 0;
    index += cell_set_value(row, index, record.inode, cell_u64);
    index += cell_set_value(row, index, record.sequence, cell_u16);
    index += cell_set_value(row, index, parent_number(call.path), cell_u64);
    index += cell_set_value(row, index, parent_sequence(call.path), cell_u16);
    set_times(row, index, si, ctx);
    set_times(row, index, name, ctx);
    index += cell_set_text(row, index, type_text(call, ctx));
    index += cell_set_text(row, index, ext_text(call, ctx));
    set_size(row, index, call);
    if (ctx.record_offset_wanted) index += cell_set_value(row, index, record.record_offset, cell_u64);
    index += cell_set_text(row, index, name_text(call, name, ctx));
    index += cell_set_text(row, index, call.path == nullptr ? std::string_view() : call.path->value.path);
    index += cell_set_text(row, index, scratch.links.view());
    index += cell_set_text(row, index, scratch.object_ids.view());
    index += cell_set_text(row, index, stream_list(call, ctx));
    index += cell_set_text(row, index, record.time_warning_text);
    if (!ctx.hostname.empty()) index += cell_set_text(row, index, ctx.hostname);
    if (!ctx.hide_dos_fntimes) set_times(row, index, last_name(call, true), ctx);
    if (ctx.copy_files) index += cell_set_text(row, index, scratch.extracted_path);
    if (scratch.columns_show_clusters) cell_set_text(row, index, data_stats(call, ctx));
    write_row(out, row, ctx);
}
