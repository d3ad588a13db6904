// Digests of the stream in hand, as the rows of two reports show them.
// Called by the default report and the hash list for unnamed $DATA, once for each stream of a record.
// Reads and computes nothing itself: extract/ does.
#pragma once

#include "report/record_text.h"

struct report_scratch;

bool is_unnamed_data(const attr_entry& attribute);
// Notes the stream as handled and digests it into scratch.stream; zeros where it has none or could not be read.
void take_digests(const file_record& record, const path_entry& path, attr_key key, const attr_entry& attribute,
                  report_scratch& scratch, const mft_entries_ctx& ctx);
// The wanted digests of scratch.stream as texts, zeros as they are.
void set_digest_texts(report_scratch& scratch, const mft_entries_ctx& ctx);
