// From a path inside a volume to a record: its segments are walked down from the root, links are followed when asked.
// Called by walk/path_filters. What is learned of a directory stays in the volume's dir_cache.
// Tells its way in the -diags log alone; the other way round, from records to paths, is ntfs/subtree.
#pragma once

#include <cstdint>
#include <string>

struct record_source;

struct path_target {
    std::uint64_t inode = 0;
    std::uint64_t parent = ~std::uint64_t{0};  // directory the last step started from
    // As the user spelt it, drive and stream included, with single back slashes and none at the end; where a link led
    // elsewhere, the path that it led to.
    std::u16string path;
};

// `path` is divided by "/" if it holds one, else by "\"; case never matters, nor does a stream behind a segment's ":".
// `records` has a volume. False: not found, or no path at all; `target.path` is empty then.
bool lookup_path(path_target& target, record_source& records, const std::u16string& path, bool follow_links);
