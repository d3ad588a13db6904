// The update sequence of a record or index block: puts back the words that stand at the sectors' ends.
// Called by every read of records and by reads of index streams.
// Does not compare them with the sequence number: a torn record is repaired silently, as the results expect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The array's offset and count are those in the bytes themselves. Nothing is done for a sector size below 2.
void apply_fixups(std::uint8_t* bytes, std::size_t size, std::uint32_t sector_size);
inline void apply_fixups(std::vector<std::uint8_t>& bytes, std::uint32_t sector_size) {
    apply_fixups(bytes.data(), bytes.size(), sector_size);
}
