// What the options can ask for and this build cannot do yet.
// Called by the run driver behind the option passes, so that such a run ends instead of giving something else.
// Knows no option: only the settings that they leave.
#pragma once

struct mft_entries_ctx;

// True if the run needs something that is not there; the message has been written.
bool refuse_what_is_not_offered(const mft_entries_ctx& ctx);
