#include "report/writer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <ostream>
#include <string>

#include "base/digits.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

// Rows are written through a plain pointer: append_cells makes room for all cells of a call at once. Blanks come in
// blocks of a fixed size, which the compiler writes without a call; the rest is written over.
constexpr std::size_t blank_block = 32;

char* put_blanks(char* to, std::size_t count) {
    std::memset(to, ' ', blank_block);
    for (std::size_t done = blank_block; done < count; done += blank_block) std::memset(to + done, ' ', blank_block);
    return to + count;
}

// Blanks behind what stands from `start` to `at`, up to the width.
char* pad_right(char* start, char* at, std::size_t width) {
    const auto written = static_cast<std::size_t>(at - start);
    return written < width ? put_blanks(at, width - written) : at;
}

// Where text is to be padded up to: the column's width, which column_add made 0 where there is to be no white space.
std::size_t pad_width(const result_cell& column) { return static_cast<std::size_t>(column.width); }

std::size_t digits_without_white_space(std::uint16_t kind) { return kind == cell_u8 ? 2 : kind == cell_u16 ? 4 : 8; }

char* put_number(char* to, const result_cell& cell, std::size_t width, const mft_entries_ctx& ctx) {
    if (!ctx.hex_numbers || (cell.flags & cell_always_decimal) != 0) {
        const std::size_t count = digits::count_decimal(cell.value);
        if (count < width) to = put_blanks(to, width - count);
        return digits::put_decimal(to, cell.value);
    }
    to = put_text(to, "0x");
    const std::size_t padded = width >= 2 ? width - 2 : 0;
    return digits::put_hex(to, cell.value, is_padded(ctx) ? padded : digits_without_white_space(cell.kind));
}

constexpr std::size_t longest_tag = 6;  // what one byte of a text can grow to, below

// Line ends inside a text become visible. Kept: a lone CR stays where the text holds a LF anywhere.
char* put_with_tags(char* to, std::string_view text) {
    const bool any_feed = text.find('\n') != std::string_view::npos;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool next_is_feed = at + 1 < text.size() && text[at + 1] == '\n';
        const bool next_is_return = at + 1 < text.size() && text[at + 1] == '\r';
        if (text[at] == '\r' && next_is_feed) {
            to = put_text(to, "[CRLF]");
            ++at;
        } else if (text[at] == '\n' && next_is_return) {
            to = put_text(to, "[LFCR]");
            ++at;
        } else if (text[at] == '\n') {
            to = put_text(to, "[LF]");
        } else if (text[at] == '\r' && !any_feed) {
            to = put_text(to, "[CR]");
        } else {
            *to++ = text[at];
        }
    }
    return to;
}

// -multiline promises one line for each cell, so a cell must not hold a second.
bool line_ends_are_tagged(const mft_entries_ctx& ctx) {
    return ctx.format_csv || ctx.format_csvgen || ctx.format_l2t || ctx.format_bodyfile || ctx.format_multiline;
}

bool holds_line_end(std::string_view text) {
    return text.find('\n') != std::string_view::npos || text.find('\r') != std::string_view::npos;
}

// The cells of one call: what each of them needs is looked up once.
class cells_writer {
public:
    cells_writer(const result_row& row, const mft_entries_ctx& ctx, const report_scratch& scratch)
        : cells_(row.cells.data()),
          columns_(scratch.columns.data()),
          count_(scratch.columns.size()),
          ctx_(ctx),
          scratch_(scratch) {}

    // The most bytes that the cells can take.
    std::size_t room_for(std::size_t from, std::size_t to) const {
        std::size_t texts = 0;
        for (std::size_t index = from; index < to; ++index) texts += cells_[index].text.size();
        return scratch_.fixed_room + (scratch_.tags_line_ends ? longest_tag : 1) * texts;
    }

    // Behind each cell but the row's last stands the separator.
    char* put_cells(char* to, std::size_t from, std::size_t end, std::size_t in_row) const {
        for (std::size_t index = from; index < end; ++index) {
            to = put_cell(to, index);
            if (index + 1 < in_row) to = put_separator(to);
        }
        return to;
    }

    char* put_labelled_lines(char* to, std::size_t from, std::size_t end) const {
        for (std::size_t index = from; index < end; ++index) to = put_labelled(to, index);
        return to;
    }

    // A time, and a word that no option changes, with a separator behind each.
    char* put_time_and_word(char* to, std::size_t index, std::uint64_t filetime, const short_text& word) const {
        const std::size_t width = pad_width(columns_[index++]);
        to = ctx_.pair_datetime ? put_paired_time(to, filetime, width)
                                : put_split_time(to, filetime, width, &columns_[index++]);
        to = put_separator(to);
        std::memcpy(to, word.bytes, sizeof word.bytes);
        return put_separator(to + std::max(word.size, pad_width(columns_[index])));
    }

private:
    // Writes the cell at `index`, and moves on to the second of a date and time pair.
    [[gnu::always_inline]] char* put_cell(char* to, std::size_t& index) const {
        const result_cell& cell = cells_[index];
        const std::size_t width = pad_width(columns_[index]);
        switch (cell.kind) {
            case cell_u8:
            case cell_u16:
            case cell_u32:
            case cell_u64: return put_number(to, cell, width, ctx_);
            case cell_text:
                if ((cell.flags & cell_plain_text) != 0) return pad_right(to, put_text(to, cell.text), width);
                return put_cell_text(to, cell.text, width);
            case cell_paired_date_time: return put_paired_time(to, cell.value, width);
            case cell_date_time:
                ++index;
                return put_split_time(to, cell.value, width, index < count_ ? &columns_[index] : nullptr);
            default: return to;
        }
    }

