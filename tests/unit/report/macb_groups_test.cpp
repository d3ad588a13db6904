#include "report/macb_groups.h"

#include <gtest/gtest.h>

#include "support/record_builder.h"

namespace {

constexpr std::uint64_t base = build::tick_2020;

std::string rows_of(macb_input input) {
    macb_rows rows;
    group_macb(rows, input, time_mode_filetime);
    std::string text;
    for (const macb_row& row : rows) {
        text += std::to_string(row.time - base) + "=" + row.macb_text +
                (row.label_text.empty() ? "" : "{" + row.label_text + "}") + row.extra_text_a + " ";
    }
    return text;
}

macb_input four(std::uint64_t m, std::uint64_t a, std::uint64_t c, std::uint64_t b) {
    macb_input input;
    input.m = base + m;
    input.a = base + a;
    input.c = base + c;
    input.b = base + b;
    return input;
}

}  // namespace

TEST(macb_groups, equal_times_share_a_row_and_rows_rise) {
    const std::pair<macb_input, const char*> cases[] = {
        {four(1, 1, 1, 1), "1=MACB "},        {four(9, 9, 9, 2), "2=...B 9=MAC. "},
        {four(1, 2, 1, 2), "1=M.C. 2=.A.B "}, {four(4, 3, 2, 1), "1=...B 2=..C. 3=.A.. 4=M... "},
        {four(2, 1, 1, 1), "1=.ACB 2=M... "}, {four(2, 3, 1, 1), "1=..CB 2=M... 3=.A.. "},
    };
    for (const auto& [input, rows] : cases) EXPECT_EQ(rows_of(input), rows);
    macb_input without_birth = four(1, 1, 1, 1);
    without_birth.b = 0;
    EXPECT_EQ(rows_of(without_birth), "1=MAC. ");
}

TEST(macb_groups, labels_grow_in_step_with_the_letters) {
    macb_input input = four(1, 2, 1, 3);
    input.default_label = "$SI:";
    EXPECT_EQ(rows_of(input), "1=M.C.{$SI: [M.C.]} 2=.A..{$SI: [.A..]} 3=...B{$SI: [...B]} ");
    input = four(1, 1, 2, 2);
    input.label_m = "mod";
    input.label_a = "acc";
    EXPECT_EQ(rows_of(input), "1=MA..{mod; acc} 2=..CB ");
}

TEST(macb_groups, further_change_times_fold_in_or_stand_alone) {
    macb_input input = four(1, 2, 3, 4);
    input.extra_times = {base + 1, base + 4, base + 7};
    input.extra_labels = {"x1", "x4", "x7"};
    input.extra_texts_a = {"<1>", "<4>", "<7>"};
    EXPECT_EQ(rows_of(input), "1=M.C.{x1}<1> 2=.A.. 3=..C. 4=..CB{x4}<4> 7=..C.{x7}<7> ");
    input = four(1, 1, 1, 4);
    input.default_label = "$SI:";
    input.extra_times = {base + 4};
    input.extra_labels = {"x4"};
    EXPECT_EQ(rows_of(input), "1=MAC.{$SI: [MAC.]} 4=..CB{x4$SI: [..CB]} ");
}
