#include "report/time_text.h"

#include <cstring>

#include "base/digits.h"

namespace {

constexpr std::uint64_t ticks_per_second = 10'000'000;
constexpr std::uint64_t epoch_1970 = 116'444'736'000'000'000;    // as a FILETIME
constexpr std::uint64_t last_second_of_year_3000 = 32'535'215'999;  // since 1970
constexpr std::uint64_t seconds_per_day = 86'400;
constexpr char month_names[] = "JanFebMarAprMayJunJulAugSepOctNovDec";

char* put_pair(char* to, int value) { return digits::put_two(to, static_cast<unsigned>(value)); }
char* put_four(char* to, int value) { return put_pair(put_pair(to, value / 100), value % 100); }

// The first `count` digits of the fraction, whose unit is 100 nanoseconds.
char* put_fraction(char* to, std::uint32_t remainder, std::size_t count) {
    constexpr std::uint32_t powers[] = {10'000'000, 1'000'000, 100'000, 10'000, 1000, 100, 10, 1};
    const std::size_t told = count < 7 ? count : 7;
    std::uint32_t value = remainder / powers[told];
    for (std::size_t index = told; index-- > 0; value /= 10) to[index] = static_cast<char>('0' + value % 10);
    for (std::size_t index = told; index < count; ++index) to[index] = '0';
    return to + count;
}

// Calendar arithmetic on days since 1970-01-01: years begin in March, so that a leap day ends one.
void set_date(time_point& time, std::uint64_t days_since_1970) {
    const std::uint64_t days = days_since_1970 + 719'468;
    const std::uint64_t era = days / 146'097;
    const std::uint64_t day_of_era = days % 146'097;
    const std::uint64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36'524 - day_of_era / 146'096) / 365;
    const std::uint64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const std::uint64_t month_from_march = (5 * day_of_year + 2) / 153;
    time.day = static_cast<int>(day_of_year - (153 * month_from_march + 2) / 5 + 1);
    time.month = static_cast<int>(month_from_march < 10 ? month_from_march + 3 : month_from_march - 9);
    time.year = static_cast<int>(year_of_era + era * 400) + (time.month <= 2 ? 1 : 0);
}

time_point time_point_of_seconds(std::uint64_t seconds, std::uint32_t remainder) {
    time_point time;
    if (seconds == 0 || seconds > last_second_of_year_3000) return time;
    time.valid = true;
    set_date(time, seconds / seconds_per_day);
    const int second_of_day = static_cast<int>(seconds % seconds_per_day);
    time.hour = second_of_day / 3600;
    time.minute = second_of_day / 60 % 60;
    time.second = second_of_day % 60;
    time.remainder = remainder;
    return time;
}

char delimiter_of(std::string_view format) {
    for (const char candidate : {'/', '-', ' '}) {
        if (format.find(candidate) != std::string_view::npos) return candidate;
    }
    return '/';
}

void add_part(date_plan& plan, char part) { plan.parts[plan.count++] = part; }

}  // namespace

time_point time_point_of(std::uint64_t filetime) {
    if (filetime == 0 || (filetime >> 63) != 0) return {};
    // A time ahead of 1970 wraps to a huge count here and is refused with those behind the year 3000.
    return time_point_of_seconds((filetime - epoch_1970) / ticks_per_second,
                                 static_cast<std::uint32_t>(filetime % ticks_per_second));
}

time_point time_point_of(std::uint64_t number, time_mode mode) {
    return mode == time_mode_unix_seconds ? time_point_of_seconds(number, 0) : time_point_of(number);
}

date_plan plan_date(std::string_view format) {
    date_plan plan;
    if (format.empty()) return plan;
    const auto year_at = format.find("yy"), month_at = format.find("mm"), day_at = format.find("dd");
    constexpr auto missing = std::string_view::npos;
    const char month = format.find("mmm") != missing ? 'M' : 'm';
    const char year = year_at != missing && format.find("yyyy") == missing ? 'y' : 'Y';
    if (year_at == missing || month_at == missing || day_at == missing) {
        for (const char part : {month, '/', 'd', '/', year}) add_part(plan, part);
        return plan;
    }
    const char delimiter = delimiter_of(format);
    const bool month_first = month_at < day_at;
    const bool comma = delimiter == ' ' && month_first && format.find(',', day_at) != missing;
    const bool year_first = year_at == 0;
    if (year_first) {
        add_part(plan, year);
        add_part(plan, delimiter);
    }
    add_part(plan, month_first ? month : 'd');
    add_part(plan, delimiter);
    add_part(plan, month_first ? 'd' : month);
    if (comma) add_part(plan, ',');
    if (!year_first) {
        add_part(plan, delimiter);
        add_part(plan, year);
    }
    return plan;
}

std::size_t put_date(char* to, const time_point& time, const date_plan& plan) {
    char* at = to;
    for (std::size_t index = 0; index < plan.count; ++index) {
        switch (const char part = plan.parts[index]) {
            case 'Y': at = put_four(at, time.year); break;
            case 'y': at = put_pair(at, time.year % 100); break;
            case 'M':
                std::memcpy(at, month_names + 3 * (time.month - 1), 3);
                at += 3;
                break;
            case 'm': at = put_pair(at, time.month); break;
            case 'd': at = put_pair(at, time.day); break;
            default: *at++ = part; break;
        }
    }
    return static_cast<std::size_t>(at - to);
}

time_plan plan_time(std::string_view format) {
    time_plan plan;
    plan.hours_minutes = format.find("hh:mm") != std::string_view::npos;
    plan.seconds = format.find("ss") != std::string_view::npos;
    const auto fraction_at = format.find("xxx");
    if (fraction_at == std::string_view::npos) return plan;
    const std::size_t digits = format.rfind('x') - fraction_at + 1;
    plan.fraction_digits = digits <= 9 ? digits : 0;
    return plan;
}

std::size_t put_time(char* to, const time_point& time, const time_plan& plan) {
    char* at = to;
    if (plan.hours_minutes) {
        at = put_pair(at, time.hour);
        *at++ = ':';
        at = put_pair(at, time.minute);
    }
    if (plan.seconds) {
        *at++ = ':';
        at = put_pair(at, time.second);
    }
    if (plan.fraction_digits > 0) {
        *at++ = '.';
        at = put_fraction(at, time.remainder, plan.fraction_digits);
    }
    return static_cast<std::size_t>(at - to);
}

bool is_date_format(std::string_view format) { return format.size() == 8 || format.size() == 10; }

bool is_time_format(std::string_view format) {
    const bool length_fits = format.size() == 8 || (format.size() >= 12 && format.size() <= 18);
    return length_fits && format.find(':') != std::string_view::npos;
}

std::size_t date_width(std::string_view format) { return is_date_format(format) ? format.size() : 0; }

std::size_t time_width(std::string_view format) {
    if (!is_time_format(format)) return 0;
    return format.size() == 8 || format.find(".xxx") != std::string_view::npos ? format.size() : 0;
}
