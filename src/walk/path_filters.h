// Filters by path become filters by record number.
// Called by open_and_prepare, each time a volume has been opened.
// Prints nothing; the -diags log tells which path was not found. The options' texts stay as they are.
#pragma once

struct mft_entries_ctx;

// Entries of dir_inodes for the items of -filter_dir, of selected_inodes for those of -filter_file.
void resolve_path_filters(mft_entries_ctx& ctx);
