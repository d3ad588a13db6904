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
    std::set<std::uint64_t> parents;  // directories that led here first
    bool present = true;
    bool deleted = false;                        // the record was free when the entry was made
    std::set<std::uint64_t> children;            // empty until a lookup walks into the directory
    std::map<std::string, std::uint64_t> names;  // lower-case UTF-8, one for each $FILE_NAME of each child
};
