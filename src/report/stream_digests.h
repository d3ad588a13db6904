// Digests of the stream in hand, as the cells of a row show them.
// Called by the default report and the hash list for unnamed $DATA, once for each stream of a record.
// Reads and computes nothing itself: extract/ does.
#pragma once

#include "ntfs/file_record.h"

struct mft_entries_ctx;
struct report_scratch;

bool is_unnamed_data(const attr_entry& attribute);
// To be called ahead of a record's streams.
void forget_digested(report_scratch& scratch);
// False: this record's stream was here already, under another of its paths.
bool first_sight(attr_key stream, report_scratch& scratch);
// Fills the texts of the wanted digests. False, with both empty: the stream has none, or could not be read.
bool take_digests(const file_record& record, const attr_entry& attribute, report_scratch& scratch,
                  const mft_entries_ctx& ctx);
// What the hash list shows for a stream that could not be read.
void show_zero_digests(report_scratch& scratch);
