#include "front/script_file.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "front/scanners.h"
#include "support/temp_folder.h"

namespace {

using tokens = std::vector<std::string>;

tokens tokens_of(const std::string& text) {
    std::vector<std::u16string> list;
    script_tokens({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, list);
    return narrowed(list);
}

TEST(script, lines_and_quotes_become_tokens) {
    const std::pair<const char*, tokens> cases[] = {
        {"-csv", {}},  // no line end at all
        {"-csv\n", {"-csv"}},
        {"-csv\n-filter_ext\n\n  exe \t dll", {"-csv", "-filter_ext", "exe", "dll"}},
        {"// -csv\n   // -csv\n-csv // x\n", {"-csv", "//", "x"}},
        {"a\r\nb c\r\n", {"a", "b", "c"}},
        {"a\rb\r", {"a", "b"}},
        {"a\n\rb\n\r", {"a", "b"}},
        {"a\r\nb\nc\r\n", {}},  // mixed
        {"a\n\nb\n", {"a", "b"}},
        {"-x \"a  b   c\"\n", {"-x", "a b c"}},
        {"-x \"a\" \"\" \"b c\" d\n", {"-x", "a", "", "b c", "d"}},
        {"-x \" a \" b\n", {"-x", " a ", "b"}},
        {"-x \"a b\n\"c\" d\n", {"-x", "c", "d"}},  // not closed on its line: dropped
        {"\"alone\"\n-y\n", {"\"alone\"", "-y"}},   // a line of one token keeps its quotes
        {"a\"b c\"\n", {"a\"b", "c\""}},
        {"r\xC3\xA9sum\xC3\xA9 \xFF\n", {"r\xC3\xA9sum\xC3\xA9", "\xFF"}},
    };
    for (const auto& [text, wanted] : cases) EXPECT_EQ(tokens_of(text), wanted) << text;
}

TEST(script, line_ends_are_told_from_the_first_1024_bytes) {
    const std::string line(1022, 'x');
    const std::tuple<const char*, std::string, std::size_t> cases[] = {
        {"LF and CR within", line.substr(1) + "\nb\rc\n", 0},
        {"the CR lies behind, and is white space", line + "\nb\rc\n", 3},
        {"the only end lies behind", line + "xx\n", 0},
        {"a pair across the border is one line end", "a\r\n" + line.substr(2) + "\r\nb\r\n", 3},
    };
    for (const auto& [what, text, count] : cases) EXPECT_EQ(tokens_of(text).size(), count) << what;
}

TEST(script, tokens_stand_behind_the_real_arguments) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"s"), "-csv\n-script t\n");
    std::vector<std::u16string> list = {u"grelmoor", u"-SCRIPT", folder.path(u"s"), u"-base10"};
    evidence_files evidence;
    EXPECT_EQ(append_script(list, evidence), "");
    EXPECT_EQ(narrowed(list), (tokens{"grelmoor", "-base10", "-csv", "-script", "t"}));
    temp_folder::put(folder.path(u"large"), std::string((4 << 20) + 1, '\n'));
    std::string many;
    for (int count = 0; count < 70'000; ++count) many += "a\n";
    temp_folder::put(folder.path(u"many"), many);
    for (const std::u16string& path :
         {folder.path(u"missing"), folder.path(u"s") + u'\0' + u"x", folder.path(u"large"), folder.path(u"many")}) {
        list = {u"grelmoor", u"-script", path, u"-base10"};
        EXPECT_NE(append_script(list, evidence), "");
        EXPECT_EQ(narrowed(list), (tokens{"grelmoor", "-base10"}));
    }
}

}  // namespace
