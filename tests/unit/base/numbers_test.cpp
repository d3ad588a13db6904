#include "base/numbers.h"

#include <gtest/gtest.h>

#include "base/digits.h"

namespace {

constexpr std::uint64_t untouched = 77;

}  // namespace

TEST(numbers, parse_u64_and_parse_size_read_their_own_dialects) {
    constexpr std::uint64_t most = ~std::uint64_t{0};
    const std::tuple<const char*, std::uint64_t, std::uint64_t> cases[] = {
        {"16", 16, 16},
        {"0x10", 16, 16},
        {"x10", 16, untouched - 77},  // parse_size reads from the third character on
        {"o20", 16, 16},
        {"0x1F", 31, 31},
        {"", untouched, untouched},
        {"abc", untouched, untouched},
        {"12abc", 12, 12},
        {" 5", 5, 5},
        {"99999999999999999999", most, 0x6bc75e2d630fffffULL},  // one saturates, the other is not checked
        {"123456789012345678901", most, untouched},
        {"0x11111111111111111", most, untouched},
    };
    for (const auto& [text, as_u64, as_size] : cases) {
        std::uint64_t value = untouched;
        parse_u64(text, value);
        EXPECT_EQ(value, as_u64) << text;
        value = untouched;
        parse_size(text, value);
        EXPECT_EQ(value, as_size) << text;
    }
}

TEST(numbers, small_parsers_leave_zero_or_the_old_value) {
    const std::tuple<const char*, std::uint32_t, std::int32_t> cases[] = {
        {"12", 12, 12},  {"0x1f", 31, 31}, {"x1f", 31, 31},
        {"o17", 15, 15}, {"'A'", 'A', 77}, {"-4", 0, -4},
        {"+4", 0, 4},    {"word", 0, 0},   {"5000000000", ~0u, 705'032'704},
    };
    for (const auto& [text, as_u32, as_i32] : cases) {
        std::uint32_t narrow = 77;
        parse_u32(text, narrow);
        EXPECT_EQ(narrow, as_u32) << text;
        std::int32_t with_sign = 77;
        parse_i32(text, with_sign);
        EXPECT_EQ(with_sign, as_i32) << text;
    }
}

TEST(numbers, a_list_is_split_at_its_first_kind_of_delimiter_only) {
    const std::pair<const char16_t*, std::vector<std::u16string>> cases[] = {
        {u"a|b,c", {u"a", u"b,c"}},
        {u" a , b ;c", {u"a", u"b ;c"}},
        {u"a;;b;", {u"a", u"b"}},
        {u" alone ", {u" alone "}},
        {u"", {u""}},
        {u"| |", {}},
    };
    for (const auto& [value, expected] : cases) {
        std::vector<std::u16string> items;
        split_list(items, value, "|,;");
        EXPECT_EQ(items, expected);
    }
}

TEST(numbers, digits_are_padded_with_zeros_and_never_cut) {
    const std::tuple<std::uint64_t, std::size_t, const char*> cases[] = {
        {0, 1, "0 0"},
        {0x123, 8, "00000123 00000291"},
        {~std::uint64_t{0}, 8, "ffffffffffffffff 18446744073709551615"},
        {10, 1, "a 10"},
        {255, 30, "0000000000000000000000000000ff 000000000000000000000000000255"},
    };
    for (const auto& [value, least, expected] : cases) {
        std::string text;
        append_hex(text, value, least);
        append_decimal(text += ' ', value, least);
        EXPECT_EQ(text, expected);
    }
}
