// The log2timeline format of -csvl2t: one line for each distinct timestamp of each set of four.

#include <algorithm>

#include "base/text.h"
#include "report/exchange_formats.h"
#include "report/report_output.h"
#include "report/time_groups.h"
#include "run/run_context.h"

namespace {

constexpr std::string_view labels_behind_time[] = {"timezone", "MACB",  "source", "sourcetype", "type",
                                                   "user",     "host",  "short",  "desc",       "version",
                                                   "filename", "inode", "notes",  "format",     "extra"};

// What the lines of one group share.
struct timeline_fields {
    std::string_view path_text;  // short, desc and filename
    std::string_view inode;
    std::string_view notes;
};

std::string header_line(const mft_entries_ctx& ctx) {
    std::string line = ctx.pair_datetime ? "date/time" : "date" + ctx.separator + "time";
    for (const std::string_view label : labels_behind_time) line.append(ctx.separator).append(label);
    return line + '\n';
}

// "deleted (dir)", "file"; nothing more of a deleted plain file than that it is deleted.
void append_kind(text_buffer& text, const file_record& record) {
    const bool deleted = !record.in_use();
    if (deleted) text += "deleted";
    if (record.is_directory()) {
        text += deleted ? std::string_view(" (dir)") : std::string_view("dir");
    } else if (record.flags() != 0) {
        text += deleted ? std::string_view(" (file)") : std::string_view("file");
    }
}

std::string_view notes_text(const file_record& record, report_scratch& scratch) {
    text_buffer& text = scratch.other_info;
    text.clear();
    append_kind(text, record);
    if (record.time_warning) append_item(text, record.time_warning_text);
    if (record.is_extension) {
        append_item(text, "REF inode [");
        append_decimal(text, record.base_reference & inode_mask);
        text += ']';
    }
    return text.view();
}

std::string_view inode_text(const file_record& record, report_scratch& scratch, const mft_entries_ctx& ctx) {
    text_buffer& text = scratch.inode;
    text.clear();
    append_number_text(text, record.inode, 8, ctx);
    return text.view();
}

std::string_view path_text(const time_group& group, report_scratch& scratch) {
    text_buffer& text = scratch.path_and_name;
    text.clear();
    append_path_and_name(text, group);
    return text.view();
}

// A field, and the separator behind it.
void append_field(text_buffer& line, std::string_view text, const mft_entries_ctx& ctx) {
    line += text;
    line += ctx.separator;
}

void append_replaced_field(text_buffer& line, std::string_view text, const mft_entries_ctx& ctx) {
    char* const start = line.room(text.size());
    char* const end = start + text.copy(start, text.size());
    if (ctx.replace_from != 0 && ctx.replace_to != 0) std::replace(start, end, ctx.replace_from, ctx.replace_to);
    line.set_end(end);
    line += ctx.separator;
}

// What stands behind the type: the same in all lines of the group.
void append_shared_fields(text_buffer& line, const timeline_fields& fields, const mft_entries_ctx& ctx) {
    append_field(line, ctx.username, ctx);
    append_field(line, ctx.hostname, ctx);
    append_replaced_field(line, fields.path_text, ctx);
    append_replaced_field(line, fields.path_text, ctx);
    append_field(line, "2", ctx);  // version of the layout
    append_replaced_field(line, fields.path_text, ctx);
    append_field(line, fields.inode, ctx);
    append_replaced_field(line, fields.notes, ctx);
    line += ctx.tool_name;
    append_field(line, " (velkara)", ctx);  // "extra" follows, always empty
    line += '\n';
}

// Each time stands by itself here, unlike in the body file.
bool in_time_range(std::uint64_t time, const mft_entries_ctx& ctx) {
    return ctx.time_start == 0 || (time >= ctx.time_start && time <= ctx.time_stop);
}

void append_row_fields(text_buffer& line, const macb_row& row, report_scratch& scratch, const mft_entries_ctx& ctx) {
    append_date_and_time(line, row.date, ctx.pair_datetime ? " " : std::string_view(ctx.separator), scratch, ctx);
    line += ctx.separator;
    append_field(line, "UTC", ctx);
    append_field(line, row.macb_text, ctx);
    append_field(line, "FILE", ctx);
    // The context's text is set only by a walk of free clusters.
    append_field(line, ctx.source_type.empty() ? std::string_view("NTFS$MFT") : ctx.source_type, ctx);
    append_field(line, row.label_text, ctx);
}

void fill_rows(macb_rows& rows, macb_input& input, const time_group& group) {
    input.m = group.modified;
    input.a = group.accessed;
    input.c = group.mft_changed;
    input.b = group.created;
    input.default_label = group.time_label;
    rows.clear();
    group_macb(rows, input, time_mode_filetime);
}

void write_group(const time_group& group, const timeline_fields& fields, report_output& out,
                 const mft_entries_ctx& ctx) {
    report_scratch& scratch = out.scratch;
    fill_rows(scratch.group_rows, scratch.group_times, group);
    scratch.shared_back.clear();
    append_shared_fields(scratch.shared_back, fields, ctx);
    for (const macb_row& row : scratch.group_rows) {
        if (!in_time_range(row.time, ctx)) continue;
        scratch.line.clear();
        append_row_fields(scratch.line, row, scratch, ctx);
        scratch.line += scratch.shared_back.view();
        write_line(out, scratch.line.view());
    }
}

}  // namespace

void write_l2t_rows(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    std::vector<time_group>& groups = out.scratch.groups;
    groups.clear();
    if (record.parents.empty()) add_pathless_group(groups, record);
    for (const path_entry& path : record.parents) {
        add_si_groups(groups, record, path);
        add_name_groups(groups, record, path, ctx.hide_dos_fntimes);
    }
    if (groups.empty()) return;
    if (out.header_pending) write_header_line(out, header_line(ctx));
    timeline_fields fields{{}, inode_text(record, out.scratch, ctx), notes_text(record, out.scratch)};
    for (const time_group& group : groups) {
        fields.path_text = path_text(group, out.scratch);
        write_group(group, fields, out, ctx);
    }
}
