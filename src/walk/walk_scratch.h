// Buffers that the filter engine reuses for every record.
// Owned by the run context, touched by walk/ alone.
// Holds no setting and no result.
#pragma once

#include <string>
#include <vector>

struct walk_scratch {
    std::vector<std::u16string> names;  // the record's names in map order, lower case; entries beyond them are spare
    bool names_ready = false;           // lower-cased already for the record in hand
    std::u16string lowered;             // the stream name being tested
    std::u16string expanded;            // a name whose line feeds were expanded
};
