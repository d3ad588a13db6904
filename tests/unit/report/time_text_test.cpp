#include "report/time_text.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

constexpr std::uint64_t second = 10'000'000;
constexpr std::uint64_t epoch = 116'444'736'000'000'000;
constexpr std::uint64_t moment = 127'807'310'451'234'567;  // 2006-01-03 03:04:05.1234567, by a calendar

std::string date_of(std::uint64_t filetime, std::string_view format) {
    char text[date_room];
    return {text, put_date(text, time_point_of(filetime), plan_date(format))};
}

std::string time_of(std::uint64_t filetime, std::string_view format) {
    char text[time_room];
    return {text, put_time(text, time_point_of(filetime), plan_time(format))};
}

}  // namespace

TEST(time_text, dates_follow_their_format) {
    const std::pair<const char*, const char*> cases[] = {
        {"mm/dd/yyyy", "01/03/2006"}, {"yyyy-mm-dd", "2006-01-03"},
        {"dd/mm/yy", "03/01/06"},     {"mmm dd, yy", "Jan 03, 06"},
        {"yy mmm dd", "06 Jan 03"},   {"dd mmm, yyyy", "03 Jan 2006"},
        {"ddxmmxyyyy", "03/01/2006"}, {"yyyyyyyy", "01/03/2006"},
        {"mmm-dd-y", "Jan/03/2006"},  {"", ""},
    };
    for (const auto& [format, text] : cases) EXPECT_EQ(date_of(moment, format), text) << format;
}

TEST(time_text, times_follow_their_format_down_to_the_last_digit) {
    const std::pair<const char*, const char*> cases[] = {
        {"hh:mm:ss", "03:04:05"},
        {"hh:mm:ss.xxx", "03:04:05.123"},
        {"hh:mm:ss.xxxx", "03:04:05.1234"},
        {"hh:mm:ss.xxxxxx", "03:04:05.123456"},
        {"hh:mm:ss.xxxxxxx", "03:04:05.1234567"},
        {"hh:mm:ss.xxxxxxxxx", "03:04:05.123456700"},
        {"hh:mm:ssxxxxxxxxxx", "03:04:05"},
        {"hh:mm:xx", "03:04"},
        {"", ""},
    };
    for (const auto& [format, text] : cases) EXPECT_EQ(time_of(moment, format), text) << format;
}

TEST(time_text, moments_outside_1970_to_3000_are_none) {
    constexpr std::uint64_t first = epoch + second, behind = epoch + 32'535'216'000 * second;
    for (const std::uint64_t valid : {first, behind - 1}) EXPECT_TRUE(time_point_of(valid).valid) << valid;
    for (const std::uint64_t none : {std::uint64_t{0}, epoch, first - 1, behind, ~std::uint64_t{0}})
        EXPECT_FALSE(time_point_of(none).valid) << none;
    EXPECT_EQ(date_of(behind - 1, "mm/dd/yyyy"), "12/31/3000");
    EXPECT_EQ(time_of(first, "hh:mm:ss.xxx"), "00:00:01.000");
}

TEST(time_text, the_calendar_itself_reaches_from_1601_to_9999) {
    constexpr std::uint64_t year_10000 = 2'650'467'744'000'000'000;
    for (const std::uint64_t none : {std::uint64_t{0}, year_10000, ~std::uint64_t{0}})
        EXPECT_FALSE(calendar_point_of(none).valid) << none;
    const time_point first = calendar_point_of(1), last = calendar_point_of(year_10000 - 1);
    EXPECT_EQ((std::vector<int>{first.year, first.month, first.day, first.hour}), (std::vector<int>{1601, 1, 1, 0}));
    EXPECT_EQ((std::vector<int>{last.year, last.month, last.day, last.second}), (std::vector<int>{9999, 12, 31, 59}));
    EXPECT_EQ(calendar_point_of(moment).day, time_point_of(moment).day);
}

TEST(time_text, every_day_has_its_place_in_the_calendar) {
    namespace chrono = std::chrono;
    for (std::uint64_t day = 1; day <= 376'564; ++day) {
        const chrono::year_month_day expected{chrono::sys_days(chrono::days(day))};
        const time_point time = time_point_of(epoch + day * 86'400 * second);
        ASSERT_EQ(time.year, static_cast<int>(expected.year())) << day;
        ASSERT_EQ(time.month, static_cast<int>(static_cast<unsigned>(expected.month()))) << day;
        ASSERT_EQ(time.day, static_cast<int>(static_cast<unsigned>(expected.day()))) << day;
    }
}
