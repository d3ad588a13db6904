// The table writer: typed cells in, one line of text out.
// Called by every tabular report; number, text, date and separator rules live here once.
// Knows nothing of records, opens no stream, and never fails on formatting.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "report/text_buffer.h"

struct mft_entries_ctx;
struct report_output;
struct report_scratch;
struct time_point;

enum cell_kind : std::uint16_t {
    cell_empty = 0,
    cell_u8 = 1,
    cell_u16 = 2,
    cell_u32 = 4,
    cell_u64 = 8,
    cell_text = 9,
    cell_date_time = 10,         // two cells: the date, and the time in the next one
    cell_paired_date_time = 11,  // both in one
    cell_other_date_time = 13,   // two cells as well; no report has it, and nothing is printed for it
    cell_time_half = 16,         // only in a column definition
};

constexpr std::uint32_t cell_always_decimal = 1u << 30;
constexpr std::uint32_t cell_plain_text = 1u << 23;  // a word of the program's own: nothing in it is replaced or tagged

// A cell of a row, or a column definition: then `text` is the label. Texts are not copied: they must outlive the row.
struct result_cell {
    std::uint16_t kind = cell_empty;
    std::uint32_t flags = 0;
    std::int64_t width = 0;  // columns only; bytes
    std::string_view text;
    std::uint64_t value = 0;  // the number, or a FILETIME
};

struct result_row {
    std::int32_t row_kind = 0;  // 1: a live row
    std::int32_t cell_count = 0;
    std::vector<result_cell> cells;
};

// Cells are filled up to their column's width; not without white space, nor one below the other under -multiline.
bool is_padded(const mft_entries_ctx& ctx);

// A live row of `count` empty cells.
void row_reset(result_row& row, std::size_t count);
// Each returns by how many cells a running index moves on. An index out of range stores nothing.
int cell_set_text(result_row& row, int index, std::string_view text, std::uint32_t flags = 0);
int cell_set_value(result_row& row, int index, std::uint64_t value, cell_kind kind, std::uint32_t flags = 0);

// Widths become 0 where cells are not padded.
void column_add(report_scratch& scratch, const mft_entries_ctx& ctx, std::string_view label, std::size_t width,
                cell_kind kind = cell_empty);

// Writes the labels, unless each row has them (-multiline), and clears header_pending.
void write_header(report_output& out, const mft_entries_ctx& ctx);
// The same for a report without columns: the line as it is, if the header is still pending.
void write_header_line(report_output& out, std::string_view line);
// One line for the row, after the header line if that is still pending.
void write_row(report_output& out, const result_row& row, const mft_entries_ctx& ctx);

// For rows that share cells: the text of cells `from` up to `to`, separators behind each but a row's last. Under
// -multiline each is a line with its label, and the line end that a caller puts behind a row makes the empty line.
void append_cells(text_buffer& line, const result_row& row, std::size_t from, std::size_t to, report_scratch& scratch,
                  const mft_entries_ctx& ctx);
// A short text with blanks behind it: a copy of all its bytes pads it, too, and none depends on its length.
struct short_text {
    char bytes[64];
    std::size_t size = 0;

    std::string_view view() const { return {bytes, size}; }
};

// The cells that a row does not share, without a row: a time in the column `column`, or in two from there on, and a
// word of the program's own in the next one, which needs no replacing and is at most as wide as a short text. A
// separator stands behind each. Not for -multiline.
void append_time_and_word(text_buffer& line, std::uint64_t filetime, const short_text& word, std::size_t column,
                          report_scratch& scratch, const mft_entries_ctx& ctx);
// Date and time of a valid point in the run's formats.
void append_date_and_time(text_buffer& line, const time_point& time, std::string_view between, report_scratch& scratch,
                          const mft_entries_ctx& ctx);
// Writes and flushes in one go, or holds the line back where held_rows says so; several lines, each with its end, are
// taken as one. A failure is noted and ends the walk; nothing is written behind it.
void write_line(report_output& out, std::string_view line);

// A record of a hundred thousand rows must not lie in memory whole: at this size, in bytes, they leave early.
constexpr std::size_t most_held = 64 * 1024;

// While it lives, lines are held back; when it goes, they leave in one write. There is one for each record, so that a
// record costs one call of the system however many rows it has, and all of them are out before the next is read.
class held_rows {
public:
    explicit held_rows(report_output& out);
    ~held_rows();
    held_rows(const held_rows&) = delete;
    held_rows& operator=(const held_rows&) = delete;

private:
    report_output& out_;
};
