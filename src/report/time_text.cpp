#include "report/time_text.h"

#include <cstring>

#include "base/digits.h"

namespace {

constexpr char month_names[] = "JanFebMarAprMayJunJulAugSepOctNovDec";

char* put_pair(char* to, int value) { return digits::put_two(to, static_cast<unsigned>(value)); }
char* put_four(char* to, int value) { return put_pair(put_pair(to, value / 100), value % 100); }

[[gnu::noinline]] char* put_any_fraction(char* to, std::uint32_t remainder, std::size_t count) {
    constexpr std::uint32_t powers[] = {10'000'000, 1'000'000, 100'000, 10'000, 1000, 100, 10, 1};
    const std::size_t told = count < 7 ? count : 7;
    std::uint32_t value = remainder / powers[told];
    for (std::size_t index = told; index-- > 0; value /= 10) to[index] = static_cast<char>('0' + value % 10);
    for (std::size_t index = told; index < count; ++index) to[index] = '0';
    return to + count;
}

// The first `count` digits of the fraction, whose unit is 100 nanoseconds.
char* put_fraction(char* to, std::uint32_t remainder, std::size_t count) {
    if (count != 3) return put_any_fraction(to, remainder, count);
    // The usual case, without a division by a variable.
    to[0] = static_cast<char>('0' + remainder / 1'000'000);
    return digits::put_two(to + 1, remainder / 10'000 % 100);
}

char delimiter_of(std::string_view format) {
    for (const char candidate : {'/', '-', ' '}) {
        if (format.find(candidate) != std::string_view::npos) return candidate;
    }
    return '/';
}

// Builds a plan from left to right.
struct date_planner {
    date_plan plan;

    std::uint8_t take(std::size_t size) {
        const std::uint8_t at = plan.size;
        plan.size = static_cast<std::uint8_t>(plan.size + size);
        return at;
    }
    void add(char text) { plan.text[take(1)] = text; }
    void add_year() { plan.year_at = take(plan.long_year ? 4 : 2); }
    void add_month() { plan.month_at = take(plan.month_name ? 3 : 2); }
    void add_day() { plan.day_at = take(2); }
};

}  // namespace

date_plan plan_date(std::string_view format) {
    date_planner planner;
    if (format.empty()) return planner.plan;
    const auto year_at = format.find("yy"), month_at = format.find("mm"), day_at = format.find("dd");
    constexpr auto missing = std::string_view::npos;
    planner.plan.month_name = format.find("mmm") != missing;
    planner.plan.long_year = year_at == missing || format.find("yyyy") != missing;
    const bool incomplete = year_at == missing || month_at == missing || day_at == missing;
    const char delimiter = incomplete ? '/' : delimiter_of(format);
    const bool month_first = incomplete || month_at < day_at;
    const bool year_first = !incomplete && year_at == 0;
    if (year_first) {
        planner.add_year();
        planner.add(delimiter);
    }
    month_first ? planner.add_month() : planner.add_day();
    planner.add(delimiter);
    month_first ? planner.add_day() : planner.add_month();
    if (delimiter == ' ' && month_first && format.find(',', day_at) != missing) planner.add(',');
    if (!year_first) {
        planner.add(delimiter);
        planner.add_year();
    }
    return planner.plan;
}

std::size_t put_date(char* to, const time_point& time, const date_plan& plan) {
    std::memcpy(to, plan.text, sizeof plan.text);
    if (plan.size == 0) return 0;
    put_pair(to + plan.day_at, time.day);
    if (plan.month_name) {
        std::memcpy(to + plan.month_at, month_names + 3 * (time.month - 1), 3);
    } else {
        put_pair(to + plan.month_at, time.month);
    }
    plan.long_year ? put_four(to + plan.year_at, time.year) : put_pair(to + plan.year_at, time.year % 100);
    return plan.size;
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
