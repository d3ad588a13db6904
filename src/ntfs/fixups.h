// The update sequence of a record or index block: puts back the words that stand at the sectors' ends.
// Called by every read of records and by reads of index streams.
// Repairs a torn record silently, as the results expect: whoever wants to know of it asks first.
#pragma once

#include <cstdint>

#include "base/bytes.h"

// Bytes that each word of the sequence stands for. `bytes` is the whole record or index block; `sector_size` that of
// the source, which counts unless the sequence covers the block by sectors of 512 bytes and not by the source's: on
// disks of 4096-byte sectors Windows protects each 512 bytes all the same.
std::uint32_t fixup_stride(byte_view bytes, std::uint32_t sector_size);

// The array's offset and count are those in the bytes themselves. Nothing is done for a stride below 2.
void apply_fixups(byte_span bytes, std::uint32_t sector_size);

// True where apply_fixups, called now, would replace a word that is not the sequence number: the bytes' parts were not
// written together. Words behind what the record uses count too.
bool is_torn(byte_view bytes, std::uint32_t sector_size);
