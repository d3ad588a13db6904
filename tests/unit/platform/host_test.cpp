#include "platform/host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

#include "platform/console.h"

namespace {

TEST(host_facts, the_clock_is_the_systems) {
    const clock_reading now = read_clock();
    const std::time_t reference = std::time(nullptr);
    EXPECT_LE(std::abs(now.seconds - reference), 2);
    EXPECT_LT(now.milliseconds, 1000u);

    const local_moment local = local_time_now();
    std::tm fields{};
    fields.tm_year = local.year - 1900;
    fields.tm_mon = local.month - 1;
    fields.tm_mday = local.day;
    fields.tm_hour = local.hour;
    fields.tm_min = local.minute;
    fields.tm_sec = local.second;
    fields.tm_isdst = -1;
    EXPECT_LE(std::abs(std::mktime(&fields) - reference), 2);
    EXPECT_TRUE(local.millisecond >= 0 && local.millisecond < 1000);
}

TEST(host_facts, machine_and_system_have_names) {
    EXPECT_NE(computer_name(), "");
    EXPECT_EQ(computer_name().find('\0'), std::string::npos);
    EXPECT_NE(system_text().find(sizeof(void*) == 8 ? "[64-bit]" : "-bit]"), std::string::npos);
    EXPECT_NE(system_text().find_first_of("123456789"), std::string::npos);
}

TEST(host_facts, a_signal_that_nobody_waits_for_is_silent) {
    testing::internal::CaptureStderr();
    for (const char* name : {"nobody_waits_here", "", "a/b\\c"}) signal_end_of_run(name);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(console, text_goes_out_at_once_and_unchanged_but_for_line_ends) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const std::string row(70'000, 'x');
    standard_output() << "r\u00E9sum\u00E9\n" << 'c' << '\n' << row << '\n';
    write_standard_error("two\nlines");
    EXPECT_TRUE(standard_output().good());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "r\u00E9sum\u00E9\nc\n" + row + "\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "two\nlines");
}

}  // namespace
