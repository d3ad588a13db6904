// Which walks a run makes, and in which order: one over $MFT, one over free clusters, or both.
// Called by the run driver once the options are read.
// Walks nothing itself; between two walks it changes settings, and nothing else does.
#pragma once

struct mft_entries_ctx;
struct report_output;

// Whether a walk goes over selected_inodes and over no other record. Kept: limits of size and time, and a wish for free
// clusters, do not count here.
bool only_inodes_are_selected(const mft_entries_ctx& ctx);
void run_walks(report_output& out, mft_entries_ctx& ctx);
