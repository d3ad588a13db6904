#include "extract/host_names.h"

#include <gtest/gtest.h>

namespace {

TEST(host_names, what_a_host_cannot_hold_is_replaced) {
    const std::u16string half_pair = {u'a', 0xD83D, u'b', 0xDE00};
    const std::tuple<std::u16string, std::u16string, std::u16string> cases[] = {
        {u"report.pdf", u"report.pdf", u"report.pdf"},
        {u"..", u"__", u"__"},
        {u".", u"_", u"_"},
        {u"../../etc", u".._.._etc", u".._.._etc"},
        {u"..\\up", u"..\\up", u".._up"},
        {u"c:\\x", u"c:\\x", u"c__x"},
        {u"a<b>c\"d|e?f*g", u"a<b>c\"d|e?f*g", u"a_b_c_d_e_f_g"},
        {std::u16string(u"nul\0inside\n", 11), u"nul_inside_", u"nul_inside_"},
        {u"ends. .", u"ends. .", u"ends___"},
        {u"CON", u"CON", u"_CON"},
        {u"lpt1 .tar.gz", u"lpt1 .tar.gz", u"_lpt1 .tar.gz"},
        {u"com\u00b9", u"com\u00b9", u"_com\u00b9"},
        {u"console", u"console", u"console"},
        {u"\xD83D\xDE00", u"\xD83D\xDE00", u"\xD83D\xDE00"},
        {half_pair, u"a_b_", u"a_b_"},
        {u"", u"", u""},
    };
    for (const auto& [text, posix, windows] : cases) {
        EXPECT_EQ(safe_component(text, posix_name_rules), posix);
        EXPECT_EQ(safe_component(text, windows_name_rules), windows);
    }
}

TEST(host_names, a_name_that_is_too_long_keeps_both_ends) {
    const std::u16string name = u"stamp_" + std::u16string(300, u'\u4e2d') + u".pdf.bin";
    const std::u16string posix = safe_component(name, posix_name_rules),
                         windows = safe_component(name, windows_name_rules);
    EXPECT_EQ(windows.size(), longest_host_name);
    EXPECT_LT(posix.size(), 120u);
    for (const std::u16string& cut : {posix, windows}) {
        EXPECT_TRUE(cut.starts_with(u"stamp_\u4e2d"));
        EXPECT_TRUE(cut.ends_with(u".pdf.bin"));
    }
}

}  // namespace
