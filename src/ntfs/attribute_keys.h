// Under which keys a record's attributes and names are kept: their order is what "map order" means.
// Used by the decoding of attributes and by the collecting of names for lookups, so that both order alike.
// Reads no bytes. An attribute's number is its id, or what a thorough run gives it in place of that.
#pragma once

#include <cstdint>

#include "ntfs/layout.h"

// Attribute number in the top 24 bits, type in the low 40 (all ones for types that are only noted). A list of 256 KiB
// cannot give more numbers than that.
using attr_key = std::uint64_t;
constexpr unsigned attr_number_shift = 40;
constexpr attr_key attr_key_of_other_types = (attr_key{1} << attr_number_shift) - 1;

constexpr attr_key make_attr_key(std::uint32_t number, std::uint32_t type) {
    return attr_key{number} << attr_number_shift | type;
}
constexpr std::uint32_t attr_number_of(attr_key key) { return static_cast<std::uint32_t>(key >> attr_number_shift); }

struct name_key {
    std::uint32_t rank = 0;    // attribute number * 16 + name space
    std::uint64_t parent = 0;  // its record number

    friend bool operator<(const name_key& left, const name_key& right) {
        return left.rank < right.rank || (left.rank == right.rank && left.parent < right.parent);
    }
};

// Kept: by default the rank is cut to 16 bits, so that names with ids above 4095 come out of order and can meet.
constexpr name_key make_name_key(std::uint32_t number, std::uint8_t name_space, std::uint64_t parent, bool thorough) {
    const std::uint32_t rank = number * 16 + name_space;
    return {thorough ? rank : rank & 0xFFFF, parent & inode_mask};
}
