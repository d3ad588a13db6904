// The table writer: typed cells in, one line of text out.
// Called by every tabular report; number, text, date and separator rules live here once.
// Knows nothing of records, opens no stream, and never fails on formatting.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

#include "report/text_buffer.h"

struct mft_entries_ctx;

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
constexpr std::uint32_t cell_inode_text = 1u << 23;  // carried, without meaning to the writer

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
void column_add(mft_entries_ctx& ctx, std::string_view label, std::size_t width, cell_kind kind = cell_empty);

// Writes the labels, unless each row has them (-multiline), and clears header_pending.
void write_header(std::ostream& out, mft_entries_ctx& ctx);
// One line for the row, after the header line if that is still pending.
void write_row(std::ostream& out, const result_row& row, mft_entries_ctx& ctx);

// For rows that share cells: the text of cells `from` up to `to`, separators behind each but a row's last. Under
// -multiline each is a line with its label, and the line end that a caller puts behind a row makes the empty line.
void append_cells(text_buffer& line, const result_row& row, std::size_t from, std::size_t to, mft_entries_ctx& ctx);
// Writes and flushes in one go. A failure is noted in the context and ends the walk.
void write_line(std::ostream& out, std::string_view line, mft_entries_ctx& ctx);
