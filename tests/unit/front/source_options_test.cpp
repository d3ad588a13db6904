#include <gtest/gtest.h>

#include "front/walk_pass.h"
#include "run/run_context.h"
#include "support/disk_builder.h"

namespace {

using build::disk;

TEST(source_options, an_image_passes_by_its_offset_and_moves_when_it_is_one_volume) {
    const disk whole = disk(64).table(0, {{7, 40, 20}}).ntfs(40, 19),
               cut = disk(45).table(0, {{7, 40, 20}}).ntfs(40, 19);
    const disk bare = disk(32).ntfs(0, 32), cut_bare = disk(31).ntfs(0, 32);
    const struct {
        const char* what;
        const disk& made;
        std::uint64_t offset;
        bool ignore;
        int result;
        bool is_volume;
        std::size_t left;
    } cases[] = {
        {"bare volume", bare, 0, false, 0, true, 0},
        {"bare volume, cut: found at 0", cut_bare, 0, false, 0, true, 0},
        {"the flag is not read without an offset", cut_bare, 0, true, 0, true, 1},
        {"partition", whole, 40 * 512, false, 0, false, 0},
        {"the flag is read with an offset", whole, 40 * 512, true, 0, false, 0},
        {"no partition is chosen in silence", whole, 0, false, -1, false, 0},
        {"cut partition", cut, 40 * 512, false, -1, false, 0},
        {"cut partition, told to go on", cut, 40 * 512, true, 0, false, 0},
    };
    for (const auto& c : cases) {
        const build::disk_file file(c.made.all());
        mft_entries_ctx ctx;
        ctx.volume_offset = c.offset;
        std::vector<std::u16string> list = {u"-image", file.path()};
        if (c.ignore) list.push_back(u"-ignore_image_size");
        EXPECT_EQ(parse_walk_options(ctx, list), c.result) << c.what;
        EXPECT_EQ(list.size(), c.left) << c.what;
        if (c.result != 0) continue;
        EXPECT_EQ(ctx.volume_offset, c.offset) << c.what;
        EXPECT_EQ(c.is_volume ? ctx.image_path_volume : ctx.image_path_disk, file.path()) << c.what;
        EXPECT_TRUE((c.is_volume ? ctx.image_path_disk : ctx.image_path_volume).empty()) << c.what;
    }
}

TEST(source_options, a_drive_number_that_is_no_drive_ends_the_run) {
    // 2^32 must not become drive 0.
    for (const char16_t* number : {u"25", u"4294967296", u"0xffffffffffffffff"}) {
        mft_entries_ctx ctx;
        std::vector<std::u16string> list = {u"-drivenum", number};
        EXPECT_EQ(parse_walk_options(ctx, list), -1);
    }
}

}  // namespace
