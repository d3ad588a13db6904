// Attribute lists: what a record keeps in other records, found entry by entry and decoded into the record's own maps.
// Called by the two attribute loops, of record_read and of the acceptance pipeline.
// Follows no list of another record. Whether types and sequence numbers are compared is the run's choice.
#pragma once

#include <cstdint>

#include "base/bytes.h"

struct file_record;
struct record_source;

// Guard: NTFS ends a list at 256 KiB; all lists of one record together are followed so far.
constexpr std::uint32_t list_limit = 256 * 1024;

// Decodes what the attribute list at `at` in `record_bytes` names in other records, into `record`. A resident list's
// last entry may run past the list: its fields are then those that lie there.
void process_attribute_list(file_record& record, record_source& records, std::uint64_t inode, byte_view record_bytes,
                            std::size_t at, bool want_resident_copy);
