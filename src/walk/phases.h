// Which walks a run makes, and in which order: one over $MFT, one over free clusters, or both.
// Called by the run driver once the options are read.
// Walks nothing itself; between two walks it changes settings, and nothing else does.
#pragma once

struct mft_entries_ctx;
struct report_output;

void run_walks(report_output& out, mft_entries_ctx& ctx);
