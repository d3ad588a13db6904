// What the walkers keep between records: the directories met, and buffers that the filters reuse.
// One for each walk, owned by the walker and handed to the acceptance pipeline.
// Holds no setting and no result.
#pragma once

#include <string>
#include <vector>

#include "walk/paths.h"

struct filter_scratch {
    std::vector<std::u16string> names;  // the record's names in map order, lower case; entries beyond them are spare
    bool names_ready = false;           // lower-cased already for the record in hand
    std::u16string lowered;             // the stream name being tested
    std::u16string expanded;            // a name whose line feeds were expanded
};

struct walk_state {
    path_cache paths;
    filter_scratch filters;
    bool torn = false;  // the record in hand was; only a thorough walk asks
};
