#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "base/text.h"

namespace {

struct path_case {
    std::u16string path, expected;
};

// Stands for the current directory, without its last component in the second form.
const std::u16string here = std::filesystem::current_path().u16string();
const std::u16string above = std::filesystem::current_path().parent_path().u16string();

const std::vector<path_case> posix_paths = {
    {u"", u""},
    {u" \t", u""},
    {u"''", u""},
    {u"/", u"/"},
    {u"/a//b/", u"/a/b"},
    {u"/a/./b/../c", u"/a/c"},
    {u"/../../x", u"/x"},
    {u"\"/a b/c\"\r\n", u"/a b/c"},
    {u"/O'Brien/\"x", u"/O'Brien/\"x"},
    {u"x", here + u"/x"},
    {u".", here},
    {u"./.hidden/x", here + u"/.hidden/x"},
    {u"../x", above + u"/x"},
    {u"a/../b", here + u"/b"},
    {u"c:\\x", here + u"/c:\\x"},
    {u"\\x", here + u"/\\x"},
    {u" /a/\nb\r\n", u"/a/\nb"},
    {u"\n/a", here + u"/\n/a"},
};

const std::vector<path_case> windows_paths = {
    {u"", u""},
    {u" \t", u""},
    {u"''", u""},
    {u"\\x", u""},
    {u"/x", u""},
    {u"\\\\srv\\share", u"\\\\srv\\share"},
    {u"//srv/share", u"//srv/share"},
    {u"\"c:\\a b\\c\"\r\n", u"c:\\a b\\c"},
    {u"c:\\a\\..\\b", u"c:\\a\\..\\b"},
    {u"x", here + u"\\x"},
    {u"x\\\\\\y", here + u"\\x\\y"},
    {u"x/y", here + u"/x/y"},
    {u".\\x", here + u"\\x"},
    {u".\\a\\x", here + u"\\a\\x"},
    {u".hidden\\x", here + u"\\.hidden\\x"},
    {u"..\\x", above + u"\\x"},
    {u"..\\..\\..\\..\\..\\..\\..\\..\\x", here.substr(0, 2) + u"\\x"},
    {u"a\\..\\b", above + u"\\b"},
    {u"a\\..b\\c", here + u"\\a\\..b\\c"},
};

TEST(host_paths, absolute_forms) {
    for (const path_case& c : host_separator() == u'/' ? posix_paths : windows_paths) {
        EXPECT_EQ(utf8_from_utf16(make_absolute(c.path)), utf8_from_utf16(c.expected)) << utf8_from_utf16(c.path);
    }
}

TEST(host_paths, the_root_is_what_cannot_be_made) {
    const struct {
        std::u16string path;
        std::size_t posix, windows;
    } cases[] = {
        {u"", 0, 0},
        {u"x", 0, 0},
        {u"/x", 1, 1},
        {u"\\x", 0, 1},
        {u"c:", 0, 2},
        {u"c:\\x", 0, 3},
        {u"c:/x", 0, 3},
        {u"\\\\?\\c:\\x", 0, 4},
        {u"\\\\srv\\share\\x", 0, 12},
        {u"\\\\srv\\share", 0, 11},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(root_length(c.path), host_separator() == u'/' ? c.posix : c.windows) << utf8_from_utf16(c.path);
    }
}

TEST(host_paths, the_environment_tells_what_is_set) {
    EXPECT_FALSE(environment_value("PATH").value_or("").empty());
    EXPECT_EQ(environment_value("NEVER_SET_BY_ANYONE"), std::nullopt);
    EXPECT_EQ(environment_value(""), std::nullopt);
    EXPECT_EQ(environment_value("path").has_value(), host_separator() == u'\\');
}

}  // namespace