    // -multiline: the cell at `index` on a line of its own behind its label, and so the second of a date and time pair.
    char* put_labelled(char* to, std::size_t& index) const {
        to = put_label(to, columns_[index]);
        if (cells_[index].kind != cell_date_time) return put_end_of_line(put_cell(to, index));
        const time_point time = time_point_of(cells_[index].value);
        to = put_end_of_line(put_date_text(to, time));
        if (++index == count_) return to;
        return put_end_of_line(put_time_text(put_label(to, columns_[index]), time));
    }

    char* put_separator(char* to) const {
        const std::size_t size = ctx_.separator.size();
        if (size > sizeof scratch_.separator) return put_text(to, ctx_.separator);
        std::memcpy(to, scratch_.separator, sizeof scratch_.separator);  // a block of a fixed size, as with blanks
        return to + size;
    }

    char* put_label(char* to, const result_cell& column) const {
        return pad_right(to, put_text(to, column.text), scratch_.label_width);
    }

    static char* put_end_of_line(char* to) {
        *to = '\n';
        return to + 1;
    }

    char* put_cell_text(char* to, std::string_view text, std::size_t width) const {
        if (text.empty()) return put_blanks(to, width);
        const bool tags = scratch_.tags_line_ends && holds_line_end(text);
        char* const end = tags ? put_with_tags(to, text) : put_text(to, text);
        if (ctx_.replace_from != 0 && std::memchr(text.data(), ctx_.replace_from, text.size()) != nullptr)
            std::replace(to, end, ctx_.replace_from, ctx_.replace_to);
        return pad_right(to, end, width);
    }

    char* put_blank_before_time(char* to) const {
        if (ctx_.blank_before_time) *to++ = ' ';
        return to;
    }

    // One blank for a half that has no text; nothing without white space.
    char* put_absent(char* to) const {
        if (is_padded(ctx_)) *to++ = ' ';
        return to;
    }

    char* put_date_text(char* to, const time_point& time) const {
        return time.valid ? to + put_date(to, time, scratch_.date) : put_absent(to);
    }

    char* put_time_text(char* to, const time_point& time) const {
        return time.valid ? to + put_time(to, time, scratch_.clock) : put_absent(to);
    }

    // Both halves, with the separator between them; without a column for the time, the first half and the separator.
    char* put_split_time(char* to, std::uint64_t filetime, std::size_t date_width,
                         const result_cell* time_column) const {
        const time_point time = time_point_of(filetime);
        to = put_separator(pad_right(to, put_date_text(to, time), date_width));
        if (time_column == nullptr) return to;
        to = put_blank_before_time(to);
        return pad_right(to, put_time_text(to, time), pad_width(*time_column));
    }

    char* put_paired_time(char* to, std::uint64_t filetime, std::size_t width) const {
        const time_point time = time_point_of(filetime);
        if (!ctx_.format_multiline) to = put_blank_before_time(to);
        char* at = put_date_text(to, time);
        *at++ = ' ';
        return pad_right(to, put_time_text(at, time), width);
    }

    const result_cell* cells_;
    const result_cell* columns_;
    std::size_t count_;
    const mft_entries_ctx& ctx_;
    const report_scratch& scratch_;
};

// What holds for all rows of a run: the formats taken apart, the separator, and the room that cells take beside texts.
void plan_rows(report_scratch& scratch, const mft_entries_ctx& ctx) {
    if (scratch.rows_planned) return;
    scratch.date = plan_date(ctx.date_format);
    scratch.clock = plan_time(ctx.time_format);
    scratch.tags_line_ends = line_ends_are_tagged(ctx);
    ctx.separator.copy(scratch.separator, sizeof scratch.separator);
    constexpr std::size_t most_of_any_value = date_room + time_room + 2 * blank_block;
    scratch.fixed_room = sizeof scratch.separator;
    for (const result_cell& column : scratch.columns) {
        scratch.fixed_room += pad_width(column) + most_of_any_value + ctx.separator.size();
        scratch.label_width = std::max(scratch.label_width, column.text.size() + 1);
    }
    if (ctx.format_multiline) scratch.fixed_room += scratch.columns.size() * (scratch.label_width + blank_block);
    scratch.rows_planned = true;
}

void write_block(report_output& out, std::string_view lines) {
    if (out.failed) return;
    // Straight to the buffer: a formatted write and a flush look at the stream's state four times a row.
    std::streambuf* buffer = out.stream.rdbuf();
    const auto size = static_cast<std::streamsize>(lines.size());
    if (buffer != nullptr && buffer->sputn(lines.data(), size) == size && buffer->pubsync() == 0) return;
    out.stream.setstate(std::ios::badbit);
    out.failed = true;
}

