// What a FILETIME counts: ticks of 100 nanoseconds since 1601-01-01 00:00:00 UTC, unsigned 64 bits.
// Used by whoever makes, compares or shows times.
// Knows no calendar: report/time_text and front/filter_dates do.
#pragma once

#include <cstdint>

constexpr std::uint64_t filetime_per_millisecond = 10'000;
constexpr std::uint64_t filetime_per_second = 1'000 * filetime_per_millisecond;
constexpr std::uint64_t filetime_per_hour = 3'600 * filetime_per_second;
constexpr std::uint64_t filetime_per_day = 24 * filetime_per_hour;
constexpr std::uint64_t filetime_of_1970 = 116'444'736'000'000'000;
