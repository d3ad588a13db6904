#include "ntfs/volume.h"

#include <gtest/gtest.h>

#include <optional>

#include "ntfs/file_names.h"
#include "ntfs/raw_record.h"
#include "support/open_volume.h"

namespace {

using build::bytes, build::hole, build::operator+;

constexpr std::uint64_t none = ~std::uint64_t{0};
constexpr std::size_t record_0 = 4 * 1024;  // where the small volume's $MFT begins

build::volume small() { return build::volume(64).mft({{8, 4}}); }

}  // namespace

TEST(volume, the_boot_sector_and_record_0_decide_whether_it_validates) {
    struct expected {
        std::uint32_t record_size, clusters_per_record;
    };
    constexpr std::size_t whole = 64 * 1024;
    const struct {
        const char* what;
        std::size_t at;
        int width;
        std::uint64_t value;
        std::size_t kept;
        std::optional<expected> valid;
    } cases[] = {
        {"as built", 0, 0, 0, whole, {{1024, 1}}},
        {"another mark at the sector's end", 510, 1, 0, whole, {{1024, 1}}},
        {"another name", 10, 1, 'X', whole, {}},
        {"no sectors per cluster", 13, 1, 0, whole, {}},
        {"no bytes per sector", 11, 2, 0, whole, {}},
        {"records counted in clusters", 64, 1, 1, whole, {{1024, 1}}},
        {"records of two clusters", 64, 1, 2, whole, {{2048, 2}}},
        {"records of no size read as 1024", 64, 1, 0, whole, {{0, 0}}},
        {"records of 2 GiB", 64, 1, 0xE1, whole, {}},
        {"records of 512 bytes, record 0 says 1024", 64, 1, 0xF7, whole, {}},
        {"$MFT behind the end", 48, 1, 64, whole, {}},
        {"$MFT behind any disk", 48, 8, none, whole, {}},
        {"no file record", record_0, 1, 'X', whole, {}},
        {"an index block in its place", record_0, 4, 0x58444E49, whole, {{1024, 1}}},
        {"eight sectors, one more than the boot sector grants", record_0 + 6, 2, 9, whole, {}},
        {"one fixup word too many", record_0 + 6, 2, 10, whole, {}},
        {"no fixup words", record_0 + 6, 2, 0, whole, {{1024, 1}}},
        {"fixups from 49 on", record_0 + 4, 2, 49, whole, {}},
        {"no allocated size", record_0 + 28, 4, 0, whole, {}},
        {"cut behind the boot sector", 0, 0, 0, 600, {}},
        {"cut inside record 0", 0, 0, 0, record_0 + 800, {{1024, 1}}},
        {"empty", 0, 0, 0, 0, {}},
    };
    for (const auto& c : cases) {
        bytes image = small().all();
        std::copy_n(reinterpret_cast<const std::uint8_t*>(&c.value), c.width, &image[c.at]);
        image.resize(c.kept);
        opened_volume opened(image);
        ASSERT_EQ(opened.valid(), c.valid.has_value()) << c.what;
        if (!c.valid) continue;
        EXPECT_EQ(opened.volume().geometry.record_size, c.valid->record_size) << c.what;
        EXPECT_EQ(opened.volume().geometry.clusters_per_record, c.valid->clusters_per_record) << c.what;
        EXPECT_EQ(opened.ctx.record_size, c.valid->record_size == 0 ? 1024 : c.valid->record_size) << c.what;
    }
}

TEST(volume, geometry_follows_the_boot_sector) {
    opened_volume opened(build::volume(64, 4096, 3).mft({{2, 3}}).all());
    const volume_geometry& geometry = opened.volume().geometry;
    EXPECT_EQ(geometry.cluster_size, 4096);
    EXPECT_EQ(geometry.sectors_per_cluster, 8u);
    EXPECT_EQ(geometry.total_clusters, 63u);  // the last sector is not counted
    EXPECT_EQ(geometry.clusters_per_record, 0u);
    EXPECT_EQ(geometry.mft_offset, 3 * 4096);
    EXPECT_EQ(opened.volume().record_alloc_size, 1024u);
    EXPECT_EQ(opened.volume().record_count, 8);
    EXPECT_EQ(opened.ctx.volume_record_count, 8u);
}

