// A FILETIME taken apart: the calendar date and the time of day that it stands for.
// Called by everything that writes a time: the reports' cells, the run header, the names of copies.
// UTC only: no time zone of the machine enters. No library call.
#pragma once

#include <cstdint>

// A moment, in UTC. Not valid: 0, beyond 2^63, ahead of 1970-01-01 00:00:01, or behind the year 3000.
struct time_point {
    bool valid = false;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::uint32_t remainder = 0;  // 100-nanosecond units within the second
};

time_point time_point_of(std::uint64_t filetime);
// The calendar's own: every moment from 1601 to the end of the year 9999 is valid, but 0.
time_point calendar_point_of(std::uint64_t filetime);

// How numbers are to be read as times.
enum time_mode : int {
    time_mode_filetime = 1,
    time_mode_unix_seconds = 8,
};
time_point time_point_of(std::uint64_t number, time_mode mode);
