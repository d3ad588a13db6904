// Buffers that the filter engine reuses for every record.
// Owned by the run context, touched by walk/ alone.
// Holds no setting and no result.
#pragma once

#include <string>

struct walk_scratch {
    std::u16string lowered;  // the name being tested
    std::string name_bytes;  // the same as UTF-16LE bytes, line feeds expanded
};
