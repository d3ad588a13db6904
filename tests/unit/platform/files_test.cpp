#include "platform/files.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace {

const std::string line_end = temp_folder::separator() == u'/' ? "\n" : "\r\n";

TEST(host_files, reads_go_by_position_and_end_with_the_file) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"f"), "0123456789");
    native_file file;
    ASSERT_TRUE(open_for_reading(file, folder.path(u"f")));
    EXPECT_EQ(file_size(file), 10);
    const std::tuple<std::uint64_t, std::size_t, std::string_view> cases[] = {
        {7, 2, "78"}, {0, 10, "0123456789"}, {2, 1, "2"}, {8, 5, "89"}, {10, 4, ""}, {1ull << 40, 4, ""}, {3, 0, ""},
    };
    for (const auto& [position, count, expected] : cases) {
        std::string bytes(count, '.');
        ASSERT_EQ(read_at(file, position, bytes.data(), count), static_cast<std::int64_t>(expected.size()));
        EXPECT_EQ(bytes.substr(0, expected.size()), expected) << position;
    }
    close_file(file);
    char byte = 0;
    EXPECT_EQ(read_at(file, 0, &byte, 1), -1);
    EXPECT_EQ(file_size(file), -1);
}

TEST(host_files, writers_at_the_end_leave_each_others_lines) {
    const temp_folder folder;
    native_file first, second;
    ASSERT_TRUE(open_for_update(first, folder.path(u"f")) && write_only_at_end(first));
    ASSERT_TRUE(open_for_update(second, folder.path(u"f")) && write_only_at_end(second));
    for (const auto& [file, line] : {std::pair{&first, "1\n"}, {&second, "2\n"}, {&second, "3\n"}, {&first, "4\n"}})
        EXPECT_TRUE(write_text(*file, line));
    close_file(first);
    close_file(second);
    EXPECT_EQ(temp_folder::content(folder.path(u"f")),
              "1" + line_end + "2" + line_end + "3" + line_end + "4" + line_end);
}

TEST(host_files, what_is_open_for_writing_is_new_and_can_be_read_by_others) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"f"), "much longer than what follows");
    native_file file, other;
    ASSERT_TRUE(open_for_writing(file, folder.path(u"f")));
    EXPECT_TRUE(write_next(file, "ab", 2) && write_next(file, "\ncd", 3));
    ASSERT_TRUE(open_for_reading(other, folder.path(u"f")));
    char bytes[9] = {};
    EXPECT_EQ(read_at(other, 0, bytes, 8), 5);
    EXPECT_STREQ(bytes, "ab\ncd");
    EXPECT_FALSE(write_next(other, "x", 1));
    close_file(other);
    close_file(file);
}

TEST(host_files, an_update_keeps_what_is_there_until_it_is_cut_and_a_lost_file_shows_at_its_end) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"f"), "old");
    native_file file, null;
    ASSERT_TRUE(open_for_update(file, folder.path(u"f")));
    EXPECT_EQ(temp_folder::content(folder.path(u"f")), "old");
    EXPECT_TRUE(cut_file(file) && write_next(file, "x", 1));
    EXPECT_EQ(temp_folder::content(folder.path(u"f")), "x");
    native_file lost = file;
    EXPECT_TRUE(close_written_file(file));
    EXPECT_FALSE(close_written_file(lost));
    ASSERT_TRUE(open_for_update(null, temp_folder::separator() == u'/' ? u"/dev/null" : u"NUL"))
        << "no length, no disk";
    EXPECT_TRUE(cut_file(null) && write_next(null, "x", 1) && close_written_file(null));
}

TEST(host_files, the_search_for_data_passes_over_holes_alone) {
    const temp_folder folder;
    const std::uint64_t hole = 64 << 20;
    temp_folder::put(folder.path(u"f"), "x");
    std::filesystem::resize_file(folder.path(u"f"), hole);
    native_file file;
    ASSERT_TRUE(open_for_reading(file, folder.path(u"f")));
    EXPECT_EQ(next_data(file, 0), 0u);
    const std::uint64_t behind = next_data(file, 1 << 20);
    EXPECT_TRUE(behind == hole || behind == 1 << 20) << behind << ": a system that does not tell says the position";
    close_file(file);
}

TEST(host_files, a_refusal_has_a_number_and_words) {
    const temp_folder folder;
    native_file file;
    const auto refused = [](bool worked) {
        EXPECT_FALSE(worked);
        EXPECT_NE(last_system_error(), 0u);
        EXPECT_FALSE(system_error_text(last_system_error()).empty());
    };
    refused(open_for_reading(file, folder.path(u"none")));
    refused(open_for_reading(file, folder.path()));
    refused(create_one_directory(folder.path(u"none") + temp_folder::separator() + u"x"));
    refused(remove_one_file(folder.path(u"none")));
    refused(open_for_update(file, folder.path(u"f") + u'\0' + u"x"));
    refused(move_without_replacing(folder.path(), folder.path() + u"x" + u'\0') != move_outcome::failed);
    EXPECT_FALSE(is_long_path_error(0));
}

TEST(host_files, text_gets_the_hosts_line_ends) {
    const temp_folder folder;
    const std::u16string path = folder.path(u"r\u00E9sum\u00E9 \U0001F4C4.csv");
    native_file file;
    ASSERT_TRUE(open_for_writing(file, path));
    std::string expected;
    for (const std::size_t length : {3u, 0u, 1023u, 70'000u}) {
        const std::string row(length, 'x');
        EXPECT_TRUE(write_text(file, row + "\n\n" + row));
        EXPECT_EQ(temp_folder::content(path), expected += row + line_end + line_end + row) << length;
    }
    close_file(file);
}

TEST(host_files, a_read_only_file_can_be_removed) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"f"), "x");
    std::filesystem::permissions(folder.path(u"f"), std::filesystem::perms::owner_read);
    EXPECT_TRUE(remove_one_file(folder.path(u"f")));
    EXPECT_FALSE(temp_folder::exists(folder.path(u"f")));
}

TEST(host_files, a_name_in_another_encoding_keeps_its_bytes) {
    if (temp_folder::separator() != u'/') GTEST_SKIP() << "names are UTF-16 on this host";
    const temp_folder folder;
    native_file file;
    ASSERT_TRUE(open_for_writing(file, folder.path(u"caf\xDCE9")));
    close_file(file);
    EXPECT_EQ(std::filesystem::directory_iterator(folder.path())->path().filename().string(), "caf\xE9");
}

}  // namespace
