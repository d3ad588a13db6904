// One row for each path and stream, with all times of the file in columns: -csvperpath.

#include "base/text.h"
#include "report/columns.h"
#include "report/default_report.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

// The last name in the call's directory, long or 8.3 as asked.
const name_entry* last_name(const report_call& call, bool dos) {
    const name_entry* found = nullptr;
    if (call.path == nullptr) return found;
    for (const name_entry* name : names_in(call.record, call.path->key)) {
        if (name->is_dos == dos) found = name;
    }
    return found;
}

std::string_view type_text(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.type;
    text.clear();
    text += record_type_word(call.record, ctx);
    if (call.attribute == nullptr) return text.view();
    const std::string_view label = call.attribute->label;
    if (label.empty() || label == "unnamed data") return text.view();
    text += ':';
    text += label;
    return text.view();
}

std::string_view ext_text(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.ext;
    text.clear();
    if (call.path == nullptr || call.record.is_directory()) return text.view();
    const std::u16string_view ext = extension_of(call.path->value.name, false);
    append_utf8(text, is_padded(ctx) ? ext.substr(0, 7) : ext);
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

void add_size(row_in_hand& row) {
    const attr_entry* attribute = sized_attribute(row.call);
    if (attribute == nullptr) return row.add_text({});
    row.add_number(attribute->data_size(), cell_u64);
}

std::string_view name_text(const report_call& call, const name_entry* name, report_scratch& scratch) {
    text_buffer& text = scratch.name;
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

std::string_view stream_list(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.streams;
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

std::string_view data_stats(const report_call& call, report_scratch& scratch) {
    text_buffer& text = scratch.clusters;
    text.clear();
    if (!call.hide_clusters && call.attribute != nullptr) append_cluster_text(text, *call.attribute);
    return text.view();
}

std::string_view path_text(const report_call& call) {
    return call.path == nullptr ? std::string_view() : call.path->value.path;
}

std::string_view links_text(const row_in_hand& row) {
    row.scratch.links.clear();
    append_reparse_targets(row.scratch.links, row.call.record);
    return row.scratch.links.view();
}

std::string_view object_ids_text(const row_in_hand& row) {
    row.scratch.object_ids.clear();
    append_object_ids(row.scratch.object_ids, row.call.record);
    return row.scratch.object_ids.view();
}

template <std::uint64_t si_entry::*time>
void add_si_time(row_in_hand& row) {
    row.add_time(row.si == nullptr ? 0 : row.si->*time);
}

template <std::uint64_t name_entry::*time>
void add_name_time(row_in_hand& row) {
    row.add_time(row.long_name == nullptr ? 0 : row.long_name->*time);
}

template <std::uint64_t name_entry::*time>
void add_dos_time(row_in_hand& row) {
    row.add_time(row.dos_name == nullptr ? 0 : row.dos_name->*time);
}

using call_t = report_call;
using ctx_t = mft_entries_ctx;

bool wants_offset(const call_t&, const ctx_t& ctx) { return ctx.record_offset_wanted; }
bool wants_host(const call_t&, const ctx_t& ctx) { return !ctx.hostname.empty(); }
bool wants_dos_times(const call_t&, const ctx_t& ctx) { return !ctx.hide_dos_fntimes; }
bool wants_copies(const call_t&, const ctx_t& ctx) { return ctx.copy_files; }
bool wants_clusters(const call_t& first, const ctx_t&) { return !first.hide_clusters; }

using si = si_entry;
using fn = name_entry;

// Letters of the split labels: modified, accessed, MFT changed, born.
constexpr report_column columns[] = {
    {"MFT entry", 10, nullptr, [](row_in_hand& row) { row.add_number(row.call.record.inode, cell_u64); }},
    {"seqnum", 6, nullptr, [](row_in_hand& row) { row.add_number(row.call.record.sequence, cell_u16); }},
    {"parent MFT", 10, nullptr, [](row_in_hand& row) { row.add_number(parent_number(row.call.path), cell_u64); }},
    {"seqnum", 6, nullptr, [](row_in_hand& row) { row.add_number(parent_sequence(row.call.path), cell_u16); }},
    {"SI modify-UTC", width_of_time, nullptr, add_si_time<&si::modified>, "SI mdate", "mtime-UTC"},
    {"SI access-UTC", width_of_time, nullptr, add_si_time<&si::accessed>, "SI adate", "atime-UTC"},
    {"SI MFTchanged-UTC", width_of_time, nullptr, add_si_time<&si::mft_changed>, "SI cdate", "ctime-UTC"},
    {"SI created-UTC", width_of_time, nullptr, add_si_time<&si::created>, "SI bdate", "btime-UTC"},
    {"FN modify-UTC", width_of_time, nullptr, add_name_time<&fn::modified>, "FN mdate", "mtime-UTC"},
    {"FN access-UTC", width_of_time, nullptr, add_name_time<&fn::accessed>, "FN adate", "atime-UTC"},
    {"FN MFTchanged-UTC", width_of_time, nullptr, add_name_time<&fn::mft_changed>, "FN cdate", "ctime-UTC"},
    {"FN created-UTC", width_of_time, nullptr, add_name_time<&fn::created>, "FN bdate", "btime-UTC"},
    {"type", 9, nullptr, [](row_in_hand& row) { row.add_text(type_text(row.call, row.scratch, row.ctx)); }},
    {"ext", 7, nullptr, [](row_in_hand& row) { row.add_text(ext_text(row.call, row.scratch, row.ctx)); }},
    {"size", 10, nullptr, add_size},
    {"MFT Offset", 10, wants_offset, [](row_in_hand& row) { row.add_number(row.call.record.record_offset, cell_u64); }},
    {"name", 15, nullptr, [](row_in_hand& row) { row.add_text(name_text(row.call, row.long_name, row.scratch)); }},
    {"path", 15, nullptr, [](row_in_hand& row) { row.add_text(path_text(row.call)); }},
    {"sym link", 15, nullptr, [](row_in_hand& row) { row.add_text(links_text(row)); }},
    {"object ID", 15, nullptr, [](row_in_hand& row) { row.add_text(object_ids_text(row)); }},
    {"ADS metadata", 15, nullptr, [](row_in_hand& row) { row.add_text(stream_list(row.call, row.scratch, row.ctx)); }},
    {"Time warning", 15, nullptr, [](row_in_hand& row) { row.add_text(row.call.record.time_warning_text); }},
    {"hostname", width_of_hostname, wants_host, [](row_in_hand& row) { row.add_text(row.ctx.hostname); }},
    {"FN8.3 modify-UTC", width_of_time, wants_dos_times, add_dos_time<&fn::modified>, "8.3 mdate", "mtime-UTC"},
    {"FN8.3 access-UTC", width_of_time, wants_dos_times, add_dos_time<&fn::accessed>, "8.3 adate", "atime-UTC"},
    {"FN8.3 MFTchanged-UTC", width_of_time, wants_dos_times, add_dos_time<&fn::mft_changed>, "8.3 cdate", "ctime-UTC"},
    {"FN8.3 created-UTC", width_of_time, wants_dos_times, add_dos_time<&fn::created>, "8.3 bdate", "btime-UTC"},
    {"extracted file path/file", 15, wants_copies, [](row_in_hand& row) { row.add_text(row.scratch.extracted_path); }},
    {"summary data stats", 15, wants_clusters,
     [](row_in_hand& row) { row.add_text(data_stats(row.call, row.scratch)); }},
};

}  // namespace

void write_per_path_row(const report_call& call, report_output& out, const mft_entries_ctx& ctx) {
    report_scratch& scratch = out.scratch;
    choose_columns(scratch, columns, call, ctx);
    row_in_hand row{call, scratch, ctx};
    row.si = call.record.std_infos.empty() ? nullptr : &call.record.std_infos.begin()->value;
    row.long_name = last_name(call, false);
    row.dos_name = last_name(call, true);
    fill_row(row);
    write_row(out, scratch.row, ctx);
}
