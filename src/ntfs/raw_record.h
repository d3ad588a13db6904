// One record as its bytes: reading it, seeking single attributes in it, and the bytes of its attribute list.
// Called by directory listings and path lookups, which want one or two attributes of many records.
// Decodes no value; whole records are decoded by ntfs/record_read.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/bytes.h"

struct ntfs_volume;

// read_record into a buffer of the size that the boot sector grants a record: false also where records are larger.
// `bytes` is shorter than that where records are smaller.
bool read_raw_record(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes);

// A cursor is an attribute's offset in the record; attributes are viewed from their header to the record's end, so that
// a lying length reaches what lies behind them, as everywhere.
std::size_t attributes_start(byte_view record);
// Moves the cursor to the first attribute of `type`, beginning with the one under it. False where the attributes end,
// or at a length of 0 or above `limit`.
bool find_attribute(byte_view record, std::size_t& cursor, std::uint32_t type, std::uint32_t limit);
// The same by type and name; an empty name is that of an unnamed attribute.
bool find_named_attribute(byte_view record, std::size_t& cursor, std::uint32_t type, std::u16string_view name,
                          std::uint32_t limit);
bool attribute_has_name(byte_view attribute, std::u16string_view name);

// The entries of an $ATTRIBUTE_LIST. An entry counts when it begins within `length`; its fields may lie behind.
struct attribute_list {
    std::vector<std::uint8_t> storage;  // of a non-resident list
    byte_view bytes;
    std::size_t length = 0;
};
// `attribute` must outlive a resident list. False: it has no value, or none that can be read.
bool read_attribute_list(ntfs_volume& volume, byte_view attribute, attribute_list& list);
// The same cluster by cluster: one that cannot be read ends its run, and the next run takes its place.
bool gather_attribute_list(ntfs_volume& volume, byte_view attribute, attribute_list& list);
// The entry at `at`, which moves to the next one. False behind the last, and at an entry of length 0.
bool next_list_entry(const attribute_list& list, std::size_t& at, byte_view& entry);
