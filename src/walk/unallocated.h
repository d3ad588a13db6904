// The walker over free clusters: file records that survive where $Bitmap says nothing lies.
// Called by walk/phases, behind a walk of $MFT or alone.
// Needs a volume; finds records only at multiples of the record size inside a cluster, and drops no duplicate.
#pragma once

struct mft_entries_ctx;
struct report_output;

void walk_unallocated(report_output& out, mft_entries_ctx& ctx);
