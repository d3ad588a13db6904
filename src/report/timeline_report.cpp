// The default shape: one row for each distinct timestamp of a file, with the MACB letters of each.

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "report/columns.h"
#include "report/default_report.h"
#include "report/json_rows.h"
#include "report/report_output.h"
#include "report/timeline_entry.h"
#include "run/run_context.h"

namespace {

std::string_view inode_text(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.inode;
    text.clear();
    append_number_text(text, call.record.inode, 8, ctx);
    return text.view();
}

std::string_view ext_text(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.ext;
    text.clear();
    if (call.path != nullptr && !call.record.is_directory() && !scratch.times.times.empty())
        append_lowered(text, extension_of(call.path->value.name, true), scratch.wide_ext, ctx.format_jsonl);
    if (text.empty()) text += "none";
    return text.view();
}

void append_count(text_buffer& text, std::string_view word, std::size_t count) {
    append_item(text, word);
    append_decimal(text, count);
    text += ']';
}

// What concerns the record's names and links; nothing without a path entry or without any time.
void append_path_info(text_buffer& text, const report_call& call, const report_scratch& scratch, bool whole) {
    const file_record& record = call.record;
    if (call.path == nullptr || scratch.times.times.empty()) return;
    if (record.lower_names.size() > 1) append_count(text, "multinames [", record.lower_names.size());
    if (record.parents.size() > 1) append_count(text, "multiroots [", record.parents.size());
    if (call.path->value.path.empty() || record.reparse_targets.empty()) return;
    append_item(text, "symlink: [");
    append_reparse_targets(text, record, whole);
    text += ']';
}

std::string_view other_info(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.other_info;
    const file_record& record = call.record;
    text.clear();
    append_path_info(text, call, scratch, ctx.format_jsonl);
    if (record.is_extension) {
        append_item(text, "refinode [");
        append_number_text(text, record.base_reference & inode_mask, 8, ctx);
        text += ']';
    }
    if (record.attribute_list_nonresident && ctx.mft_reader != nullptr) {
        append_item(text, "attrib list non-resident [not avail for parsing w/o image]");
    }
    if (record.time_warning) append_item(text, record.time_warning_text);
    if (ctx.record_offset_wanted && record.record_offset != 0) {
        append_item(text, "filerecord: ");
        append_number_text(text, record.record_offset, 1, ctx);
    }
    append_filter_hits(text, record);
    return text.view();
}

std::string_view cluster_text(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.clusters;
    text.clear();
    if (call.hide_clusters) {
        append_data_types(text, call.record, ctx.format_jsonl);
    } else if (call.attribute != nullptr) {
        append_cluster_text(text, *call.attribute);
    }
    return text.view();
}

std::string_view last_column_text(const report_call& call, report_scratch& scratch) {
    if (!scratch.extracted_path.empty()) return scratch.extracted_path;
    text_buffer& text = scratch.head_bytes;
    text.clear();
    if (call.attribute == nullptr) return text.view();
    for (const std::uint8_t byte : call.attribute->head_bytes) {
        if (!text.empty()) text += ' ';
        append_hex(text, byte, 2);
    }
    return text.view();
}

struct macb_opening {
    static constexpr std::size_t between = 2;  // what stands ahead of any but the first
    char text[between + 8];
    std::size_t size;  // without that
};
constexpr macb_opening macb_openings[time_sources] = {{"; si:[", 4}, {"; fn:[", 4}, {"; fn8.3[", 6}};

// "si:[m...]; fn:[macb]": every row has its own. Pieces of a fixed size are put down whether they count or not, since
// which of them do can not be foreseen, and a wrong guess costs more than a piece.
const short_text& macb_text(const timeline_entry& entry, report_scratch& scratch) {
    constexpr std::size_t longest_piece = 16;
    short_text& text = scratch.macb;
    std::memset(text.bytes, ' ', sizeof text.bytes);
    std::size_t size = 0;
    for (std::size_t source = 0; source < time_sources; ++source) {
        const macb_opening& opening = macb_openings[source];
        const std::size_t ahead = size == 0 ? 0 : opening.between;
        char* const letters = text.bytes + size + ahead + opening.size;
        std::memcpy(text.bytes + size, opening.text + opening.between - ahead, 8);
        std::memcpy(letters, entry.macb[source], 4);
        letters[4] = ']';
        size += entry.touched[source] ? ahead + opening.size + 5 : 0;
    }
    std::memset(text.bytes + size, ' ', longest_piece);  // over the pieces that do not count
    text.size = size;
    return text;
}

// The first long name stands behind the path; further ones and 8.3 names follow in brackets.
std::string_view path_and_name(const timeline_entry& entry, const report_call& call, report_scratch& scratch,
                               bool whole) {
    text_buffer& text = scratch.path_and_name;
    text.clear();
    const auto start_with = [&](std::string_view name) {
        if (call.path != nullptr) text += call.path->value.path;
        text += name;
    };
    const auto add_bracket = [&text](std::string_view opening, std::string_view name) {
        (text += opening) += name;
        text += ']';
    };
    for (std::size_t index = 0; index < entry.long_names.size(); ++index) {
        const std::string_view name = scratch.names[entry.long_names[index]].view();
        if (index > 0) {
            add_bracket(" [alias: ", name);
            continue;
        }
        start_with(name);
        if (has_stream_name(call.attribute)) {
            text += ':';
            append_name(text, call.attribute->name, whole);
        }
    }
    for (const std::uint32_t index : entry.dos_names) {
        const std::string_view name = scratch.names[index].view();
        if (text.empty()) {
            start_with(name);
        } else {
            add_bracket(" [8.3: ", name);
        }
    }
    return text.view();
}

bool in_time_range(std::uint64_t time, const mft_entries_ctx& ctx) {
    if (ctx.time_start == 0 && ctx.time_stop == 0) return true;
    return time >= ctx.time_start && time <= ctx.time_stop;
}

bool any_row(const report_scratch& scratch, const mft_entries_ctx& ctx) {
    const std::vector<std::uint64_t>& times = scratch.times.times;
    return std::any_of(times.begin(), times.end(), [&ctx](std::uint64_t time) { return in_time_range(time, ctx); });
}

bool same_names(const timeline_entry& left, const timeline_entry& right) {
    return left.long_names == right.long_names && left.dos_names == right.dos_names;
}

using call_t = report_call;
using ctx_t = mft_entries_ctx;

bool shows_clusters(const call_t& first, const ctx_t&) { return !first.hide_clusters; }
bool hides_clusters(const call_t& first, const ctx_t&) { return first.hide_clusters; }
bool wants_md5(const call_t&, const ctx_t& ctx) { return ctx.want_md5; }
bool wants_sha1(const call_t&, const ctx_t& ctx) { return ctx.want_sha1; }
bool wants_copies(const call_t&, const ctx_t& ctx) { return ctx.copy_files; }
bool wants_heads(const call_t&, const ctx_t& ctx) { return ctx.fetch_header && !ctx.copy_files; }

void add_inode(row_in_hand& row) {
    if (row.ctx.format_jsonl) return row.add_number(row.call.record.inode, cell_u64);
    row.add_text(inode_text(row.call, row.scratch, row.ctx), cell_plain_text);
}

void add_size(row_in_hand& row) {
    row.add_number(row.call.attribute == nullptr ? 0 : row.call.attribute->data_size(), cell_u64);
}

void add_label(row_in_hand& row) { row.add_text(row.call.attribute == nullptr ? "" : row.call.attribute->label); }
void add_clusters(row_in_hand& row) { row.add_text(cluster_text(row.call, row.scratch, row.ctx)); }
void add_last(row_in_hand& row) { row.add_text(last_column_text(row.call, row.scratch)); }

// Cells that differ within a group are set for each of its rows.
void leave_date(row_in_hand& row) {
    row.scratch.places.date = row.next;
    row.next += row.ctx.pair_datetime ? 1 : 2;
}
void leave_macb(row_in_hand& row) { row.scratch.places.macb = row.next++; }
void leave_path(row_in_hand& row) { row.scratch.places.path = row.next++; }

// Numbers that stand in decimal whatever the run's base, and words that no option changes.
constexpr std::uint32_t decimal = cell_always_decimal, plain = cell_plain_text;

constexpr report_column columns[] = {
    {"mft entry", 10, nullptr, add_inode},
    {"seqnum", 6, nullptr, [](row_in_hand& row) { row.add_number(row.call.record.sequence, cell_u16, decimal); }},
    {"parent mft", 10, nullptr, [](row_in_hand& row) { row.add_number(parent_number(row.call.path), cell_u64); }},
    {"seqnum", 6, nullptr, [](row_in_hand& row) { row.add_number(parent_sequence(row.call.path), cell_u16, decimal); }},
    {"type", 7, nullptr, [](row_in_hand& row) { row.add_text(record_type_word(row.call.record, row.ctx), plain); }},
    {"ext", 9, nullptr, [](row_in_hand& row) { row.add_text(ext_text(row.call, row.scratch, row.ctx)); }},
    {"ref", 3, nullptr, [](row_in_hand& row) { row.add_number(row.call.record.link_count(), cell_u32, decimal); }},
    // Kept: a width of 1 never pads.
    {"size data", 1, shows_clusters, add_size},
    {"date/time-utc", width_of_time, nullptr, leave_date, "date", "time-utc"},
    {"MACB", 33, nullptr, leave_macb},
    {"data type", 14, shows_clusters, add_label},
    {"other info", 14, nullptr, [](row_in_hand& row) { row.add_text(other_info(row.call, row.scratch, row.ctx)); }},
    {"MD5 hash", 32, wants_md5, [](row_in_hand& row) { row.add_text(row.scratch.md5_text); }},
    {"SHA1 hash", 40, wants_sha1, [](row_in_hand& row) { row.add_text(row.scratch.sha1_text); }},
    {"path and filename", 50, nullptr, leave_path},
    {"clusters/relevant data", 38, shows_clusters, add_clusters},
    {"various data types", 7, hides_clusters, add_clusters},
    {"extracted file path/file", 0, wants_copies, add_last},
    {"header info", 0, wants_heads, add_last},
};

// How a row is put together: what all rows of the group begin with, what each has of its own, and what those of the
// same names end with.
struct row_form {
    void (*append_front)(text_buffer& line, const row_in_hand& group);
    void (*append_own)(text_buffer& line, const row_in_hand& group, std::uint64_t time, const timeline_entry& entry);
    void (*append_back)(text_buffer& line, const row_in_hand& group);
};

void set_own_cells(const row_in_hand& group, std::uint64_t time, const timeline_entry& entry) {
    report_scratch& scratch = group.scratch;
    const cell_kind kind = group.ctx.pair_datetime ? cell_paired_date_time : cell_date_time;
    cell_set_value(scratch.row, scratch.places.date, time, kind);
    cell_set_text(scratch.row, scratch.places.macb, macb_text(entry, scratch).view());
}

void append_front_cells(text_buffer& line, const row_in_hand& group) {
    append_cells(line, group.scratch.row, 0, group.scratch.places.own_begin(), group.scratch, group.ctx);
}

void append_back_cells(text_buffer& line, const row_in_hand& group) {
    const result_row& row = group.scratch.row;
    append_cells(line, row, group.scratch.places.own_end(), row.cells.size(), group.scratch, group.ctx);
}

constexpr row_form cells_form = {
    append_front_cells,
    [](text_buffer& line, const row_in_hand& group, std::uint64_t time, const timeline_entry& entry) {
        report_scratch& scratch = group.scratch;
        append_time_and_word(line, time, macb_text(entry, scratch), scratch.places.own_begin(), scratch, group.ctx);
    },
    append_back_cells,
};

constexpr row_form labelled_form = {
    append_front_cells,
    [](text_buffer& line, const row_in_hand& group, std::uint64_t time, const timeline_entry& entry) {
        set_own_cells(group, time, entry);
        const row_places& places = group.scratch.places;
        append_cells(line, group.scratch.row, places.own_begin(), places.own_end(), group.scratch, group.ctx);
    },
    append_back_cells,
};

constexpr row_form json_form = {
    [](text_buffer&, const row_in_hand&) {},  // the time comes first, so that a sort by lines is one by time
    [](text_buffer& line, const row_in_hand& group, std::uint64_t time, const timeline_entry& entry) {
        set_own_cells(group, time, entry);
        append_json_own(line, group, time, entry);
    },
    append_json_back,
};

const row_form& form_of(const mft_entries_ctx& ctx) {
    if (ctx.format_jsonl) return json_form;
    return ctx.format_multiline ? labelled_form : cells_form;
}

// A row for each time of the group that is in the run's range.
void write_group(const row_in_hand& group, report_output& out) {
    report_scratch& scratch = out.scratch;
    const row_form& form = form_of(group.ctx);
    text_buffer& lines = scratch.line;
    lines.clear();
    scratch.shared_front.clear();
    form.append_front(scratch.shared_front, group);
    const timeline_entry* previous = nullptr;
    for (const std::uint32_t index : scratch.times.order) {
        const timeline_entry& entry = scratch.times.entries[index];
        const std::uint64_t time = scratch.times.times[index];
        if (!in_time_range(time, group.ctx)) continue;
        if (previous == nullptr || !same_names(*previous, entry)) {
            const std::string_view path = path_and_name(entry, group.call, scratch, group.ctx.format_jsonl);
            cell_set_text(scratch.row, scratch.places.path, path);
            scratch.shared_back.clear();
            form.append_back(scratch.shared_back, group);
            scratch.shared_back += '\n';
        }
        previous = &entry;
        lines += scratch.shared_front.view();
        form.append_own(lines, group, time, entry);
        lines += scratch.shared_back.view();
        if (lines.size() < most_held) continue;
        write_line(out, lines.view());
        lines.clear();
    }
    if (!lines.empty()) write_line(out, lines.view());
}

}  // namespace

void write_timeline_rows(const report_call& call, report_output& out, const mft_entries_ctx& ctx) {
    report_scratch& scratch = out.scratch;
    fill_timeline(call, scratch, ctx);
    if (!any_row(scratch, ctx)) return;
    choose_columns(scratch, columns, call, ctx);
    if (out.header_pending) write_header(out, ctx);

    row_in_hand group{call, scratch, ctx};
    fill_row(group);
    write_group(group, out);
}
