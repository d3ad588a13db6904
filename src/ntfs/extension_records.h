// Whose a record is by the references that lead to it, and how attributes of other records are numbered beside a
// record's own. Called by a thorough run alone: attribute lists, the names of lookups, and the climb of paths.
// Reads no record.
#pragma once

#include <cstdint>

#include "base/bytes.h"

// Whether a reference that expects this sequence number still means the record: it carries none, or the record's own,
// or the record was freed since. One driver raises the number when it frees a record, another when it takes it again.
bool sequence_fits(std::uint16_t expected, std::uint16_t own, bool in_use);

// Whether a record extends the base record of this number, of which `base` is the header at least: it says so, and it
// was not freed by itself.
bool belongs_to(byte_view record, std::uint64_t base_inode, byte_view base);

// Of a record's own attributes, its list included: what a list delivers is numbered from behind it.
std::uint16_t highest_attribute_id(byte_view record);
