// Records ahead of a walk in rising order: their bytes come from the source many at a time.
// Used by the sequence walker through read_record_ahead; whoever jumps reads records alone.
// Classifies nothing: what it delivers is what a read of the record alone would. It never reads behind `end`.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"

struct record_source;

struct record_block {
    std::uint64_t first = 0;     // number of the first record
    std::uint64_t count = 0;     // records that it holds whole
    std::uint64_t alone_to = 0;  // records below it lie where a block could not be read: each is read by itself
    std::uint32_t stride = 0;    // bytes from one record to the next
    std::uint32_t record_size = 0;
    std::vector<std::uint8_t> bytes;

    bool holds(std::uint64_t number) const { return number >= first && number - first < count; }
};

// The bytes of record `inode` where they lie in the block, or in a new one that begins with it; in `buffer` only if
// records overlap. The caller may change them: a record is taken once. Records from `end` on are not read. Empty: it
// has to be read alone.
byte_span take_from_block(record_block& block, record_source& records, std::uint64_t inode, std::uint64_t end,
                          std::vector<std::uint8_t>& buffer);
