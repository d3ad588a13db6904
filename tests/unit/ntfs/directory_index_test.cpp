#include "ntfs/directory_index.h"

#include <gtest/gtest.h>

#include "support/index_builder.h"
#include "support/open_volume.h"

namespace {

using build::bytes;
using build::hole;
using build::index_entry;
using build::index_node_of;
using build::reference;

bytes poked(bytes target, std::size_t at, std::uint16_t value) {
    build::poke_u16(target, at, value);
    return target;
}

// Record 1 and those behind it, and index blocks from cluster 40 on.
struct listing {
    inode_set children;
    bool result = false;

    listing(const std::vector<bytes>& records, const bytes& blocks = {}, std::uint32_t cluster_size = 1024) {
        build::volume built(128, cluster_size);
        opened_volume opened(built.put(40, blocks).mft({{16, 4}}, records).all());
        result = opened.valid() && list_directory_children(opened.volume(), 1, children);
    }
};

build::record folder() { return build::record().directory().std_info(); }

bytes index_list(std::uint32_t type, std::uint64_t inode, std::u16string_view name = u"$I30") {
    bytes entry(26);
    build::poke_u32(entry, 0, type);
    build::poke_u16(entry, 4, 40);
    entry[6] = static_cast<std::uint8_t>(name.size());
    entry[7] = 26;
    build::poke_u64(entry, 16, reference(inode, 1));
    for (const std::uint8_t byte : build::utf16_bytes(name)) entry.push_back(byte);
    entry.resize(40);
    return entry;
}

}  // namespace

TEST(directory_index, a_node_ends_at_the_first_entry_that_cannot_be_one) {
    const bytes e1 = index_entry(reference(20, 7)), e2 = index_entry(21, 1), e3 = index_entry(22);
    bytes greatest = index_node_of({20}), none = greatest, above = greatest;
    build::poke_u32(greatest, 4, 4096);
    build::poke_u32(none, 4, 0);
    build::poke_u32(above, 4, 4097);
    const struct { const char* what; bytes node; bool result; inode_set children; } cases[] = {
        {"all, those with a sub-node too", build::index_node({e1, e2, e3}), true, {20, 21, 22}},
        {"last with a sub-node", build::index_node({e1, index_entry(21, 3), e3}), true, {20}},
        {"other flags are none of the two", build::index_node({e1, index_entry(21, 6), e3}), true, {20, 21, 22}},
        {"reference 0", build::index_node({e1, index_entry(0), e3}), true, {20}},
        {"as long as an entry may be", build::index_node({e1, index_entry(21, 0, 768), e3}), true, {20, 21, 22}},
        {"longer", build::index_node({e1, index_entry(21, 0, 776), e3}), true, {20}},
        {"longer than the node", poked(build::index_node({e1, e2}), 16 + 8, 0x300), true, {}},
        {"key longer than the entry", poked(build::index_node({e1, e2}), 16 + 0x60 + 10, 0x61), true, {20}},
        {"length 0", poked(poked(build::index_node({e1, e2, e3}), 16 + 0x60 + 8, 0), 16 + 0x60 + 10, 0), true, {20}},
        {"nothing behind the stated length", poked(build::index_node({e1, e2, e3}), 4, 16 + 0x60), true, {20, 21}},
        {"the first entry beyond the bytes", poked(build::index_node({e1}), 0, 0xFFFF), true, {}},
        {"just the greatest length", greatest, true, {}},
        {"length 0 of the node", none, false, {}},
        {"above the greatest", above, false, {}},
        {"no bytes", {}, false, {}},
    };
    for (const auto& c : cases) {
        inode_set children;
        EXPECT_EQ(parse_index_node(c.node, children), c.result) << c.what;
        EXPECT_EQ(children, c.children) << c.what;
    }
}

TEST(directory_index, a_directory_is_listed_from_wherever_its_index_lies) {
    const bytes root = build::index_root(index_node_of({20})), block = build::index_block(index_node_of({30, 31}));
    const bytes runs = build::pairs({{4, 40}}), other = build::index_root(index_node_of({20}), 0x40);
    const bytes list_of_alloc = index_list(0xA0, 2), list_of_root = index_list(0x90, 2);
    const bytes in_2 = folder().base(reference(1, 1)).resident(0x90, root, u"$O").non_resident(0xA0, runs, 4096, u"$I30").on_disk();
    const bytes root_in_2 = folder().base(reference(1, 1)).resident(0x90, root, u"$I30").on_disk();
    bytes ring = folder().base(reference(2, 1)).on_disk();
    const struct { const char* what; std::vector<bytes> records; bool result; inode_set children; } cases[] = {
        {"root alone", {folder().resident(0x90, root, u"$I30").on_disk()}, true, {20}},
        {"another index", {folder().resident(0x90, root, u"$O").on_disk()}, false, {}},
        {"root of another type", {folder().resident(0x90, other, u"$I30").on_disk()}, false, {}},
        {"both", {folder().resident(0x90, root, u"$I30").non_resident(0xA0, runs, 4096, u"$I30").on_disk()}, true, {20, 30, 31}},
        {"nothing initialised", {folder().resident(0x90, root, u"$I30").non_resident(0xA0, runs, 0, u"$I30").on_disk()}, false, {20}},
        {"an extension stands for its base", {folder().base(reference(2, 9)).on_disk(), folder().resident(0x90, root, u"$I30").on_disk()}, true, {20}},
        {"a ring of bases", {ring, folder().base(reference(1, 1)).on_disk()}, false, {}},
        {"allocation behind a list", {folder().resident(0x20, list_of_alloc).resident(0x90, root, u"$I30").on_disk(), in_2}, true, {20, 30, 31}},
        {"the listed record is none", {folder().resident(0x20, list_of_alloc).resident(0x90, root, u"$I30").on_disk(), {}}, false, {20}},
        {"a list of something else", {folder().resident(0x20, index_list(0xA0, 2, u"$O")).resident(0x90, root, u"$I30").on_disk(), in_2}, true, {20}},
        {"a root behind a list does not count", {folder().resident(0x20, list_of_root).on_disk(), root_in_2}, false, {20}},
    };
    for (const auto& c : cases) {
        const listing listed(c.records, block);
        EXPECT_EQ(listed.result, c.result) << c.what;
        EXPECT_EQ(listed.children, c.children) << c.what;
    }
}

TEST(directory_index, blocks_are_counted_over_allocated_clusters_of_any_size) {
    bytes blocks;
    for (const std::uint64_t first : {20u, 30u, 0u, 50u}) {
        const bytes block = first == 0 ? bytes(4096) : build::index_block(index_node_of({first, first + 1}));
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    const struct { std::uint32_t cluster_size; std::vector<build::run> runs; inode_set children; } cases[] = {
        {512, {{5, 40}, {3, hole}, {3, 45}, {8, 48}}, {20, 21, 30, 31}},    // a block over two runs and a hole
        {1024, {{4, 48}, {1, hole}, {8, 40}, {4, 52}}, {20, 21, 30, 31, 50, 51}},
        {4096, {{1, 43}, {9, hole}, {1, 1 << 20}, {1, 40}}, {50, 51}},     // what cannot be read ends it
        {8192, {{1, 41}, {1, hole}, {1, 40}}, {20, 21, 30, 31, 50, 51}},
    };
    for (const auto& c : cases) {
        const listing listed({folder().non_resident(0xA0, build::pairs(c.runs), 4096, u"$I30").on_disk()}, blocks, c.cluster_size);
        EXPECT_TRUE(listed.result) << c.cluster_size;
        EXPECT_EQ(listed.children, c.children) << c.cluster_size;
    }
}
