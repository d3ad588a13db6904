// What every walker does with one record, and with its walk's beginning and end.
// Called by the walkers over record numbers, inode lists and free clusters; it hands accepted records to one report.
// Fetches no bytes and picks no record: the walkers do.
#pragma once

#include <cstdint>
#include <vector>

#include "ntfs/file_record.h"
#include "walk/walk_state.h"

struct mft_entries_ctx;
struct report_output;

// What a walk holds from its first record to its last.
struct record_walk {
    report_output& out;
    mft_entries_ctx& ctx;
    walk_state state;
    file_record record;
    std::vector<std::uint8_t> buffer;  // for the bytes of the record in hand, unless they lie elsewhere

    record_walk(report_output& results, mft_entries_ctx& context) : out(results), ctx(context) {}
};

// Opens the source. False: there is nothing to walk.
bool begin_walk(record_walk& walk);
// Decodes and selects `bytes`; an accepted record goes to the run's report. `offset` is what the record tells of its
// place, 0 for nothing. A record that runs out of memory is dropped, but for the rows that have left by then.
void visit_record(record_walk& walk, byte_view bytes, std::uint64_t inode, std::uint64_t offset);
// For the log: the record was dropped for want of memory.
void tell_out_of_memory(const mft_entries_ctx& ctx, std::uint64_t inode);
// False: results cannot be written any more, so the walk ends.
bool walk_goes_on(const record_walk& walk);
// Closes the source and wipes the progress line.
void end_walk(record_walk& walk);

// "analyzing entry <done> of <total>" in the progress line, unless the run is quiet.
void show_progress(const mft_entries_ctx& ctx, std::uint64_t done, std::uint64_t total);
