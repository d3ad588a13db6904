#include "front/filter_dates.h"

#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "base/filetime.h"
#include "base/text.h"

namespace {

struct moment {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

bool is_digits(std::string_view text) {
    return !text.empty() && text.size() <= 4 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

int number_of(std::string_view digits) {
    int value = 0;
    for (const char c : digits) value = value * 10 + (c - '0');
    return value;
}

// 1 to 12 for the name of a month or its first letters, three at least; 0 for anything else.
int month_named(std::string_view text) {
    constexpr std::array<std::string_view, 12> names = {"january",   "february", "march",    "april",
                                                        "may",       "june",     "july",     "august",
                                                        "september", "october",  "november", "december"};
    if (text.size() < 3) return 0;
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (names[index].starts_with(text)) return static_cast<int>(index) + 1;
    }
    return 0;
}

std::vector<std::string_view> split_at_any(std::string_view text, std::string_view delimiters) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t end = text.find_first_of(delimiters);
        parts.push_back(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

int days_in_month(int year, int month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

int full_year(std::string_view digits) {
    const int year = number_of(digits);
    if (digits.size() > 2) return year;
    return year < 31 ? 2000 + year : 1900 + year;
}

bool parse_date(std::string_view text, moment& out) {
    std::vector<std::string_view> fields = split_at_any(text, "/-");
    if (fields.size() != 3) return false;
    for (std::size_t index = 0; index < fields.size() && out.month == 0; ++index) {
        out.month = month_named(fields[index]);
        if (out.month != 0) fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(index));
    }
    for (const std::string_view field : fields) {
        if (!is_digits(field)) return false;
    }
    const bool year_first = fields.front().size() > 2;
    const std::string_view year = year_first ? fields.front() : fields.back();
    fields.erase(year_first ? fields.begin() : fields.end() - 1);
    if (out.month == 0) {
        out.month = number_of(fields.front());
        fields.erase(fields.begin());
    }
    out.day = number_of(fields.front());
    out.year = full_year(year);
    return out.month >= 1 && out.month <= 12 && out.day >= 1 && out.year >= 1601 &&
           out.day <= days_in_month(out.year, out.month);
}

// Takes "am" or "pm" off the end and turns the hour of a twelve-hour clock into that of the day.
bool apply_half_of_day(std::string_view& text, bool& afternoon, bool& twelve_hours) {
    twelve_hours = text.ends_with("am") || text.ends_with("pm");
    if (!twelve_hours) return true;
    afternoon = text.ends_with("pm");
    text = trimmed(text.substr(0, text.size() - 2));
    return !text.empty();
}

bool parse_time(std::string_view text, moment& out) {
    bool afternoon = false, twelve_hours = false;
    if (!apply_half_of_day(text, afternoon, twelve_hours)) return false;
    std::vector<std::string_view> fields = split_at_any(text, ":");
    if (fields.size() > 3) return false;
    if (fields.size() == 3) {
        const std::size_t dot = fields[2].find('.');
        if (dot != std::string_view::npos) {
            if (fields[2].substr(dot + 1).find_first_not_of("0123456789") != std::string_view::npos) return false;
            fields[2] = fields[2].substr(0, dot);
        }
    }
    int* const targets[] = {&out.hour, &out.minute, &out.second};
    for (std::size_t index = 0; index < fields.size() && index < std::size(targets); ++index) {
        if (!is_digits(fields[index])) return false;
        *targets[index] = number_of(fields[index]);
    }
    if (twelve_hours) {
        if (out.hour < 1 || out.hour > 12) return false;
        out.hour = out.hour % 12 + (afternoon ? 12 : 0);
    }
    return out.hour <= 23 && out.minute <= 59 && out.second <= 59;
}

// Days since 1601-01-01.
std::uint64_t days_since_1601(const moment& at) {
    std::uint64_t days = 0;
    const int years = at.year - 1601;
    days += static_cast<std::uint64_t>(365 * years + years / 4 - years / 100 + years / 400);
    for (int month = 1; month < at.month; ++month) days += static_cast<std::uint64_t>(days_in_month(at.year, month));
    return days + static_cast<std::uint64_t>(at.day) - 1;
}

}  // namespace

bool parse_filter_date(std::string_view value, std::string_view default_time, std::uint64_t& filetime) {
    const std::string lower = lowered_ascii(value);
    const std::string_view text = lower;
    const std::size_t blank = text.find(' ');
    std::string_view time = blank == std::string_view::npos ? std::string_view() : trimmed(text.substr(blank + 1));
    if (time.empty()) time = default_time;
    moment at;
    if (!parse_date(text.substr(0, blank), at) || (!time.empty() && !parse_time(time, at))) return false;
    const auto second_of_day = static_cast<std::uint64_t>(at.hour * 3600 + at.minute * 60 + at.second);
    filetime = days_since_1601(at) * filetime_per_day + second_of_day * filetime_per_second;
    return true;
}
