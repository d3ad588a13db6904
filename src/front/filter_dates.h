// Dates as -filter_start_time and -filter_stop_time take them.
// Called by the option pass.
// Knows no time zone: what is written is UTC.
#pragma once

#include <cstdint>
#include <string_view>

// A date, behind its first blank a time; `default_time` stands where no time is given. Fields of a date are divided by
// "/" or "-": month, day, year; year first where the first field has more than two digits; a month may be a name.
// Two-digit years: below 31 in this century, else in the last. A time is hours, minutes, seconds, with am or pm.
// False: not such a date; `filetime` is left alone.
bool parse_filter_date(std::string_view value, std::string_view default_time, std::uint64_t& filetime);
