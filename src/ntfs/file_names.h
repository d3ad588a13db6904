// The names of one file, from all records that hold some, without decoding anything else.
// Called by path lookups, which want the names of every child of a directory.
// Reads no directory index; names are not lower-cased.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/flat_map.h"
#include "ntfs/attribute_keys.h"

struct ntfs_volume;

struct file_name {
    std::u16string name;
    std::uint64_t parent = 0;  // record number
    bool is_dos = false;
};

using file_name_map = flat_map<name_key, file_name>;

constexpr std::uint64_t any_parent = ~std::uint64_t{0};

// Adds the names of the file `inode`, whose record is at hand. Without `all_names` the DOS name space is left out.
// `parent_filter` leaves only the names in one directory. False: `names` is empty.
bool collect_names(file_name_map& names, ntfs_volume& volume, std::uint64_t inode,
                   const std::vector<std::uint8_t>& record, bool all_names = false,
                   std::uint64_t parent_filter = any_parent);
