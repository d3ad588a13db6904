#include "report/json_rows.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "report/columns.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

// What each letter stands for, in the field's words.
constexpr std::string_view time_kinds[4] = {"Content Modification Time", "Last Access Time",
                                            "Metadata Modification Time", "Creation Time"};
// Whose time it is, by the sources' bits.
constexpr std::string_view time_owners[1 << time_sources] = {
    "", " (SI)", " (FN)", " (SI, FN)", " (FN8.3)", " (SI, FN8.3)", " (FN, FN8.3)", " (SI, FN, FN8.3)"};

// Bytes that stand for themselves inside of a string.
constexpr std::array<bool, 256> build_plain_table() {
    std::array<bool, 256> plain{};
    for (std::size_t byte = 0x20; byte < 0x80; ++byte) plain[byte] = byte != '"' && byte != '\\';
    return plain;
}
constexpr std::array<bool, 256> is_plain = build_plain_table();

constexpr std::size_t longest_escape = 8;  // what one byte can grow to: "<U+DC80>"

char* put_unit(char* to, char16_t unit) {
    to += std::string_view("<U+").copy(to, 3);
    for (int shift = 12; shift >= 0; shift -= 4) *to++ = "0123456789ABCDEF"[(unit >> shift) & 15];
    *to++ = '>';
    return to;
}

char* put_escaped(char* to, unsigned char byte) {
    *to++ = '\\';
    if (byte == '"' || byte == '\\') {
        *to++ = static_cast<char>(byte);
        return to;
    }
    *to++ = 'u';
    return digits::put_hex(to, byte, 4);
}

// "MACB" as "macb", "clusters/relevant data" as "clusters_relevant_data".
std::string snake_case(std::string_view label) {
    std::string name;
    for (const char c : lowered_ascii(label)) {
        const bool stays = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        name += stays ? c : '_';
    }
    return name;
}

// Names of a column each, with what stands around them. The second of two is the parent's.
void make_names(report_scratch& scratch) {
    std::vector<std::string>& names = scratch.json_names;
    if (names.size() == scratch.columns.size()) return;
    for (const result_cell& column : scratch.columns) {
        const std::string name = snake_case(column.text);
        const std::string opening = ",\"" + name + "\":";
        const bool is_new = std::find(names.begin(), names.end(), opening) == names.end();
        names.push_back(is_new ? opening : ",\"parent_" + name + "\":");
    }
}

void append_string(text_buffer& line, std::string_view text) {
    line += '"';
    append_json_text(line, text);
    line += '"';
}

// Empty where the reports show none: ahead of 1970 and behind the year 3000.
void append_date(text_buffer& line, std::uint64_t filetime, std::string_view between, report_scratch& scratch,
                 const mft_entries_ctx& ctx) {
    const time_point time = time_point_of(filetime);
    line += '"';
    if (time.valid) {
        append_date_and_time(line, time, between, scratch, ctx);
    } else if (between.size() > 1) {
        line += between;
    }
    line += '"';
}

void append_datetime(text_buffer& line, std::uint64_t filetime) {
    static const date_plan iso_date = plan_date("yyyy-mm-dd");
    static const time_plan iso_time = plan_time("hh:mm:ss.xxxxxxx");
    const time_point time = calendar_point_of(filetime);
    if (!time.valid) {
        line += "null";
        return;
    }
    char* to = line.room(date_room + time_room + 4);
    *to++ = '"';
    to += put_date(to, time, iso_date);
    *to++ = 'T';
    to += put_time(to, time, iso_time);
    to += std::string_view("Z\"").copy(to, 2);
    line.set_end(to);
}

void append_time_kinds(text_buffer& line, const timeline_entry& entry) {
    bool first = true;
    for (std::size_t letter = 0; letter < 4; ++letter) {
        unsigned owners = 0;
        for (std::size_t source = 0; source < time_sources; ++source)
            owners |= entry.macb[source][letter] == '.' ? 0u : 1u << source;
        if (owners == 0) continue;
        if (!first) line += "; ";
        first = false;
        line += time_kinds[letter];
        line += time_owners[owners];
    }
}

void append_cell(text_buffer& line, const result_cell& cell, report_scratch& scratch, const mft_entries_ctx& ctx) {
    switch (cell.kind) {
        case cell_u8:
        case cell_u16:
        case cell_u32:
        case cell_u64: append_decimal(line, cell.value); break;
        case cell_paired_date_time: append_date(line, cell.value, " ", scratch, ctx); break;
        default: append_string(line, cell.text);
    }
}

// ,"name":value for each of the cells `from` up to `to`.
void append_members(text_buffer& line, const row_in_hand& group, std::size_t from, std::size_t to) {
    report_scratch& scratch = group.scratch;
    make_names(scratch);
    for (std::size_t index = from; index < to; ++index) {
        const result_cell& cell = scratch.row.cells[index];
        line += scratch.json_names[index];
        if (cell.kind == cell_date_time) {
            append_date(line, cell.value, "\"" + scratch.json_names[++index] + "\"", scratch, group.ctx);
        } else {
            append_cell(line, cell, scratch, group.ctx);
        }
    }
}

// What a person reads of the row: "[root]\a.txt (del); **:time warning".
void append_message(text_buffer& line, const row_in_hand& group) {
    const report_scratch& scratch = group.scratch;
    line += ",\"message\":\"";
    append_json_text(line, scratch.path_and_name.view());
    if (!scratch.path_and_name.empty()) line += ' ';
    line += '(';
    line += std::string_view(record_type_word(group.call.record, group.ctx));
    line += ')';
    if (!scratch.other_info.empty()) line += "; ";
    append_json_text(line, scratch.other_info.view());
    line += '"';
}

}  // namespace

void append_json_own(text_buffer& line, const row_in_hand& group, std::uint64_t filetime, const timeline_entry& entry) {
    line += "{\"datetime\":";
    append_datetime(line, filetime);
    line += ",\"timestamp_desc\":\"";
    append_time_kinds(line, entry);
    line += '"';
    append_members(line, group, group.scratch.places.own_begin(), group.scratch.places.own_end());
}

void append_json_back(text_buffer& line, const row_in_hand& group) {
    append_message(line, group);
    append_members(line, group, 0, group.scratch.places.own_begin());
    append_members(line, group, group.scratch.places.own_end(), group.scratch.row.cells.size());
    line += '}';
}

void append_json_text(text_buffer& out, std::string_view text) {
    char* to = out.room(longest_escape * text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (is_plain[byte]) {
            *to++ = text[at++];
        } else if (byte < 0x80) {
            to = put_escaped(to, byte);
            ++at;
        } else {
            const std::size_t start = at;
            const char16_t unit = take_unit_or_utf8(text, at);
            to = unit != 0 ? put_unit(to, unit) : to + text.copy(to, at - start, start);
        }
    }
    out.set_end(to);
}
