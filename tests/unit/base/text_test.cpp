#include "base/text.h"

#include <gtest/gtest.h>

#include "base/bytes.h"
#include "base/flat_map.h"

TEST(text, utf16_becomes_utf8_until_a_high_surrogate_stands_alone) {
    const std::tuple<std::u16string_view, std::string_view, bool> cases[] = {
        {u"plain", "plain", true},
        {u"\u00e4\u20ac", "\xc3\xa4\xe2\x82\xac", true},
        {u"\U0001f600!", "\xf0\x9f\x98\x80!", true},
        {u"a\xd83d", "a", false},
        {u"a\xd83d-", "a", false},
        {u"a\xde00-", "a\xed\xb8\x80-", true},  // a lone low surrogate is a unit like any other
    };
    for (const auto& [from, to, complete] : cases) {
        std::string out = "<";
        EXPECT_EQ(append_utf8(out, from), complete);
        EXPECT_EQ(out, "<" + std::string(to));
    }
}

TEST(text, bytes_that_are_no_utf8_survive_the_way_through_wide_text) {
    for (const std::string text :
         {"ok", "\xff", "a\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf0\x9f\x98\x80", "\xf5\x80\x80\x80"}) {
        EXPECT_EQ(bytes_from_utf16(utf16_from_utf8(text)), text);
    }
    EXPECT_EQ(utf16_from_utf8("\xf0\x9f\x98\x80"), u"\U0001f600");
}

TEST(text, lower_case_is_one_unit_for_one_beyond_ascii_too) {
    EXPECT_EQ(lowered(u"ABC\u00c4\u0416\u0130\u1e9e\u24b6\uff21"), u"abc\u00e4\u0436i\u00df\u24d0\uff41");
    EXPECT_EQ(lowered(u"\xd801\xdc00"), u"\xd801\xdc00");  // beyond the basic plane nothing changes
}

TEST(bytes, fields_beyond_the_end_read_as_zero) {
    const std::uint8_t data[] = {1, 2, 3};
    const byte_view view(data, sizeof data);
    EXPECT_EQ(view.u16(1), 0x0302);
    EXPECT_EQ(view.u16(2), 0);
    EXPECT_EQ(view.u32(~std::size_t{0}), 0u);
    EXPECT_EQ(view.part(2, 9).size, 1u);
    EXPECT_EQ(view.part(3, 1).size, 0u);
    std::uint8_t copy[3] = {9, 9, 9};
    view.copy(2, copy, sizeof copy);
    EXPECT_EQ(copy[0] * 100 + copy[1] * 10 + copy[2], 300);
}

TEST(flat_map, keeps_order_and_what_was_there_first) {
    flat_map<int, std::string> map;
    for (const int key : {5, 1, 3, 5, 1}) {
        bool made = false;
        std::string& value = map.insert(key, made);
        if (made) value = "first " + std::to_string(key);
    }
    std::string order;
    for (const auto& item : map) order += std::to_string(item.key) + item.value + ";";
    EXPECT_EQ(order, "1first 1;3first 3;5first 5;");
    map.erase(map.begin() + 1);
    EXPECT_EQ(map.find(3), nullptr);
    EXPECT_EQ(*map.find(5), "first 5");
    map.clear();
    EXPECT_TRUE(map.empty());
}

TEST(text, what_is_done_four_units_at_a_time_is_right_at_every_place) {
    for (std::size_t size = 0; size < 11; ++size) {
        EXPECT_EQ(utf8_from_utf16(std::u16string(size, u'a')), std::string(size, 'a'));
        EXPECT_EQ(find_nul(std::u16string(size, u'\uFF00')), size);
        for (std::size_t place = 0; place < size; ++place) {
            std::u16string text(size, u'a');
            text[place] = u'\u00E9';
            EXPECT_EQ(utf8_from_utf16(text), std::string(place, 'a') + "\xC3\xA9" + std::string(size - place - 1, 'a'));
            text[place] = u'\0';
            EXPECT_EQ(find_nul(text), place);
        }
    }
}
