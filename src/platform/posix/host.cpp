#include "platform/host.h"

#include <fcntl.h>
#include <semaphore.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>

clock_reading read_clock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return {now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec / 1'000'000)};
}

local_moment local_time_now() {
    const clock_reading now = read_clock();
    const std::time_t seconds = now.seconds;
    std::tm local{};
    localtime_r(&seconds, &local);
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(now.milliseconds)};
}

std::string computer_name() {
    utsname facts{};
    return uname(&facts) == 0 && facts.nodename[0] != '\0' ? facts.nodename : "<unk>";
}

std::string system_text() {
    utsname facts{};
    if (uname(&facts) != 0) return "<unk>";
    const std::string machine = facts.machine;
    const bool wide = machine.find("64") != std::string::npos;
    return std::string(facts.sysname) + " " + facts.release + (wide ? " [64-bit]" : " [32-bit]");
}

bool is_elevated_admin() { return geteuid() == 0; }

void signal_end_of_run(const std::string& name) {
    // Only one that somebody made already: like an event, it matters to someone who waits.
    sem_t* semaphore = sem_open(("/" + name).c_str(), 0);
    if (semaphore == SEM_FAILED) return;
    sem_post(semaphore);
    sem_close(semaphore);
}
