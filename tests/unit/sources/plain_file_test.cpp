#include "sources/plain_file.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace {

TEST(plain_files, reads_are_cut_at_the_end_wherever_it_is_now) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"f"), "0123456789");
    plain_file file;
    ASSERT_TRUE(file.open_read(folder.path(u"f")));
    const struct {
        std::uint64_t offset;
        std::uint32_t count;
        bool worked;
        std::string_view expected;
    } cases[] = {
        {2, 3, true, "234"}, {8, 512, true, "89"}, {10, 4, true, ""},
        {11, 4, false, ""},  {3, 0, true, ""},     {~0ull, 1, false, ""},
    };
    for (const auto& c : cases) {
        std::string bytes(c.count, '.');
        std::uint32_t count = c.count;
        ASSERT_EQ(file.read_at(bytes.data(), count, c.offset), c.worked) << c.offset;
        EXPECT_EQ(c.worked ? bytes.substr(0, count) : "", c.expected);

        std::vector<std::uint8_t> gathered(3, 7);
        ASSERT_EQ(file.read_into(gathered, c.count, c.offset), c.worked) << c.offset;
        EXPECT_EQ(c.worked ? std::string(gathered.begin(), gathered.end()) : "", c.expected);
    }
    std::vector<std::uint8_t> whole;
    EXPECT_TRUE(file.read_into(whole, ~0ull, 0)) << "a count is no promise";
    EXPECT_EQ(whole.size(), 10u);
    std::filesystem::resize_file(folder.path(u"f"), 4);
    char bytes[10];
    std::uint32_t count = 10;
    EXPECT_TRUE(file.read_at(bytes, count, 1) && count == 3) << "what is left of a file that shrank";
    EXPECT_TRUE(file.read_into(whole, 10, 0) && whole.size() == 4);
}

TEST(plain_files, one_object_opens_one_file_after_the_other) {
    const temp_folder folder;
    const char16_t separator = temp_folder::separator();
    temp_folder::put(folder.path(u"first"), "1");
    plain_file file;
    std::uint32_t count = 1;
    char byte = 0;
    EXPECT_FALSE(file.read_at(&byte, count, 0)) << "nothing is open";

    ASSERT_TRUE(file.open_read(folder.path(u"first") + separator + separator));
    EXPECT_EQ(file.path, folder.path(u"first"));
    EXPECT_FALSE(file.writable);
    ASSERT_TRUE(file.open_with(folder.path(u"second"), true, true));
    EXPECT_TRUE(file.writable);
    EXPECT_EQ(file.file_size(), 0);
    EXPECT_TRUE(write_next(file.file, "a\nb", 3));
    EXPECT_EQ(temp_folder::content(folder.path(u"second")), "a\nb");

    for (const auto& refused : {folder.path(u"none"), folder.path(), std::u16string(), std::u16string(1, separator)}) {
        EXPECT_FALSE(file.open_read(refused));
        EXPECT_FALSE(file.is_open);
        EXPECT_EQ(file.file_size(), 0);
    }
}

}  // namespace
