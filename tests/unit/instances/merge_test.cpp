#include "instances/merge.h"

#include <gtest/gtest.h>

#include "sources/plain_file.h"
#include "support/temp_folder.h"

TEST(merge, the_body_begins_behind_the_header) {
    const struct {
        const char* what;
        std::string head;
        const char* kept;
        const char* kept_without_labels;
    } cases[] = {
        {"rows", "banner\nrun\n\nlabels\nrow\n", "labels\nrow\n", "row\n"},
        {"the other host's line ends", "banner\r\nrun\r\n\r\nlabels\r\nrow\r\n", "labels\r\nrow\r\n", "row\r\n"},
        {"a blank counts for nothing", "banner\n \t\nlabels\nrow\n", "labels\nrow\n", "row\n"},
        {"labels alone", "banner\n\nlabels\n", "labels\n", ""},
        {"nothing behind the header", "banner\n\n", "", nullptr},
        {"no header", "row\nrow\n", nullptr, nullptr},
        {"a zero byte ahead of the header's end", std::string("ban\0ner\n\nlabels\nrow\n", 20), nullptr, nullptr},
        {"nothing", "", nullptr, nullptr},
    };
    for (const auto& c : cases) {
        for (const bool drop : {false, true}) {
            const char* kept = drop ? c.kept_without_labels : c.kept;
            std::uint64_t offset = 0;
            ASSERT_EQ(find_body(c.head, drop, offset), kept != nullptr) << c.what;
            EXPECT_EQ(c.head.substr(offset), kept == nullptr ? c.head : kept) << c.what;
        }
    }
    std::uint64_t offset = 9;  // runs without a header of their own
    EXPECT_TRUE(find_body("row\n\n", false, offset, false) && offset == 0);
    EXPECT_TRUE(find_body("labels\nrow\n", true, offset, false) && offset == 7);
    EXPECT_FALSE(find_body("", false, offset, false));
}

TEST(merge, whole_rows_reach_the_merged_file) {
    const std::string head = "banner\n\n";
    const std::string far(2u << 20, 'x');  // more than one read
    const struct {
        const char* what;
        std::string part;
        bool drop;
        merge_result result;
        std::string added;
    } cases[] = {
        {"rows", head + "labels\nrow\n", false, merge_result::merged, "labels\nrow\n"},
        {"without labels", head + "labels\nrow\n", true, merge_result::merged, "row\n"},
        {"no rows, so no labels either", head, false, merge_result::no_rows, ""},
        {"labels alone", head + "labels\n", true, merge_result::no_rows, ""},
        {"a cut row", head + "labels\nrow\nro", false, merge_result::merged, "labels\nrow\n"},
        {"a cut row, far behind", head + "row\n" + far, false, merge_result::merged, "row\n"},
        {"a long row", head + far + "\n", false, merge_result::merged, far + "\n"},
        {"a header of 16 KiB", std::string(16384, 'x') + "\n\nrow\n", false, merge_result::header_too_long, ""},
        {"nothing", "", false, merge_result::no_rows, ""},
    };
    const temp_folder folder;
    for (const auto& c : cases) {
        temp_folder::put(folder.path(u"merged"), "before\n");
        temp_folder::put(folder.path(u"part"), c.part);
        plain_file part;
        ASSERT_TRUE(part.open_read(folder.path(u"part")));
        EXPECT_EQ(append_results(folder.path(u"merged"), part, c.drop), c.result) << c.what;
        EXPECT_TRUE(temp_folder::content(folder.path(u"merged")) == "before\n" + c.added) << c.what;
    }
}

TEST(merge, what_an_instance_added_itself_is_cut_to_whole_rows) {
    const struct {
        const char* what;
        std::string part, added, kept;
        merge_result result;
    } cases[] = {
        {"rows", "banner\n\n", "labels\nrow\n", "labels\nrow\n", merge_result::merged},
        {"a cut row", "banner\n\n", "labels\nro", "labels\n", merge_result::merged},
        {"nothing but a cut row", "banner\n\n", "lab", "", merge_result::no_rows},
        {"none", "banner\n\n", "", "", merge_result::no_rows},
        {"behind a header that a full disk cut short", "ban", "labels\nrow\n", "labels\nrow\n", merge_result::merged},
        {"behind one that is not to be read over", std::string(16384, 'x'), "row\n", "", merge_result::header_too_long},
    };
    const temp_folder folder;
    for (const auto& c : cases) {
        temp_folder::put(folder.path(u"merged"), "before\n" + c.added);
        temp_folder::put(folder.path(u"part"), c.part);
        plain_file part;
        ASSERT_TRUE(part.open_read(folder.path(u"part")));
        EXPECT_EQ(settle_results(folder.path(u"merged"), 7, part), c.result) << c.what;
        EXPECT_EQ(temp_folder::content(folder.path(u"merged")), "before\n" + c.kept) << c.what;
    }
}