TEST(volume, sectors_per_cluster_above_128_are_a_power_of_two_where_windows_makes_such_clusters) {
    const std::tuple<std::uint8_t, std::uint16_t, std::uint32_t> cases[] = {
        {1, 512, 1},       {128, 512, 128}, {0xF8, 512, 256},  {0xF4, 512, 4096},
        {0xF3, 512, 0xF3}, {129, 512, 129}, {0xF7, 4096, 512}, {0xF6, 4096, 0xF6},
    };
    for (const auto& [value, sector, sectors] : cases) {
        bytes image = build::volume(256, sector, 0, sector).all();
        image[13] = value;
        const bytes record = build::record().on_disk();
        image.resize(std::size_t{sectors} * sector);
        build::poke_u64(image, 48, 1);
        opened_volume opened(image + record + bytes(3072));
        ASSERT_TRUE(opened.valid()) << int{value};
        EXPECT_EQ(opened.volume().geometry.sectors_per_cluster, sectors) << int{value};
        EXPECT_EQ(opened.volume().cluster_bytes(), sectors * sector) << int{value};
    }
}

TEST(volume, an_offset_is_added_to_every_read) {
    const bytes record_1 = build::record().std_info().name(u"one").on_disk();
    const bytes image = bytes(3 * 512, 0x77) + build::volume(64).mft({{8, 4}}, {record_1}).all();
    opened_volume opened(image, 3 * 512);
    ASSERT_TRUE(opened.valid());
    bytes cluster(1024);
    std::uint32_t size = 1024;
    EXPECT_TRUE(read_clusters(opened.volume(), 20, cluster.data(), size));
    EXPECT_EQ(cluster, bytes(1024, build::volume::fill_of(20)));
    file_record record;
    EXPECT_TRUE(opened.decode(record, 1));
    EXPECT_FALSE(opened_volume(image, 512).valid());
    EXPECT_FALSE(opened_volume(image, none).valid());
}

TEST(volume, records_lie_where_the_runs_of_the_mft_put_them) {
    // Clusters of 512 bytes: records span two, which may lie in two runs.
    opened_volume opened(build::volume(200, 512, 10).mft({{3, 10}, {2, 40}, {4, 20}, {1, hole}, {2, 60}}).all());
    const std::uint64_t positions[] = {10 * 512, 12 * 512, 41 * 512, 21 * 512, 23 * 512, 60 * 512, 0};
    for (std::uint64_t inode = 0; inode < std::size(positions); ++inode) {
        if (inode == 4) continue;  // ends in the hole
        EXPECT_EQ(record_position(opened.volume(), inode), positions[inode]) << inode;
    }
    EXPECT_EQ(record_position(opened.volume(), none), 0u);
    EXPECT_EQ(opened.volume().record_count, 6);
}

TEST(volume, records_in_a_hole_or_beyond_63_bits_lie_nowhere) {
    // Behind the first cluster of each such run the positions would come back to the volume's start.
    const std::int64_t last = (INT64_MAX >> 10) - 1;
    for (const std::int64_t lcn : {hole, last, std::int64_t{-2}}) {
        opened_volume opened(build::volume(64).mft({{1, 4}, {6, lcn}, {2, 40}}).all());
        for (const std::uint64_t inode : {3u, 5u, 6u})
            EXPECT_EQ(record_position(opened.volume(), inode), 0u) << lcn << ' ' << inode;
        EXPECT_EQ(next_record_inside(opened.volume(), 1), 7u) << lcn;
        EXPECT_EQ(record_position(opened.volume(), 7), 40u * 1024) << lcn;
    }
}

// Record 0 reaches over two records; record 1 has the next two. What was passed over may be named again.
TEST(volume, listed_parts_of_the_mft_follow_one_another) {
    const auto part = [](std::uint16_t id, std::int64_t lcn, std::uint64_t vcn, build::record& record) {
        record.id(id).non_resident(0x80, build::pairs({{1, lcn}}), 0, {}, vcn);
    };
    build::record first, second;
    first.std_info().attribute_list({{0x80, 1, 4}, {0x80, 9, 3}, {0x80, 1, 3}, {0x80, 1, 4}, {0x80, 1, 4}});
    first.non_resident(0x80, build::pairs({{2, 4}}), 2048);
    part(4, 30, 3, second.base(build::reference(0, 1)));
    part(3, 20, 2, second);
    const bytes image = build::volume(64).put(4, first.on_disk()).put(5, second.on_disk()).all();
    opened_volume whole(image, 0, true), short_one(image);
    const std::uint64_t positions[] = {4 * 1024, 5 * 1024, 20 * 1024, 30 * 1024, 0};
    for (std::uint64_t inode = 0; inode < std::size(positions); ++inode) {
        EXPECT_EQ(record_position(whole.volume(), inode), positions[inode]) << inode;
        EXPECT_EQ(record_position(short_one.volume(), inode), inode < 2 ? positions[inode] : 0) << inode;
    }
}

