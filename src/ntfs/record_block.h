// Records ahead of a walk in rising order: their bytes come from the source many at a time.
// Used by the sequence walker through read_record_ahead; whoever jumps reads records alone.
// Classifies nothing: what it delivers is what a read of the record alone would. It never reads behind `end`.
#pragma once

#include <cstdint>
#include <vector>

struct record_source;

struct record_block {
    std::uint64_t first = 0;     // number of the first record
    std::uint64_t count = 0;     // records that it holds whole
    std::uint64_t alone_to = 0;  // records below it lie where a block could not be read: each is read by itself
    std::uint32_t stride = 0;    // bytes from one record to the next
    std::uint32_t record_size = 0;
    std::vector<std::uint8_t> bytes;
};

// The bytes of record `inode`, out of the block or of a new one that begins with it. Records from `end` on are not
// read. False: it has to be read alone.
bool take_from_block(record_block& block, record_source& records, std::uint64_t inode, std::uint64_t end,
                     std::vector<std::uint8_t>& buffer);
