#include "ntfs/directory_index.h"

#include <gtest/gtest.h>

#include "support/index_builder.h"
#include "support/open_volume.h"

namespace {

using namespace build;

bytes poked(bytes target, std::size_t at, std::uint16_t value) { return poke_u16(target, at, value), target; }

// Record 1, with those behind it and index blocks from cluster 40 on.
inode_set children_of(const std::vector<record>& made, const bytes& blocks, bool& result,
                      std::uint32_t cluster_size = 1024) {
    inode_set children;
    std::vector<bytes> records;
    for (const record& each : made) records.push_back(each.on_disk());
    opened_volume opened(volume(128, cluster_size).put(40, blocks).mft({{16, 4}}, records).all());
    result = list_directory_children(opened.volume(), 1, children);
    return children;
}

record folder() { return build::record().directory().std_info(); }

// A list of one entry: an index attribute in record 2.
bytes listed(std::uint32_t type, std::u16string_view name = u"$I30") {
    bytes entry(40), units = utf16_bytes(name);
    poke_u32(entry, 0, type);
    poke_u32(entry, 4, 40 | static_cast<std::uint32_t>(name.size()) << 16 | 26 << 24);
    poke_u64(entry, 16, reference(2, 1));
    std::copy(units.begin(), units.end(), entry.begin() + 26);
    return entry;
}

}  // namespace

TEST(directory_index, a_node_ends_at_the_first_entry_that_cannot_be_one) {
    const bytes e1 = index_entry(reference(20, 7)), e2 = index_entry(21, 1), e3 = index_entry(22);
    const bytes too_long = index_entry(22, 0, 776);
    const struct {
        const char* what;
        bytes node;
        bool result;
        inode_set children;
    } cases[] = {
        {"all, those with a sub-node too", index_node({e1, e2, e3}), true, {20, 21, 22}},
        {"last with a sub-node", index_node({e1, index_entry(21, 3), e3}), true, {20}},
        {"reference 0", index_node({e1, index_entry(0), e3}), true, {20}},
        {"the longest entry, and longer", index_node({e1, index_entry(21, 0, 768), too_long, e3}), true, {20, 21}},
        {"longer than the node", poked(index_node({e1, e2}), 16 + 8, 0x300), true, {}},
        {"key longer than the entry", poked(index_node({e1, e2}), 16 + 0x60 + 10, 0x61), true, {20}},
        {"nothing behind the stated length", poked(index_node({e1, e2, e3}), 4, 16 + 0x60), true, {20, 21}},
        {"the first entry beyond the bytes", poked(index_node({e1}), 0, 0xFFFF), true, {}},
        {"just the greatest length", poked(index_node({e1}), 4, 4096), true, {}},
        {"above the greatest", poked(index_node({e1}), 4, 4097), false, {}},
    };
    for (const auto& c : cases) {
        inode_set children;
        EXPECT_EQ(parse_index_node(c.node, children), c.result) << c.what;
        EXPECT_EQ(children, c.children) << c.what;
    }
}

TEST(directory_index, a_directory_is_listed_from_wherever_its_index_lies) {
    const bytes root = index_root({20}), runs = pairs({{4, 40}});
    const auto with_root = [&root] { return folder().resident(0x90, root, u"$I30"); };
    const auto other_root = [&root] { return folder().resident(0x90, root, u"$O"); };
    const auto list = [](record made, std::uint32_t type, std::u16string_view name = u"$I30") {
        return made.resident(0x20, listed(type, name));
    };
    const record in_2 = other_root().non_resident(0xA0, runs, 4096, u"$I30");
    const record behind_list = list(folder(), 0xA0).resident(0x90, root, u"$I30");
    const struct {
        const char* what;
        std::vector<record> records;
        bool result;
        inode_set children;
    } cases[] = {
        {"root alone", {with_root()}, true, {20}},
        {"another index", {other_root()}, false, {}},
        {"of another type", {folder().resident(0x90, index_root({20}, 0x40), u"$I30")}, false, {}},
        {"both", {with_root().non_resident(0xA0, runs, 4096, u"$I30")}, true, {20, 30, 31}},
        {"nothing initialised", {with_root().non_resident(0xA0, runs, 0, u"$I30")}, false, {20}},
        {"an extension stands for its base", {folder().base(reference(2, 9)), with_root()}, true, {20}},
        {"a ring of bases", {folder().base(reference(2, 1)), folder().base(reference(1, 1))}, false, {}},
        {"allocation behind a list", {behind_list, in_2}, true, {20, 30, 31}},
        {"the listed record is none", {behind_list, folder().signature("none")}, false, {20}},
        {"a list of something else", {list(folder(), 0xA0, u"$O").resident(0x90, root, u"$I30"), in_2}, true, {20}},
        {"a root behind a list does not count", {list(folder(), 0x90), with_root()}, false, {20}},
    };
    for (const auto& c : cases) {
        bool result = false;
        EXPECT_EQ(children_of(c.records, index_block(30, 2), result), c.children) << c.what;
        EXPECT_EQ(result, c.result) << c.what;
    }
}

TEST(directory_index, blocks_are_counted_over_allocated_clusters_of_any_size) {
    const bytes blocks = index_block(20, 30) + index_block(60, 1) + bytes(4096) + index_block(70, 1);
    std::vector<run> over_and_over;
    for (int count = 0; count <= 128 / 4; ++count) over_and_over.push_back({4, 40 + count % 2 * 4});
    over_and_over.push_back({4, 52});
    const std::tuple<std::uint32_t, std::vector<run>, std::size_t> cases[] = {
        {512, {{5, 40}, {3, hole}, {3, 45}, {8, 48}}, 31},  // a block over two runs and a hole
        {1024, {{4, 48}, {1, hole}, {8, 40}, {4, 52}}, 32},
        {4096, {{1, 43}, {9, hole}, {1, 1 << 20}, {1, 40}}, 1},  // what cannot be read ends it
        {8192, {{1, 41}, {1, hole}, {1, 40}}, 32},
        {1024, over_and_over, 31},  // as many blocks as the source holds, and one
    };
    for (const auto& [cluster_size, runs, children] : cases) {
        bool result = false;
        const record record_1 = folder().non_resident(0xA0, pairs(runs), 4096, u"$I30");
        EXPECT_EQ(children_of({record_1}, blocks, result, cluster_size).size(), children) << cluster_size;
    }
}