TEST(volume, a_resident_mft_counts_as_one_cluster) {
    opened_volume opened(build::volume(64, 4096).put(4, build::record().std_info().data("x").on_disk()).all());
    EXPECT_EQ(opened.volume().record_count, 4);
    EXPECT_EQ(record_position(opened.volume(), 0), 0u);
}

TEST(volume, runs_that_no_disk_can_hold_are_stepped_over) {
    constexpr std::uint64_t most = 0xFFFFFFFF;
    opened_volume opened(build::volume(64).mft({{8, 4}, {most, 1 << 20}, {most, 60}, {4, 30}}, {}, 1 << 30).all());
    const ntfs_volume& volume = opened.volume();
    EXPECT_EQ(next_record_inside(volume, 3), 3u);
    EXPECT_EQ(next_record_inside(volume, 8), 8 + most);
    EXPECT_EQ(next_record_inside(volume, 8 + most + 3), 8 + most + 3);
    EXPECT_EQ(next_record_inside(volume, 8 + most + 4), 8 + 2 * most);
    EXPECT_EQ(next_record_inside(volume, 8 + 2 * most + 4), none);
    EXPECT_EQ(next_record_inside(volume, none), none);
}

TEST(volume, record_reads_classify_and_fix_up) {
    const auto record_with = [](std::string_view signature, std::uint16_t offset, std::uint16_t count) {
        bytes bytes = build::record().signature(signature).std_info().on_disk();
        build::poke_u16(bytes, 48, 0x1111);
        build::poke_u16(bytes, 50, 0x2222);  // the word for the first sector's end, whatever stands there
        build::poke_u16(bytes, 4, offset);
        build::poke_u16(bytes, 6, count);
        return bytes;
    };
    const struct {
        std::string_view signature;
        std::uint16_t offset, count;
        bool plain, checked, anywhere;
        record_kind kind;
    } cases[] = {
        {"FILE", 48, 3, true, true, true, record_kind::file},
        {"FILE", 48, 9, true, false, true, record_kind::file},  // the checked read wants all sectors to be there
        {"FILE", 49, 3, false, false, false, record_kind::none},
        {"FILE", 48, 10, false, false, false, record_kind::none},
        {"INDX", 100, 3, true, true, true, record_kind::index},
        {"INDX", 48, 40, true, false, true, record_kind::index},
        {"BAAD", 48, 3, false, true, true, record_kind::bad},
        {"BAAD", 65, 3, false, true, false, record_kind::none},
        {"BAAD", 48, 11, false, false, false, record_kind::none},
        {"RCRD", 48, 3, false, false, false, record_kind::none},
    };
    for (const auto& c : cases) {
        opened_volume opened(build::volume(64).mft({{8, 4}}, {record_with(c.signature, c.offset, c.count)}).all());
        ntfs_volume& volume = opened.volume();
        std::vector<std::uint8_t> buffer;
        record_kind kind = record_kind::none;
        const auto fixed = [&] { return c.offset != 48 || byte_view(buffer).u16(510) == 0x2222; };
        const auto what = testing::Message() << c.signature << ' ' << c.offset << ' ' << c.count;
        EXPECT_EQ(read_record(volume, 1, buffer) && fixed(), c.plain) << what;
        EXPECT_EQ(read_record_checked(volume, 1, buffer, kind) && fixed(), c.checked) << what;
        EXPECT_EQ(read_record_at(volume, 5 * 1024, buffer, kind) && fixed(), c.anywhere) << what;
        EXPECT_EQ(kind, c.kind) << what;
        EXPECT_FALSE(read_record(volume, 8, buffer)) << "beyond the runs";
    }
}

