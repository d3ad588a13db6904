// The walkers over record numbers: $MFT from its first record to its last, or the numbers that were asked for.
// Called by walk/phases, one or two in a row; what is done with a record is record_visit's.
// They decide nothing about a record's content, and a bad record never ends a walk.
#pragma once

struct mft_entries_ctx;
struct report_output;

// Record numbers in rising order, from mft_start on.
void walk_mft_sequence(report_output& out, mft_entries_ctx& ctx);
// The numbers of selected_inodes in rising order.
void walk_mft_inodes(report_output& out, mft_entries_ctx& ctx);
