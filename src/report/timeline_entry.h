// One distinct timestamp of a file, as the default report gathers it.
// Written by timeline_report; kept between records by report_scratch, so that its storage is reused.
// Formats nothing but the names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct mft_entries_ctx;
struct report_call;
struct report_scratch;

// Where a time comes from: its letters stand in a text of its own.
enum time_source { from_si, from_long_name, from_dos_name, time_sources };

// One distinct timestamp of the call's file. Names are indexes into report_scratch::names, in order of their text.
struct timeline_entry {
    char macb[time_sources][4] = {};
    bool touched[time_sources] = {};
    std::vector<std::uint32_t> long_names, dos_names;
};

// The entries of one call. They lie in the order of their making, so that none is moved; `order` is by time.
// The times themselves lie apart: a search passes over nothing else.
struct timeline {
    std::vector<std::uint64_t> times;     // FILETIMEs
    std::vector<timeline_entry> entries;  // of each time; behind them, storage of earlier calls
    std::vector<std::uint32_t> order;
};

// Where the cells of a group's rows differ: the date, the letters, and the path.
struct row_places {
    int date = 0, macb = 0, path = 0;

    // Date and letters, which no two rows of a group share, stand side by side.
    std::size_t own_begin() const { return static_cast<std::size_t>(date); }
    std::size_t own_end() const { return static_cast<std::size_t>(macb) + 1; }
};

// Every distinct time of the call, ascending, each with the letters and names that share it, into scratch.times; the
// names into scratch.names.
void fill_timeline(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx);