TEST(volume, fixups_go_by_the_boot_sectors_sectors_unless_the_words_cover_the_record_by_512) {
    const struct {
        std::uint16_t sector, words;
        std::uint16_t at_510, at_1022;
        bool checked;
    } cases[] = {
        {512, 3, 0xAAAA, 0xBBBB, true},  {1024, 2, 0x0107, 0xAAAA, true},   // one word for the whole record
        {1024, 3, 0xAAAA, 0xBBBB, true},                                    // Windows on a disk of larger sectors
        {4096, 3, 0xAAAA, 0xBBBB, true}, {4096, 2, 0x0107, 0x0107, false},  // neither: the boot sector counts
    };
    for (const auto& c : cases) {
        bytes record = build::record().std_info().on_disk();
        build::poke_u16(record, 6, c.words);
        build::poke_u16(record, 48 + 2, 0xAAAA);
        build::poke_u16(record, 48 + 4, 0xBBBB);
        opened_volume opened(build::volume(64, 4096, 4, c.sector).mft({{2, 4}}, {record}).all());
        std::vector<std::uint8_t> buffer;
        record_kind kind = record_kind::none;
        EXPECT_EQ(read_record_checked(opened.volume(), 1, buffer, kind), c.checked) << c.sector;
        ASSERT_TRUE(read_record(opened.volume(), 1, buffer));
        EXPECT_EQ(byte_view(buffer).u16(510), c.at_510) << c.sector << ' ' << c.words;
        EXPECT_EQ(byte_view(buffer).u16(1022), c.at_1022) << c.sector << ' ' << c.words;
    }
}

TEST(volume, cluster_reads_want_whole_clusters_inside_the_source) {
    bytes image = small().all();
    image.resize(image.size() - 100);
    opened_volume opened(image);
    const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t> cases[] = {
        {9, 1024, 1024}, {9, 1023, 0},    {62, 2048, 1948},           {63, 1024, 924},
        {64, 1024, 0},   {none, 1024, 0}, {none / 1024 + 10, 1024, 0}};  // the last of each: what comes
    for (const auto& [lcn, asked, came] : cases) {
        bytes buffer(4096);
        std::uint32_t size = asked;
        EXPECT_EQ(read_clusters(opened.volume(), lcn, buffer.data(), size), came != 0) << lcn;
        EXPECT_TRUE(came == 0 || size == came) << lcn;
    }
    bytes buffer;
    EXPECT_FALSE(read_bytes_at(opened.volume(), 0, 0x7FFF'FFFF, buffer));  // no such buffer is made
    EXPECT_LT(buffer.capacity(), 0x7FFF'FFFFu);
}

// Record 1 has its list in clusters; its entries lead to names in records 2, 3 and so on.
TEST(record_read, an_attribute_list_in_clusters_is_followed) {
    // An entry of `lead` bytes that leads to nothing, then one for each name.
    const auto list_behind = [](std::size_t lead) {
        bytes list(lead);
        if (lead != 0) build::poke_u32(list, 4, static_cast<std::uint32_t>(lead)), build::poke_u64(list, 16, 1);
        return list + build::list_bytes({{0x30, 2, 0}, {0x30, 3, 0}});
    };
    const struct {
        const char* what;
        std::vector<build::run> runs;
        bytes list;
        std::size_t names;
    } cases[] = {
        {"in one cluster", {{1, 30}}, list_behind(0), 2},
        {"walked over the whole allocation", {{2, 30}}, list_behind(1024), 2},
        {"an entry across the end of a cluster", {{2, 30}}, list_behind(1024 - 40), 2},
        {"a cluster that cannot be read ends its run; the next follows", {{1, 1000}, {1, 30}}, list_behind(0), 2},
        {"cut after the first entry", {{1, 30}}, list_behind(1024 - 32), 1},
        {"runs that claim the disk over and over", {{~0u, 30}, {~0u, 30}}, list_behind(0), 2},
        {"no run", {}, list_behind(0), 0},
    };
    for (const auto& c : cases) {
        bytes list = c.list;
        list.resize(3 * 1024);
        const std::vector<bytes> records = {
            build::record().std_info().non_resident(0x20, build::pairs(c.runs), 64).on_disk(),
            build::record().base(build::reference(1, 1)).name(u"first", build::win32, 5).on_disk(),
            build::record().base(build::reference(1, 1)).name(u"second", build::win32, 6).on_disk()};
        opened_volume opened(build::volume(64).mft({{8, 4}}, records).put(30, list).all());
        file_record record;
        ASSERT_TRUE(opened.decode(record, 1)) << c.what;
        EXPECT_TRUE(record.attribute_list_nonresident) << c.what;
        EXPECT_EQ(record.file_names.size(), c.names) << c.what;
        file_name_map names;
        bytes raw;
        ASSERT_TRUE(read_raw_record(opened.volume(), 1, raw)) << c.what;
        collect_names(names, opened.volume(), 1, raw);
        EXPECT_EQ(names.size(), c.names) << c.what;
    }
}
