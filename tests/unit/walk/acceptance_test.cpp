// Which records a run reports: its range, what damage costs, and the time verdicts.

#include <gtest/gtest.h>

#include "ntfs/file_record.h"
#include "support/program_run.h"
#include "support/record_builder.h"
#include "walk/acceptance.h"
#include "walk/time_analysis.h"
#include "walk/walk_state.h"

namespace {

using build::day, build::record, build::reference, build::tick_2020;

std::string verdict(const record& made) {
    const auto lines = report_lines(build::mft_with({{10, made}}),
                                    {"-csvperpath", "-csv_separator", "|", "-no_whitespace", "-mftstart", "10"});
    return lines.size() < 2 ? "no row" : cells_of(lines[1], "|").at(28);
}

}  // namespace

TEST(acceptance, the_walk_keeps_to_its_range_and_survives_what_is_bad) {
    const record file = record().std_info().name(u"f").data("x");
    const build::bytes mft = build::mft_with({{10, file}, {11, file}, {13, file}});
    build::bytes no_data = mft, baad = mft, cut = mft;
    build::poke_u32(no_data, build::attribute_at(no_data, 0x80), 0x90);
    std::copy_n("BAAD", 4, baad.begin() + 10 * 1024);
    cut.resize(10 * 1024 + 700);
    const struct {
        const char* what;
        const build::bytes& mft;
        arguments given;
        std::size_t lines;  // the first is the header's
    } cases[] = {
        {"$MFT, root, record 10", mft, {"-mftrange", "11"}, 4},
        {"a range without an end", mft, {"-mftstart", "10", "-mftrange", "0xFFFFFFFFFFFFFFFF"}, 4},
        {"a start behind the end", mft, {"-mftstart", "0xFFFFFFFFFFFFFFFF"}, 0},
        {"a bad record", baad, {"-mftstart", "10"}, 2},
        {"no runs of $MFT", no_data, {}, 0},
        {"cut in record 10", cut, {}, 3},
    };
    for (const auto& c : cases) EXPECT_EQ(report_lines(c.mft, c.given + arguments{"-csv"}).size(), c.lines) << c.what;
}

TEST(acceptance, attributes_begin_in_the_first_half_of_a_record) {
    mft_entries_ctx ctx;
    walk_state state;
    file_record decoded;
    for (const std::size_t first : {56u, 512u, 520u}) {
        build::bytes bytes = record().std_info().name(u"n").fixed_up();
        bytes.insert(bytes.begin() + 56, first - 56, 0);
        bytes.resize(1024);
        build::poke_u16(bytes, 20, static_cast<std::uint16_t>(first));
        EXPECT_EQ(parse_file_record(decoded, bytes, 40, ctx, state), first <= 512) << first;
    }
    const build::bytes small = record().std_info().fixed_up();
    EXPECT_TRUE(parse_file_record(decoded, {small.data(), 56 + 96 + 8}, 40, ctx, state));
    EXPECT_FALSE(parse_file_record(decoded, {small.data(), 56 + 71}, 40, ctx, state));
}

TEST(time_analysis, the_first_rule_that_fires_has_the_word) {
    const build::times later = {.created = tick_2020 + day + 1, .mft_changed = tick_2020 + day + 1};
    const auto named = [](const build::times& times, record made = record().std_info()) {
        return made.name(u"n", build::win32, reference(5, 5), times);
    };
    const auto twin = [&](const build::times& times, std::uint64_t parent = reference(5, 5)) {
        return named({}).name(u"N~1", build::dos, parent, times);
    };
    const std::tuple<const char*, record, const char*> cases[] = {
        {"nothing", named({}), ""},
        {"no $STANDARD_INFORMATION", record().name(u"n"), "si:time absent"},
        {"an extension record needs none", record().name(u"n").base(reference(6, 1)), ""},
        {"an extension record without names", record().data("x").base(reference(6, 1)), "fn:time absent"},
        {"null ahead of a finding in the name", named(later, record().std_info({.modified = 0})), "si:time null"},
        {"a null name time", named({.created = 0}), "fn:time null"},
        {"the future", named({.accessed = ~std::uint64_t{0} >> 1}), "fn:time future"},
        {"exactly a day", named({.created = tick_2020 + day, .mft_changed = tick_2020 + day}), ""},
        {"a tick more in both", named(later), "**:time warning"},
        {"in one of them", named({.created = tick_2020 + 2 * day}), ""},
        {"8.3 twin, accessed", twin({.accessed = tick_2020 + 1}), "fnSL:time diff"},
        {"8.3 twin, created", twin({.created = tick_2020 + 1}), ""},
        {"8.3 name of another directory", twin({.accessed = tick_2020 + 1}, reference(6, 1)), ""},
    };
    for (const auto& [what, made, word] : cases) EXPECT_EQ(verdict(made), word) << what;
}
