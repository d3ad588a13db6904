// The body file of -bodyfile: one line for each stream and set of times, as other timeline tools read them.

#include <algorithm>

#include "base/filetime.h"
#include "base/text.h"
#include "report/exchange_formats.h"
#include "report/report_output.h"
#include "report/time_groups.h"
#include "run/run_context.h"

namespace {

constexpr std::string_view header_line =
    "md5|name|inode|mode as string|uid|gid|size|access time|modify time|mft time|create time\n";

// A line's fields, in the order of writing.
struct body_record {
    std::string_view md5;  // empty is written as "0"
    std::string_view name;
    std::uint64_t inode = 0;
    std::string_view mode;
    std::uint64_t uid = 0, gid = 0;
    std::uint64_t size = 0;
    std::uint64_t access_time = 0, modify_time = 0, mft_time = 0, create_time = 0;  // seconds since 1970
};

// Kept: a time ahead of 1970 wraps to a huge number.
std::uint64_t unix_seconds(std::uint64_t filetime) {
    if (filetime == 0 || (filetime >> 63) != 0) return 0;
    return (filetime - filetime_of_1970) / filetime_per_second;
}

// The whole group goes unless all of its times lie in the range: a line shows all four.
bool in_time_range(const time_group& group, const mft_entries_ctx& ctx) {
    if (ctx.time_start == 0) return true;
    const std::uint64_t times[] = {group.modified, group.accessed, group.mft_changed, group.created};
    return std::all_of(std::begin(times), std::end(times),
                       [&ctx](std::uint64_t time) { return time >= ctx.time_start && time <= ctx.time_stop; });
}

std::string_view kind_text(const file_record& record) {
    const bool deleted = !record.in_use();
    if (record.is_directory()) return deleted ? "deleted - dir" : "dir";
    if (record.flags() == 0) return "deleted";
    return deleted ? "deleted - file" : "file";
}

std::string_view name_text(const file_record& record, const time_group& group, const attr_entry* attribute,
                           report_scratch& scratch) {
    text_buffer& text = scratch.path_and_name;
    text.clear();
    append_path_and_name(text, group);
    if (has_stream_name(attribute)) {
        if (!text.empty()) text += ':';
        append_utf8(text, attribute->name);
    }
    text += " (";
    text += kind_text(record);
    text += ')';
    return text.view();
}

void append_line(text_buffer& line, const body_record& fields) {
    const auto put_number = [&line](std::uint64_t value) {
        line += '|';
        append_decimal(line, value);
    };
    line += fields.md5.empty() ? std::string_view("0") : fields.md5;
    line += '|';
    line += fields.name;
    put_number(fields.inode);
    line += '|';
    line += fields.mode;
    for (const std::uint64_t value : {fields.uid, fields.gid, fields.size, fields.access_time, fields.modify_time,
                                      fields.mft_time, fields.create_time}) {
        put_number(value);
    }
    line += '\n';
}

void write_group(const file_record& record, const time_group& group, const attr_entry* attribute, report_output& out,
                 const mft_entries_ctx& ctx) {
    if (!in_time_range(group, ctx)) return;
    body_record fields;
    fields.name = name_text(record, group, attribute, out.scratch);
    fields.inode = record.inode;
    fields.size = attribute == nullptr ? 0 : attribute->data_size();
    fields.access_time = unix_seconds(group.accessed);
    fields.modify_time = unix_seconds(group.modified);
    fields.mft_time = unix_seconds(group.mft_changed);
    fields.create_time = unix_seconds(group.created);
    write_header_line(out, header_line);
    text_buffer& line = out.scratch.line;
    line.clear();
    append_line(line, fields);
    write_line(out, line.view());
}

// Every stream has a line for each name's own times; only the first has those of $STANDARD_INFORMATION.
void write_path(const file_record& record, const path_entry& path, report_output& out, const mft_entries_ctx& ctx) {
    std::vector<time_group>& groups = out.scratch.groups;
    const auto write_groups = [&](std::size_t first, const attr_entry* attribute) {
        for (; first < groups.size(); ++first) write_group(record, groups[first], attribute, out, ctx);
    };
    groups.clear();
    if (record.attributes.empty()) {
        add_path_group(groups, record, path);
        return write_groups(0, nullptr);
    }
    add_si_groups(groups, record, path);
    const std::size_t names = groups.size();
    add_name_groups(groups, record, path, ctx.hide_dos_fntimes);
    std::size_t first = 0;
    for (const auto& item : record.attributes) {
        write_groups(first, &item.value);
        first = names;
    }
}

}  // namespace

void write_body_file(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    for (const path_entry& path : record.parents) write_path(record, path, out, ctx);
    if (!record.parents.empty()) return;
    std::vector<time_group>& groups = out.scratch.groups;
    groups.clear();
    add_pathless_group(groups, record);
    write_group(record, groups.front(), nullptr, out, ctx);
}
