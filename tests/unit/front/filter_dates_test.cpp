#include "front/filter_dates.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

constexpr int end_of_day = 86'399;

// The calendar is the library's, so that the program's own is what is tested.
std::uint64_t filetime_of(int year, unsigned month, unsigned day, int second_of_day) {
    using namespace std::chrono;
    const auto date = [](int y, unsigned m, unsigned d) { return sys_days(std::chrono::year(y) / m / d); };
    const auto days = date(year, month, day) - date(1601, 1, 1);
    return (static_cast<std::uint64_t>(days.count()) * 86'400 + static_cast<std::uint64_t>(second_of_day)) * 10'000'000;
}

TEST(filter_dates, are_read_in_many_forms) {
    const struct {
        const char* text;
        int year;
        unsigned month, day;
        int second;
    } cases[] = {
        {"01/31/2020", 2020, 1, 31, end_of_day},       {"1-2-2020 ", 2020, 1, 2, end_of_day},
        {"2020-02-29 13:14:15", 2020, 2, 29, 47'655},  {"2/29/2000 00:00:00", 2000, 2, 29, 0},
        {"02/03/04 1:02", 2004, 2, 3, 3'720},          {"02/03/30 12:00:00 am", 2030, 2, 3, 0},
        {"02/03/31 12:00:00PM", 1931, 2, 3, 43'200},   {"12/31/1999 11:59:59.999 pm", 1999, 12, 31, end_of_day},
        {"05-Mar-2021 7 am", 2021, 3, 5, 25'200},      {"sept/9/1999 23:59:59", 1999, 9, 9, end_of_day},
        {"2021/december/05", 2021, 12, 5, end_of_day}, {"1601-01-01 0:00:01", 1601, 1, 1, 1},
    };
    for (const auto& c : cases) {
        std::uint64_t filetime = 0;
        EXPECT_TRUE(parse_filter_date(c.text, "23:59:59", filetime)) << c.text;
        EXPECT_EQ(filetime, filetime_of(c.year, c.month, c.day, c.second)) << c.text;
    }
    std::uint64_t midnight = 0;
    EXPECT_TRUE(parse_filter_date("01/31/2020", "", midnight));
    EXPECT_EQ(midnight, filetime_of(2020, 1, 31, 0));
}

TEST(filter_dates, what_is_no_date_leaves_the_old_value) {
    std::vector<std::string> texts = {"",           "1/1",        "1/1/1/1",    "1.1.2020",    "0/1/2020",
                                      "1/0/2020",   "+1/1/2020",  "ma/1/2020",  " 01/01/2020", "13/01/2020",
                                      "02/29/1900", "04/31/2020", "01/01/1600", "01/01/20200", "mar/apr/2020"};
    for (const char* time : {"24:00", "1:60", "1:2:60", "1:2:3:4", "0:00 am", "13:00 pm", "noon", "pm", "1:2:3.x"})
        texts.push_back(std::string("01/01/2020 ") + time);
    for (const std::string& text : texts) {
        std::uint64_t filetime = 77;
        EXPECT_FALSE(parse_filter_date(text, "", filetime)) << text;
        EXPECT_EQ(filetime, 77u) << text;
    }
}

}  // namespace
