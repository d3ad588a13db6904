// Dates and times as text: the formats of -dateformat and -timeformat.
// Called by the writer for every date cell, by the run header, and by group_macb.
// UTC only: no time zone of the machine enters. No locale, no library call per cell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/time_point.h"

// A date's text with its delimiters in place, made once from a format such as "mm/dd/yyyy" or "mmm dd, yy".
struct date_plan {
    char text[16] = {};
    std::uint8_t size = 0;  // 0: no date
    std::uint8_t year_at = 0, month_at = 0, day_at = 0;
    bool long_year = false, month_name = false;
};
date_plan plan_date(std::string_view format);
constexpr std::size_t date_room = 32;
// Of a valid point, into at least `date_room` bytes; returns how many it took.
std::size_t put_date(char* to, const time_point& time, const date_plan& plan);

struct time_plan {
    bool hours_minutes = false;
    bool seconds = false;
    std::size_t fraction_digits = 0;  // 0 to 9
};
time_plan plan_time(std::string_view format);
constexpr std::size_t time_room = 20;
std::size_t put_time(char* to, const time_point& time, const time_plan& plan);

// Column widths that belong to the formats; 0 for a format that is measured as none.
std::size_t date_width(std::string_view format);
std::size_t time_width(std::string_view format);

// Lengths that -dateformat and -timeformat accept.
bool is_date_format(std::string_view format);
bool is_time_format(std::string_view format);
