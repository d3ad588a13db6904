#include "base/time_point.h"

#include "base/filetime.h"

namespace {

constexpr std::uint64_t seconds_per_day = 86'400;
// Seconds since 1601.
constexpr std::uint64_t second_of_1970 = filetime_of_1970 / filetime_per_second;
constexpr std::uint64_t last_of_year_3000 = second_of_1970 + 32'535'215'999;
constexpr std::uint64_t last_of_year_9999 = 265'046'774'399;

// Calendar arithmetic after C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar
// algorithms" (2022): years begin in March, so that a leap day ends one, and divisions become multiplications.
void set_date(time_point& time, std::uint32_t days_since_1601) {
    constexpr std::uint32_t days_to_1601 = 584'694;  // from 0000-03-01
    constexpr std::uint32_t days_in_400_years = 146'097;
    const std::uint32_t centuries = 4 * (days_since_1601 + days_to_1601) + 3;
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

// Not valid outside of the seconds from `first` to `last`.
time_point point_between(std::uint64_t seconds, std::uint32_t remainder, std::uint64_t first, std::uint64_t last) {
    time_point time;
    if (seconds < first || seconds > last) return time;
    time.valid = true;
    set_date(time, static_cast<std::uint32_t>(seconds / seconds_per_day));
    const int second_of_day = static_cast<int>(seconds % seconds_per_day);
    time.hour = second_of_day / 3600;
    time.minute = second_of_day / 60 % 60;
    time.second = second_of_day % 60;
    time.remainder = remainder;
    return time;
}

time_point point_between(std::uint64_t filetime, std::uint64_t first, std::uint64_t last) {
    return point_between(filetime / filetime_per_second, static_cast<std::uint32_t>(filetime % filetime_per_second),
                         first, last);
}

}  // namespace

// Kept: the first second of 1970 is none.
time_point time_point_of(std::uint64_t filetime) {
    return point_between(filetime, second_of_1970 + 1, last_of_year_3000);
}

time_point calendar_point_of(std::uint64_t filetime) {
    return filetime == 0 ? time_point() : point_between(filetime, 0, last_of_year_9999);
}

time_point time_point_of(std::uint64_t number, time_mode mode) {
    if (mode != time_mode_unix_seconds) return time_point_of(number);
    // A number that wraps around ends ahead of 1970.
    return point_between(second_of_1970 + number, 0, second_of_1970 + 1, last_of_year_3000);
}
