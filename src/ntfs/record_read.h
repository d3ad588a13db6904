// Records by number: their bytes with fixups, and the decode that does no selection.
// Called by the walkers, by path lookups and by attribute lists (attribute_list.h). The acceptance pipeline lies in
// walk/.
// A torn record is repaired like any other; only a thorough walk is told of it.
#pragma once

#include <cstdint>
#include <vector>

#include "ntfs/attributes.h"
#include "ntfs/file_record.h"
#include "ntfs/fixups.h"
#include "ntfs/record_block.h"

struct record_source;

// True if records can be read: an open extracted $MFT, or a valid volume.
bool source_usable(const record_source& records);

// One record, fixed up. `bad` is set for "BAAD", which is delivered as it lies. True with an empty buffer means that
// the source ends there. False: unreadable, or neither "FILE" (within its limits), "INDX" nor "BAAD".
// The first call on an extracted $MFT learns record_size.
bool read_file_record(std::vector<std::uint8_t>& buffer, bool& bad, record_source& records, std::uint64_t inode);

// The same for a walk in rising order up to `end`: `record` lies in a block where that can be read, else in `buffer`,
// until the next call. "BAAD" is delivered without a word. `torn` is set only where the source is read thoroughly.
bool read_record_ahead(byte_view& record, std::vector<std::uint8_t>& buffer, bool& torn, record_source& records,
                       std::uint64_t inode, record_block& block, std::uint64_t end);

// Number, header, sequence, base reference; returns the first attribute's offset.
std::uint16_t fill_header_fields(file_record& record, std::uint64_t inode, byte_view bytes);

// Bytes and decode of a record, no selection, no paths. False: the record could not be read.
bool read_and_decode_record(file_record& record, record_source& records, std::uint64_t inode, bool want_resident_copy);
