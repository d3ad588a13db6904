// Whatever the records of a small volume say, rings of directories, links and extension records included: lookups end,
// a second one finds what the first one found, and subtrees stay within their bounds. The bytes are records 1 to 16.
#include <cstdlib>

#include "ntfs/layout.h"
#include "ntfs/path_lookup.h"
#include "ntfs/subtree.h"
#include "support/open_volume.h"

namespace {

void expect(bool law) {
    if (!law) std::abort();
}

void check_lookup(opened_volume& opened, const std::u16string& path, bool follow_links) {
    path_target first, second;
    const bool found = lookup_path(first, opened.volume(), path, follow_links, opened.ctx.log);
    expect(lookup_path(second, opened.volume(), path, follow_links, opened.ctx.log) == found);
    expect(found ? first.inode == second.inode && first.path == second.path : first.path.empty());
    expect(first.inode <= inode_mask);
}

void check_subtree(opened_volume& opened, std::uint64_t inode) {
    std::vector<std::u16string> paths;
    const bool reached = collect_paths(opened.volume(), inode, {}, paths);
    expect(paths.size() <= 4096);
    subtree_map near, all;
    const bool expanded = expand_subtree(near, inode, 0, opened.volume(), u"[root]");
    expect(expand_subtree(all, inode, 98, opened.volume(), u"[root]") == expanded && (reached || !expanded));
    for (const auto& [number, path] : near) expect(all.at(number) == path);
    for (const auto& [number, path] : all) expect(path.starts_with(u"[root]\\") && path.ends_with(u"\\"));
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t record_size = 1024, most_records = 16;
    if (size < 6 * record_size || size > most_records * record_size) return 0;
    std::vector<build::bytes> records;
    for (std::size_t at = 0; at < size; at += record_size)
        records.emplace_back(data + at, data + std::min(at + record_size, size));
    opened_volume opened(build::volume(48).mft({{1 + most_records, 4}}, records).all());
    if (!opened.valid()) return 0;
    for (const char16_t* path : {u"\\a\\b\\c", u"\\b\\a", u"c:\\c\\b", u"a\\a"}) {
        check_lookup(opened, path, true);
        check_lookup(opened, path, false);
    }
    for (std::uint64_t inode = 1; inode <= records.size(); ++inode) check_subtree(opened, inode);
    return 0;
}
