#include "sources/volume_offset.h"

#include <gtest/gtest.h>

#include "sources/source_reader.h"
#include "support/disk_builder.h"

namespace {

using build::disk;

struct check_case {
    const char* what;
    disk made;
    std::uint64_t asked;
    bool accepted, found;
    std::uint64_t offset;
    std::string text;
    bool ignore_size = false;
};

TEST(volume_offset, is_accepted_or_answered_by_the_list_and_a_proposal) {
    const disk two = disk(128).table(0, {{7, 40, 20}, {0x83, 64, 5}, {7, 80, 20}}).ntfs(40, 19).ntfs(80, 19);
    const disk cut = disk(45).table(0, {{7, 40, 20}}).ntfs(40, 19);
    const disk gpt = disk(128).gpt({{40, 59}}).ntfs(40, 19);
    const std::string list =
        "\nvolume offset [ 0x5000 ] : ntfs\nvolume offset [ 0x8000 ] : linux\nvolume offset [ 0xa000 ] : ntfs\n\n";
    const std::string is_cut = " is a NTFS partition, however image size does not encapsulate entire volume\n";
    const check_case cases[] = {
        {"bare volume", disk(32).ntfs(0, 32), 0, true, true, 0, ""},
        {"bare volume, cut", disk(31).ntfs(0, 32), 0, false, true, 0, "volume offset 0x0" + is_cut},
        {"inside a bare volume", disk(9).ntfs(0, 9), 512, false, true, 512,
         "\nvolume offset [ 0x0 ] : ntfs\n\nprob detecting ntfs partition\n"},
        {"the start of a partition", two, 0x5000, true, true, 0x5000, ""},
        {"no offset: the last one is proposed", two, 0, false, true, 0xA000, list + "use option [-offset 0xa000]\n"},
        {"one byte off", two, 0x5001, false, true, 0xA000, list + "use option [-offset 0xa000]\n"},
        {"what lies behind another kind of partition is not looked at", two, 0x8000, false, true, 0x5000,
         "volume offset selected 0x8000 is not a NTFS partition, but [linux]\n" + list +
             "use option [-offset 0x5000]\n"},
        {"beyond the image", two, 0x10001, false, false, 0x10001, "volume offset 0x10001 is not within image bounds\n"},
        {"cut volume", cut, 0x5000, false, true, 0x5000, "volume offset 0x5000" + is_cut},
        {"cut volume, told to go on", cut, 0x5000, true, true, 0x5000, "", true},
        {"partition beyond the image", disk(30).table(0, {{7, 40, 20}}), 0, false, true, 0x5000,
         "volume offset 0x5000 is not within image bounds\n\nvolume offset [ 0x5000 ] : ntfs\n\nuse option [-offset "
         "0x5000]\n"},
        {"no ntfs", disk(64).table(0, {{0x83, 40, 20}}), 0, false, false, 0,
         "\nvolume offset [ 0x5000 ] : linux\n\nprob detecting ntfs partition\n"},
        // The gap at sector 0 equals an offset of 0, so the search ends before it meets the partition.
        {"gpt without an offset", gpt, 0, false, false, 0,
         "volume offset selected 0x0 is not a NTFS partition, but [empty]\n\nvolume offset [ 0x0 ] : empty\n"
         "volume offset [ 0x5000 ] : ntfs\nvolume offset [ 0x7800 ] : empty\n\nprob detecting ntfs partition\n"},
        {"gpt with the offset", gpt, 0x5000, true, true, 0x5000, ""},
        {"nothing", disk(64), 0, false, false, 0, "couldn't find any partitions on disk\n"},
        {"a chain without its table", disk(64).table(20, {{7, 2, 10}}), 22 * 512, true, true, 22 * 512,
         "disk is corrupted, partition info questionable\n"},
        {"a volume set counts as ntfs", disk(128).table(0, {{5, 80, 40}}).table(80, {{0x87, 1, 1}}).ntfs(63, 16),
         63 * 512, true, true, 63 * 512, ""},
    };
    for (const check_case& c : cases) {
        const build::disk_file file(c.made.all());
        offset_check check{c.asked, c.ignore_size, false, {}};
        EXPECT_EQ(check_image(check, file.path()), c.accepted) << c.what;
        EXPECT_EQ(check.found, c.found) << c.what;
        EXPECT_EQ(check.offset, c.offset) << c.what;
        EXPECT_EQ(check.text, c.text) << c.what;
    }
}

// A path claims to be open: what is missing shows at the first read.
TEST(volume_offset, of_a_source_that_is_not_there_is_answered_in_words) {
    const build::disk_file empty({});
    const std::string none = system_error_text(2);  // on either host
    const struct {
        std::u16string path;
        std::uint64_t offset;
        const char* text;
        std::string reason;
    } cases[] = {
        {u"", 0, "invalid image: \n", "it is empty"},
        {empty.path() + u"-missing", 0, "couldn't find any partitions on disk\n", none},
        {empty.path() + u"-missing", 512, "volume offset 0x200 is not within image bounds\n", none},
        {empty.path(), 0, "couldn't find any partitions on disk\n", "it is empty"},
    };
    for (const auto& c : cases) {
        offset_check check{c.offset, false, false, {}};
        EXPECT_FALSE(check_image(check, c.path));
        EXPECT_EQ(check.text, c.text);
        EXPECT_EQ(check.reason, c.reason);
    }
    offset_check check;
    EXPECT_FALSE(check_drive(check, 25));
    EXPECT_EQ(check.text, "problems accessing physical disk #25, aborting\n");
}

}  // namespace
