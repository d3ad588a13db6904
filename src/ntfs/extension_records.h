// Whose a record is by the references that lead to it, how attributes of other records are numbered beside a record's
// own, and where they lie. Called by attribute lists, the names of lookups, and the climb of paths; but for the places,
// by a thorough run alone. Reads no record.
#pragma once

#include <compare>
#include <cstdint>
#include <vector>

#include "base/bytes.h"

// Whether a reference that expects this sequence number still means the record: it carries none, or the record's own,
// or the record was freed since. One driver raises the number when it frees a record, another when it takes it again.
bool sequence_fits(std::uint16_t expected, std::uint16_t own, bool in_use);

// Whether a record extends the base record of this number, of which `base` is the header at least: it says so, and it
// was not freed by itself.
bool belongs_to(byte_view record, std::uint64_t base_inode, byte_view base);

// Of a record's own attributes, its list included: what a list delivers is numbered from behind it.
std::uint16_t highest_attribute_id(byte_view record);

// Where an extension record has an attribute.
struct id_place {
    std::uint16_t id = 0;
    std::uint32_t type = 0;  // 0 where an attribute is meant by its id alone
    std::uint32_t at = 0;

    auto operator<=>(const id_place&) const = default;
};
// All attributes of a record by id, and by type if that is asked, those alike in their order: found once, for a list
// may name each of many thousand.
void note_ids(byte_view record, bool types_asked, std::vector<id_place>& ids);
// The first place of an id, and type; null if there is none. The type is 0 where `ids` were noted without.
const id_place* find_id(const std::vector<id_place>& ids, std::uint16_t id, std::uint32_t type = 0);
// For whoever asks a record once: whether any attribute has the id.
bool has_id(byte_view record, std::uint16_t id);
