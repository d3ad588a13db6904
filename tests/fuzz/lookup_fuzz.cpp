// Whatever the records of a small volume say, rings of directories, links, extension records and index blocks included:
// listings and lookups end, each child of a node stands in its bytes, a second lookup finds what the first one found,
// and subtrees stay within their bounds. The bytes are records 1 to 16; runs may take them for index blocks too.
#include "fuzz/target.h"
#include "ntfs/directory_index.h"
#include "ntfs/path_lookup.h"
#include "ntfs/subtree.h"
#include "support/open_volume.h"

namespace {

void check_lookup(opened_volume& opened, const std::u16string& path) {
    path_target first, second;
    const bool found = lookup_path(first, opened.ctx, path, path[0] == u'\\');
    expect(lookup_path(second, opened.ctx, path, path[0] == u'\\') == found);
    expect(found ? first.inode == second.inode && first.path == second.path : first.path.empty());
}

void check_subtree(opened_volume& opened, std::uint64_t inode) {
    subtree_map near, all;
    const bool expanded = expand_subtree(near, inode, 0, opened.volume(), u"[root]");
    expect(expand_subtree(all, inode, 98, opened.volume(), u"[root]") == expanded);
    for (const auto& [number, path] : near) expect(all.at(number) == path);
    for (const auto& [number, path] : all) expect(path.starts_with(u"[root]\\") && path.ends_with(u"\\"));
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t record_size = 1024, most_records = 16;
    if (size < 6 * record_size || size > most_records * record_size) return 0;
    inode_set children;
    parse_index_node({data + 5 * record_size, record_size}, children);
    for (const std::uint64_t child : children) {
        const auto* number = reinterpret_cast<const std::uint8_t*>(&child);
        expect(std::search(data, data + size, number, number + 6) != data + size);
    }
    std::vector<build::bytes> records(size / record_size);
    for (build::bytes& record : records) record.assign(data, data + record_size), data += record_size;
    opened_volume opened(build::volume(48).mft({{1 + most_records, 4}}, records).all());
    if (!opened.valid()) return 0;
    for (const char16_t* path : {u"\\a\\b\\c", u"\\c\\b", u"a\\a"}) check_lookup(opened, path);
    for (std::uint64_t inode = 1; inode <= records.size(); ++inode) check_subtree(opened, inode);
    return 0;
}
