#include "platform/host_paths.h"

#include <gtest/gtest.h>
#include <stdlib.h>  // putenv

#include "base/text.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "report/result_stream.h"
#include "sources/plain_file.h"
#include "support/temp_folder.h"

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
    const std::tuple<std::u16string, std::size_t, std::size_t> cases[] = {
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
    for (const auto& [path, posix, windows] : cases) {
        EXPECT_EQ(root_length(path), host_separator() == u'/' ? posix : windows) << utf8_from_utf16(path);
    }
}

TEST(host_paths, the_environment_tells_what_is_set) {
    EXPECT_FALSE(environment_value("PATH").value_or("").empty());
    EXPECT_EQ(environment_value("NEVER_SET_BY_ANYONE"), std::nullopt);
    EXPECT_EQ(environment_value(""), std::nullopt);
    EXPECT_EQ(environment_value("path").has_value(), host_separator() == u'\\');
}

const std::string prefix = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";

// The text stays the environment's.
char short_variable[] = "UNIT_SHORT=value";
char nested_variable[] = "UNIT_NESTED=%UNIT_SHORT%!";
char own_variable[] = "UNIT_OWN=%UNIT_OWN%";
char growing_variable[] = "UNIT_GROWING=12345678%UNIT_GROWING%";

TEST(variables, are_replaced_between_percent_signs) {
    for (char* variable : {short_variable, nested_variable, own_variable, growing_variable}) putenv(variable);
    const std::string too_long = "%UNIT_SHORT%" + std::string(501, 'x');
    const std::string just_short_enough = std::string(500, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"100%", "100%"},
        {"a%UNIT_SHORT%b%UNIT_SHORT%", "avaluebvalue"},
        {"%UNIT_NESTED%", "value!"},
        {"%UNIT_OWN%", "%UNIT_OWN%"},
        {"%NEVER_SET_BY_ANYONE%", "%NEVER_SET_BY_ANYONE%"},
        {"%NEVER_SET%UNIT_SHORT%", "%NEVER_SET%UNIT_SHORT%"},
        {"%%UNIT_SHORT%", "%%UNIT_SHORT%"},
        {"%vss%3", prefix + "3"},
        {"%VsS%", prefix},
        // The search goes on where the closing sign stood in the text before the replacement.
        {"%vss%%UNIT_SHORT%", prefix + "value"},
        {too_long, too_long},
        {just_short_enough + "%UNIT_SHORT%", just_short_enough + "value"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(expand_variables(text), expected) << text;
    const std::string grown = expand_variables("%UNIT_GROWING%");
    EXPECT_TRUE(grown.size() > 512 && grown.size() < 540) << grown.size();
}

TEST(variables, the_shadow_prefix_has_two_cases) {
    EXPECT_EQ(shadow_device_prefix(false), prefix);
    EXPECT_EQ(shadow_device_prefix(true), lowered_ascii(prefix));
}

TEST(directories, the_directory_of_a_path) {
    const std::tuple<std::u16string, std::u16string, std::u16string> cases[] = {
        {u"x", u".", u"."},        {u"", u".", u"."},
        {u"/x", u"/", u"/"},       {u"a/b/x", u"a/b", u"a/b"},
        {u"a/b/", u"a/b", u"a/b"}, {u"c:\\a\\x", u".", u"c:\\a"},
        {u"c:\\x", u".", u"c:"},   {u"a\\b/x", u"a\\b", u"a\\b"},
    };
    for (const auto& [path, posix, windows] : cases) {
        EXPECT_EQ(directory_part(path), host_separator() == u'/' ? posix : windows) << utf8_from_utf16(path);
    }
}

TEST(directories, a_tree_is_made_component_by_component) {
    const temp_folder folder;
    const char16_t separator = temp_folder::separator();
    std::u16string deep = folder.path();
    for (const char16_t* name : {u"a", u"", u"b c", u".", u"\u00FC"}) deep += separator + std::u16string(name);
    EXPECT_TRUE(create_directory_tree(deep + separator));
    EXPECT_TRUE(create_directory_tree(deep)) << "it is there already";
    EXPECT_TRUE(temp_folder::exists(folder.path(u"a") + separator + u"b c" + separator + u"\u00FC"));

    temp_folder::put(folder.path(u"file"), "x");
    EXPECT_FALSE(create_directory_tree(folder.path(u"file") + separator + u"below"));
    EXPECT_FALSE(create_directory_tree(folder.path(u"file"))) << "what is there is no directory";
    EXPECT_FALSE(create_directory_tree(u""));
    EXPECT_TRUE(create_directory_tree(u"unit_bare_name"));
    EXPECT_FALSE(std::filesystem::exists(u"unit_bare_name")) << "a name without any separator is not made";
}

TEST(directories, a_posix_name_may_end_in_what_means_something_elsewhere) {
    if (host_separator() != u'/') GTEST_SKIP() << "these are no names on this host";
    const temp_folder folder;
    for (const char16_t* name : {u"c:", u"back\\", u"\\\\?\\", u"quote's"}) {
        EXPECT_TRUE(create_directory_tree(folder.path(name)));
        EXPECT_TRUE(std::filesystem::is_directory(folder.path(name))) << utf8_from_utf16(name);
    }
    temp_folder::put(folder.path(u"quote's/f"), "x");
    remove_file(folder.path(u"quote's/f"));
    EXPECT_FALSE(temp_folder::exists(folder.path(u"quote's/f")));
}

TEST(directories, windows_separators_and_prefixes) {
    if (host_separator() == u'/') GTEST_SKIP() << "these are plain names on this host";
    const temp_folder folder;
    std::u16string slashed = folder.path(u"s\\t");
    for (char16_t& unit : slashed) unit = unit == u'\\' ? u'/' : unit;
    EXPECT_TRUE(create_directory_tree(slashed));
    EXPECT_TRUE(temp_folder::exists(folder.path(u"s\\t")));
    EXPECT_TRUE(create_directory_tree(u"\\\\?\\" + folder.path(u"p\\q")));
    EXPECT_TRUE(temp_folder::exists(folder.path(u"p\\q")));
    EXPECT_EQ(long_form(u"c:\\x"), u"\\\\?\\c:\\x");
    EXPECT_EQ(long_form(u"x\\y"), u"\\\\?\\" + current_directory() + u"\\x\\y");
}

TEST(long_paths, work_like_short_ones) {
    const temp_folder folder;
    std::u16string path = folder.path();
    for (int level = 0; level < 4; ++level) path += temp_folder::separator() + std::u16string(90, u'd');
    ASSERT_TRUE(create_directory_tree(path));
    EXPECT_TRUE(temp_folder::exists(path));
    const std::u16string name = path + temp_folder::separator() + u"results.csv";
    uni::ofstream stream(name);
    EXPECT_TRUE(stream.is_open());
    stream << "row";
    plain_file file;
    EXPECT_TRUE(file.open_read(name));
    EXPECT_EQ(file.file_size(), 3);
}

}  // namespace
