// The one place where the run's source is opened.
// Called by the run driver before it picks a walker and again by every walker.
// Prints nothing; -diags learns why a source cannot be opened.
#pragma once

struct mft_entries_ctx;

// False: no usable source. Does nothing, with success, once the source is open.
bool open_and_prepare(mft_entries_ctx& ctx);
// Closes and forgets what open_and_prepare opened.
void close_source(mft_entries_ctx& ctx);
