// Facts about the machine and the moment: clock, computer name, system text, rights, named event.
// Called by the run driver and the option passes.
// Nothing here reads a source.
#pragma once

#include <cstdint>
#include <string>

struct clock_reading {
    std::int64_t seconds = 0;  // since 1970-01-01 UTC
    std::uint32_t milliseconds = 0;
};
clock_reading read_clock();

struct local_moment {
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
};
// The present moment in the machine's own time zone.
local_moment local_time_now();

// "<unk>" when the system does not say.
std::string computer_name();
// Name, version and build of the system, and whether the processor is 64-bit.
std::string system_text();
// May this process read live volumes and drives?
bool is_elevated_admin();
// Tells whoever waits under `name` that the run has ended; silently nothing when nobody can be told.
void signal_end_of_run(const std::string& name);
