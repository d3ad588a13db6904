// The progress line on standard error: one line that each text replaces.
// Called by the walks, by the reader of digests and copies, and by the search for boot sectors.
// Words nothing, and does not ask whether the run is quiet.
#pragma once

#include <string_view>

// Cut and padded to 60 columns, ended by a carriage return; an empty text wipes the line.
void write_progress(std::string_view text);
