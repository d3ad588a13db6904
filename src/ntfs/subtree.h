// From a record to the paths that reach it, and from a directory to those below it.
// Called by walk/path_filters for a directory filter with a depth.
// Climbs by $FILE_NAME and descends by index; keeps no cache.
#pragma once

#include <cstdint>
#include <map>
#include <string>

struct diagnostic_log;
struct ntfs_volume;

// Directories by record number, each with the text of its path, which ends in a back slash.
using subtree_map = std::map<std::uint64_t, std::u16string>;

// Of the paths by which parent references lead from the root to a record: how many there are, and the first, without a
// back slash in front and with one at the end. All of them could be thousands of the greatest length.
struct found_paths {
    std::size_t count = 0;
    std::u16string first;
};
// False: some climb failed.
bool collect_paths(ntfs_volume& volume, std::uint64_t inode, found_paths& paths_out);
// A directory and those below it, to `depth` + 1 levels; `depth` below 0 gives the directory alone. Paths begin with
// `base_path`; `log` learns of directories that lie deeper than any path. False: no readable directory, or none that
// the root can be reached from.
bool expand_subtree(subtree_map& result, std::uint64_t inode, std::int64_t depth, ntfs_volume& volume,
                    const std::u16string& base_path, const diagnostic_log* log = nullptr);
