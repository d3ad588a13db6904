#include "sources/partitions.h"

#include <gtest/gtest.h>

#include "sources/image_source.h"
#include "sources/memory_source.h"
#include "support/disk_builder.h"
#include "support/faulty_source.h"

namespace {

using build::disk;

// "start+count name" of each entry, in sectors; "no" in front when the reading says so.
std::string listing(bool worked, const partition_list& list) {
    std::string text = worked ? "" : "no";
    for (const partition_entry& entry : list) {
        if (!text.empty()) text += "; ";
        text +=
            std::to_string(entry.start_sector) + "+" + std::to_string(entry.sector_count) + " " + type_name(entry.type);
    }
    return text;
}

// From memory and from a file alike: a disk's end is treated the same in both.
std::string listing(const build::bytes& bytes, bool deep = false) {
    partition_list list, from_file;
    memory_source memory(bytes);
    const std::string text = listing(read_partition_table(memory, list, deep), list);
    const build::disk_file file(bytes);
    image_source image(file.path());
    EXPECT_EQ(listing(read_partition_table(image, from_file, deep), from_file), text);
    return text;
}

// "no*": refused, whatever has been read until then.
struct disk_case {
    const char* what;
    disk made;
    std::string expected;
};

void expect_listings(const std::vector<disk_case>& cases, bool deep = false) {
    for (const disk_case& c : cases) {
        const std::string list = listing(c.made.all(), deep);
        EXPECT_EQ(c.expected == "no*" ? list.substr(0, 2) + "*" : list, c.expected) << c.what;
    }
}

TEST(partitions, primary_slots_make_entries_by_accepted_type_and_count) {
    expect_listings({
        {"one volume, its own count goes first", disk(64).table(0, {{7, 40, 20}}).ntfs(40, 19), "40+19 ntfs"},
        {"types with a name and no entry", disk(64).table(0, {{0x87, 1, 9}, {0x0E, 1, 9}, {0x83, 20, 9}}),
         "20+9 linux"},
        {"count 0, an empty slot", disk(64).table(0, {{7, 10, 0}, {0, 0, 0}, {0x0B, 11, 5}}), "11+5 fat32"},
        {"a start beyond the disk", disk(64).table(0, {{7, 4'000'000'000, 5}}), "4000000000+5 ntfs"},
        {"nothing accepted", disk(64).table(0, {{0x42, 1, 5}}), "no"},
        {"exfat in a slot of type 7", disk(64).table(0, {{7, 40, 20}}).exfat(40, 40, 18), "40+20 exfat"},
        {"fat in its slot keeps what the table says", disk(64).table(0, {{6, 40, 20}}).fat16(40, 17), "40+20 fat"},
        {"shorter than one read", disk(2).table(0, {{7, 1, 1}}).ntfs(1, 1), "1+1 ntfs"},
    });
    for (const std::size_t size : {512u, 1024u, 2048u, 4096u, 8192u, 16384u}) {
        EXPECT_EQ(listing(disk(8, size).table(0, {{7, 3, 4}}).ntfs(3, 3).all()), "3+3 ntfs") << size;
    }
    EXPECT_EQ(listing(disk(8, 32768).table(0, {{7, 3, 4}}).all()), "no");
}

// Base record at 10; the second at 30, the third at 50: links count from the base, partitions from their own record.
TEST(partitions, the_extended_chain_is_followed_from_its_base) {
    const auto chained = [] {
        return disk(128)
            .table(0, {{0x83, 1, 5}, {5, 10, 100}, {7, 120, 5}})
            .table(10, {{7, 2, 10}, {5, 20, 19}})
            .table(30, {{7, 3, 11}, {0x0F, 40, 18}})
            .table(50, {{0x83, 4, 12}});
    };
    const std::string first = "1+5 linux; 10+100 exten; 12+10 ntfs; 30+19 exten";
    const std::string whole = first + "; 33+11 ntfs; 50+18 exten; 54+12 linux";
    expect_listings({
        {"three records; the slot behind the extended one is lost", chained(), whole},
        {"a start of 0", disk(64).table(0, {{5, 0, 9}}), "0+9 exten"},
        {"no mark in the base record", chained().byte(11 * 512 - 1, 0), whole},
        {"no mark in the next one", chained().byte(31 * 512 - 1, 0), first},
        {"a volume in place of the next one", chained().fat32(30, 5), first},
        {"a count of 0 in the base record", chained().u32(10 * 512 + 462 + 12, 0),
         "1+5 linux; 10+100 exten; 12+10 ntfs; 30+0 exten; 33+11 ntfs; 50+18 exten; 54+12 linux"},
        {"a count of 0 further on", chained().u32(30 * 512 + 446 + 12, 0), first},
        {"the base record beyond the disk", disk(16).table(0, {{7, 1, 2}, {5, 16, 9}}), "no; 1+2 ntfs; 16+9 exten"},
        {"a record that links to itself", chained().u32(30 * 512 + 462 + 8, 20), first + "; 33+11 ntfs; 30+18 exten"},
        {"a ring", chained().table(50, {{0x83, 4, 12}, {5, 20, 7}}), whole + "; 30+7 exten"},
    });
}

// The guess takes the type of the last slot looked at in the base record.
TEST(partitions, a_volume_at_sector_63_goes_in_front_as_a_guess) {
    const auto base = [] { return disk(128).table(0, {{5, 80, 40}}).ntfs(63, 16); };
    expect_listings({
        {"an empty slot", base().table(80, {{7, 2, 10}}), "63+16 empty [guess]; 80+40 exten; 82+10 ntfs"},
        {"a link", base().table(80, {{5, 20, 5}}), "63+16 exten [guess]; 80+40 exten; 100+5 exten"},
        {"no entry", base().table(80, {{0x87, 1, 1}}), "63+16 ntfs volume set [guess]; 80+40 exten"},
        {"no chain", disk(128).table(0, {{7, 80, 40}}).ntfs(63, 16), "80+40 ntfs"},
    });
}

TEST(partitions, without_a_mark_only_a_deep_search_finds_a_chain) {
    const disk lost = disk(4200).table(4000, {{7, 2, 10}, {5, 50, 20}}).table(4050, {{7, 1, 9}}).ntfs(4002, 8);
    build::bytes cut = disk(2049).table(2048, {{7, 2, 10}}).all();
    cut.pop_back();
    EXPECT_EQ(listing(lost.all()), "no");
    // Its entries are not compared with the boot sectors: the count stays 10. Volumes on the way are no table.
    const disk among_volumes = disk(lost).ntfs(100, 9).exfat(300, 0, 9);
    const std::vector<disk_case> cases = {
        {"behind the first mebibyte", among_volumes, "4002+10 ntfs; 4050+20 exten; 4051+9 ntfs"},
        {"a marked sector without entries ends the search", disk(lost).mark(3000), "no"},
        {"in the last sector", disk(2049).table(2048, {{7, 2, 10}}), "2050+10 ntfs"},
        {"nothing there", disk(0), "no"},
    };
    expect_listings(cases, true);
    EXPECT_EQ(listing(cut, true), "no");
}

TEST(partitions, a_bare_volume_is_its_own_list) {
    expect_listings({
        {"ntfs without a mark", disk(32).ntfs(0, 30).byte(511, 0), "0+30 ntfs"},
        {"exfat knows its place on the disk", disk(32).exfat(0, 2048, 30), "2048+30 exfat"},
        {"fat32", disk(32).fat32(0, 30), "0+30 fat32"},
        {"fat16", disk(32).fat16(0, 30), "0+30 fat"},
        {"only the first four characters fit", disk(32).ntfs(0, 30).byte(7, 'x'), "0+0 empty"},
    });
    partition_list list;
    const disk made = disk(32, 4096).ntfs(0, 30, 2);
    memory_source memory(made.all());
    ASSERT_TRUE(read_partition_table(memory, list, false));
    EXPECT_EQ(list[0].sector_size, 4096u);
    EXPECT_EQ(list[0].sectors_per_cluster, 2u);
    EXPECT_EQ(list[0].serial, 0x1234ABCDu);
}

TEST(partitions, a_gpt_lists_its_partitions_and_gaps_or_nothing) {
    const auto made = [] { return disk(200).gpt({{40, 59}, {60, 79}, {100, 149}}).ntfs(40, 19).ntfs(60, 19, 0); };
    const std::string whole = "0+40 empty; 40+20 ntfs; 60+20 exfat; 80+20 empty; 100+50 gpt; 150+50 empty";
    constexpr std::size_t header = 512, first_entry = 1024;
    expect_listings({
        {"three partitions", made(), whole},
        {"the signature is not looked at", made().byte(header, 'x'), whole},
        {"its slot is not the first", made().table(0, {{0, 0, 0}, {7, 5, 5}, {0xEE, 1, 199}}), whole},
        {"out of order", disk(200).gpt({{100, 149}, {40, 59}}), "0+100 empty; 100+50 gpt; 40+20 gpt; 60+140 empty"},
        {"no partition", disk(200).gpt({}), "0+200 empty"},
        {"an entry without a type", made().byte(first_entry, 0),
         "0+60 empty; 60+20 exfat; 80+20 empty; 100+50 gpt; 150+50 empty"},
        {"larger entries", disk(300).gpt({{250, 299}}, 65536), "0+250 empty; 250+50 gpt"},
        {"sectors of 4096 bytes", disk(64, 4096).gpt({{20, 29}}).ntfs(20, 9), "0+20 empty; 20+10 ntfs; 30+34 empty"},
        {"a copy's header", made().byte(header + 24, 2), "no*"},
        {"more entries than a table has, all on the disk", disk(16400).gpt({}).u32(header + 80, 65537), "no*"},
        {"entries of no size", made().u32(header + 84, 0), "no*"},
        {"entries of two mebibytes", made().u32(header + 80, 1).u32(header + 84, 0x200000), "no*"},
        {"entries beyond what a position can hold", made().u32(header + 76, 0x7FFFFFFF), "no*"},
        {"entries that run off the disk", made().u32(header + 80, 65536), "no*"},
        {"a partition beyond the disk", disk(200).gpt({{40, 59}, {200, 249}}), "no*"},
        {"no header", disk(1).table(0, {{0xEE, 1, 9}}), "no*"},
    });
}

TEST(partitions, an_entry_of_a_gpt_carries_its_ids_and_its_name_and_a_table_in_memory_leads_to_none) {
    partition_list list;
    const build::bytes both = disk(99).gpt({{0, 98, u"Daten \u00E4"}}).table(0, {{0xEE, 1, 30}, {7, 40, 20}}).all();
    memory_source memory(both);
    ASSERT_TRUE(read_gpt(memory, list));
    EXPECT_EQ(list[0].type_guid[0], 0xA2);
    EXPECT_EQ(list[0].partition_guid[0], 0x17);
    EXPECT_EQ(list[0].name, "Daten \xC3\xA4");
    EXPECT_EQ(listing(read_partition_table_from_memory(byte_view(both).part(0, 512), list, false), list), "40+20 ntfs");
}

TEST(partitions, a_bad_spot_ends_the_search_where_it_lies_and_not_a_block_earlier) {
    const build::bytes made = disk(4096).table(1000, {{7, 2, 10}}).all();
    const std::pair<std::uint64_t, bool> cases[] = {{999, false}, {1001, true}, {3000, true}};
    for (const auto& [bad_sector, found] : cases) {
        faulty_source source(made);
        source.bad = {{bad_sector * 512, bad_sector * 512 + 1}};
        partition_list list;
        EXPECT_EQ(read_partition_table(source, list, true), found) << bad_sector;
    }
}

TEST(partitions, the_search_steps_over_holes_and_tells_how_far_it_is) {
    struct holed : faulty_source {
        explicit holed(build::bytes bytes) : faulty_source(std::move(bytes)) {}
        std::uint64_t next_data(std::uint64_t offset) override { return offset < 70'000'300 ? 70'000'300 : offset; }
    } source(disk(140'000).table(136'720, {{7, 2, 10}}).all());
    static std::vector<std::uint64_t> told;
    partition_list list;
    EXPECT_TRUE(read_partition_table(source, list, true, [](std::uint64_t at, std::uint64_t) { told.push_back(at); }));
    EXPECT_EQ(told, (std::vector<std::uint64_t>{70'000'128, 140'000 * 512}));
    EXPECT_LT(source.reads, 10u);
}

TEST(partitions, types_are_named_by_their_low_byte) {
    const std::pair<std::uint16_t, const char*> cases[] = {
        {0x87, "ntfs volume set"}, {0x1B, "Hidden fat32"}, {0x42, "unkn"},          {0xEE, "gpt"},
        {0x8007, "exfat"},         {0xFF07, "exfat"},      {0x8006, "fat [guess]"}, {0x8042, "unkn [guess]"},
    };
    for (const auto& [type, name] : cases) EXPECT_EQ(type_name(type), name) << type;
}

}  // namespace
