#include "instances/merge.h"

#include <gtest/gtest.h>

TEST(merge, the_body_begins_behind_the_header) {
    const struct { const char* what; std::string head; const char* kept; const char* kept_without_labels; } cases[] = {
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
}
