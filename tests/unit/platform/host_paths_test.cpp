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
    const struct {
        std::string text, expected;
    } cases[] = {
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
    for (const auto& c : cases) EXPECT_EQ(expand_variables(c.text), c.expected) << c.text;
    const std::string grown = expand_variables("%UNIT_GROWING%");
    EXPECT_TRUE(grown.size() > 512 && grown.size() < 540) << grown.size();
}

TEST(variables, the_shadow_prefix_has_two_cases) {
    EXPECT_EQ(shadow_device_prefix(false), prefix);
    EXPECT_EQ(shadow_device_prefix(true), lowered_ascii(prefix));
}

TEST(directories, the_directory_of_a_path) {
    const struct {
        std::u16string path, posix, windows;
    } cases[] = {
        {u"x", u".", u"."},        {u"", u".", u"."},
        {u"/x", u"/", u"/"},       {u"a/b/x", u"a/b", u"a/b"},
        {u"a/b/", u"a/b", u"a/b"}, {u"c:\\a\\x", u".", u"c:\\a"},
        {u"c:\\x", u".", u"c:"},   {u"a\\b/x", u"a\\b", u"a\\b"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(directory_part(c.path), host_separator() == u'/' ? c.posix : c.windows) << utf8_from_utf16(c.path);
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
