// The walkers: the only loops over file records.
// Called by the run driver, one or two in a row; each hands what parse_file_record accepts to one report.
// They decide nothing about a record's content, and a bad record never ends a walk.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

struct mft_entries_ctx;

// Record numbers in rising order, from mft_start on.
void walk_mft_sequence(std::ostream& out, mft_entries_ctx& ctx);
// The numbers of selected_inodes in rising order.
void walk_mft_inodes(std::ostream& out, mft_entries_ctx& ctx);

// Writes the progress line, cut and padded to 60 columns, ended by a carriage return, to standard error.
void write_progress(std::string_view text);