void write_held(report_output& out) {
    if (out.held.empty()) return;
    write_block(out, out.held.view());
    out.held.clear();
}

}  // namespace

bool is_padded(const mft_entries_ctx& ctx) { return !ctx.no_whitespace && !ctx.format_multiline; }

void row_reset(result_row& row, std::size_t count) {
    row.row_kind = 1;
    row.cell_count = static_cast<std::int32_t>(count);
    row.cells.assign(count, {});
}

int cell_set_text(result_row& row, int index, std::string_view text, std::uint32_t flags) {
    if (row.row_kind != 1 || index < 0 || index >= row.cell_count) return 1;
    row.cells[static_cast<std::size_t>(index)] = {cell_text, flags, 0, text, 0};
    return 1;
}

int cell_set_value(result_row& row, int index, std::uint64_t value, cell_kind kind, std::uint32_t flags) {
    if (row.row_kind != 1 || index < 0 || index >= row.cell_count || kind >= 24) return 1;
    row.cells[static_cast<std::size_t>(index)] = {kind, flags, 0, {}, value};
    if (kind != cell_date_time && kind != cell_other_date_time) return 1;
    if (index + 1 < row.cell_count) row.cells[static_cast<std::size_t>(index) + 1] = {};
    return 2;
}

void column_add(report_scratch& scratch, const mft_entries_ctx& ctx, std::string_view label, std::size_t width,
                cell_kind kind) {
    const auto shown_width = is_padded(ctx) ? static_cast<std::int64_t>(width) : 0;
    scratch.columns.push_back({kind, 0, shown_width, label, 0});
}

void write_header(report_output& out, const mft_entries_ctx& ctx) {
    if (ctx.format_multiline) {  // each row has the labels
        out.header_pending = false;
        return;
    }
    const std::vector<result_cell>& columns = out.scratch.columns;
    std::string line;
    for (std::size_t index = 0; index < columns.size(); ++index) {
        const result_cell& column = columns[index];
        const bool holds_time = column.kind == cell_time_half || column.kind == cell_paired_date_time;
        if (holds_time && ctx.blank_before_time) line += ' ';
        line += column.text;
        const std::size_t width = pad_width(column);
        if (column.text.size() < width) line.append(width - column.text.size(), ' ');
        if (index + 1 < columns.size()) line += ctx.separator;
    }
    line += '\n';
    write_header_line(out, line);
}

void write_header_line(report_output& out, std::string_view line) {
    if (!out.header_pending) return;
    write_line(out, line);
    out.header_pending = false;
}

void append_cells(text_buffer& line, const result_row& row, std::size_t from, std::size_t to, report_scratch& scratch,
                  const mft_entries_ctx& ctx) {
    plan_rows(scratch, ctx);
    const auto in_row = static_cast<std::size_t>(row.cell_count);
    const std::size_t count = std::min({to, in_row, scratch.columns.size()});
    const cells_writer cells(row, ctx, scratch);
    char* const start = line.room(cells.room_for(from, count));
    line.set_end(ctx.format_multiline ? cells.put_labelled_lines(start, from, count)
                                      : cells.put_cells(start, from, count, in_row));
}

// Flattened: every row has these cells, and what they take is called from hardly anywhere else.
[[gnu::flatten]] void append_time_and_word(text_buffer& line, std::uint64_t filetime, const short_text& word,
                                           std::size_t column, report_scratch& scratch, const mft_entries_ctx& ctx) {
    plan_rows(scratch, ctx);
    const cells_writer cells(scratch.row, ctx, scratch);
    char* const start = line.room(scratch.fixed_room + sizeof word.bytes);
    line.set_end(cells.put_time_and_word(start, column, filetime, word));
}

void write_row(report_output& out, const result_row& row, const mft_entries_ctx& ctx) {
    if (out.header_pending) write_header(out, ctx);
    text_buffer& line = out.scratch.line;
    line.clear();
    append_cells(line, row, 0, row.cells.size(), out.scratch, ctx);
    line += '\n';
    write_line(out, line.view());
}

void append_date_and_time(text_buffer& line, const time_point& time, std::string_view between, report_scratch& scratch,
                          const mft_entries_ctx& ctx) {
    plan_rows(scratch, ctx);
    char* at = line.room(date_room + between.size() + time_room);
    at += put_date(at, time, scratch.date);
    at = put_text(at, between);
    line.set_end(at + put_time(at, time, scratch.clock));
}

void write_line(report_output& out, std::string_view line) {
    if (!out.holds_rows) {
        write_block(out, line);
        return;
    }
    out.held += line;
    if (out.held.size() >= most_held) write_held(out);
}

held_rows::held_rows(report_output& out) : out_(out) { out.holds_rows = true; }

held_rows::~held_rows() {
    out_.holds_rows = false;
    try {
        write_held(out_);
    } catch (const std::bad_alloc&) {
        out_.failed = true;  // the host's line ends found no room
    }
}
