// What path lookups have learned of one directory.
// Filled by ntfs/path_lookup, kept by the volume until it is closed, never evicted.
// Knows nothing of paths: a directory is known by its record number.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

struct dir_cache_entry {
    std::uint64_t inode = 0;
    std::set<std::uint64_t> parents;   // directories that led here first
    bool deleted = false;              // the record was free when the entry was made
    std::set<std::uint64_t> children;  // empty until a lookup walks into the directory
    // Lower-case, one for each $FILE_NAME of each child. In UTF-16, as they lie on the disk: UTF-8 has no form for a
    // lone half of a pair, so that two names could become one.
    std::map<std::u16string, std::uint64_t> names;
};
