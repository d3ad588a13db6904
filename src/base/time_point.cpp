#include "base/time_point.h"

#include "base/filetime.h"

namespace {

constexpr std::uint64_t last_second_of_year_3000 = 32'535'215'999;  // since 1970
constexpr std::uint64_t seconds_per_day = 86'400;
constexpr std::uint32_t days_to_1601 = 584'694, days_to_1970 = 719'468;  // from 0000-03-01
constexpr std::uint64_t filetime_of_10000 = 2'650'467'744'000'000'000;

// Calendar arithmetic after C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar
// algorithms" (2022): years begin in March, so that a leap day ends one, and divisions become multiplications.
// `days` count from 0000-03-01.
void set_date(time_point& time, std::uint32_t days) {
    constexpr std::uint32_t days_in_400_years = 146'097;
    const std::uint32_t centuries = 4 * days + 3;
    const std::uint32_t century = centuries / days_in_400_years;
    const std::uint32_t day_of_century = centuries % days_in_400_years / 4;
    const std::uint64_t years = 2'939'745 * static_cast<std::uint64_t>(4 * day_of_century + 3);
    const auto year_of_century = static_cast<std::uint32_t>(years >> 32);
    const std::uint32_t day_of_year = static_cast<std::uint32_t>(years) / 2'939'745 / 4;
    const std::uint32_t months = 2'141 * day_of_year + 197'913;
    const bool next_year = day_of_year >= 306;  // January and February
    time.day = static_cast<int>((months & 0xFFFF) / 2'141 + 1);
    time.month = static_cast<int>((months >> 16) - (next_year ? 12 : 0));
    time.year = static_cast<int>(100 * century + year_of_century + (next_year ? 1 : 0));
}

// `seconds`: since any midnight.
time_point moment_of(std::uint32_t days, std::uint64_t seconds, std::uint32_t remainder) {
    time_point time;
    time.valid = true;
    set_date(time, days);
    const int second_of_day = static_cast<int>(seconds % seconds_per_day);
    time.hour = second_of_day / 3600;
    time.minute = second_of_day / 60 % 60;
    time.second = second_of_day % 60;
    time.remainder = remainder;
    return time;
}

time_point time_point_of_seconds(std::uint64_t seconds, std::uint32_t remainder) {
    if (seconds == 0 || seconds > last_second_of_year_3000) return {};
    return moment_of(static_cast<std::uint32_t>(seconds / seconds_per_day) + days_to_1970, seconds, remainder);
}

}  // namespace

time_point time_point_of(std::uint64_t filetime) {
    if (filetime == 0 || (filetime >> 63) != 0) return {};
    // A time ahead of 1970 wraps to a huge count here and is refused with those behind the year 3000.
    return time_point_of_seconds((filetime - filetime_of_1970) / filetime_per_second,
                                 static_cast<std::uint32_t>(filetime % filetime_per_second));
}

time_point calendar_point_of(std::uint64_t filetime) {
    if (filetime == 0 || filetime >= filetime_of_10000) return {};
    const std::uint64_t seconds = filetime / filetime_per_second;
    return moment_of(static_cast<std::uint32_t>(seconds / seconds_per_day) + days_to_1601, seconds,
                     static_cast<std::uint32_t>(filetime % filetime_per_second));
}

time_point time_point_of(std::uint64_t number, time_mode mode) {
    return mode == time_mode_unix_seconds ? time_point_of_seconds(number, 0) : time_point_of(number);
}
