// The columns of a tabular report as one table: label, width, condition and content of each stand in one line.
// Used by the shapes that write through the writer; which lines a run has is settled with its first row.
// Formats nothing and writes nothing: the writer does.
#pragma once

#include <span>
#include <string_view>

#include "report/default_report.h"
#include "report/report_output.h"
#include "report/writer.h"

// A row under construction, filled from left to right.
struct row_in_hand {
    const report_call& call;
    report_scratch& scratch;
    const mft_entries_ctx& ctx;
    // What several columns look at, found once a row; null where the record has none. The per-path report sets them.
    const si_entry* si = nullptr;
    const name_entry* long_name = nullptr;
    const name_entry* dos_name = nullptr;
    int next = 0;  // place of the next cell

    // Here, to be inlined: each record asks a dozen times.
    void add_text(std::string_view text, std::uint32_t flags = 0) { add({cell_text, flags, 0, text, 0}); }
    void add_number(std::uint64_t value, cell_kind kind, std::uint32_t flags = 0) { add({kind, flags, 0, {}, value}); }
    // One cell or two, as the run pairs dates and times.
    void add_time(std::uint64_t filetime);

private:
    void add(const result_cell& cell) {
        if (next < scratch.row.cell_count) scratch.row.cells[static_cast<std::size_t>(next)] = cell;
        ++next;
    }
};

constexpr int width_of_time = -1;      // one column or two, by the run's formats
constexpr int width_of_hostname = -2;  // as long as the host's name

struct report_column {
    const char* label;
    int width;                                                             // bytes, or one of the above
    bool (*wanted)(const report_call& first, const mft_entries_ctx& ctx);  // null: always
    void (*fill)(row_in_hand& row);
    const char* date_label = nullptr;  // for a time that stands in two columns
    const char* time_label = nullptr;
};

// The columns that the run wants, by its first call. Does nothing once they are chosen.
void choose_columns(report_scratch& scratch, std::span<const report_column> table, const report_call& first,
                    const mft_entries_ctx& ctx);
// Empties scratch.row and fills it, column by column.
void fill_row(row_in_hand& row);
