// Which records a run reports: the pipeline's order, the two logics, and the time verdicts.

#include <gtest/gtest.h>

#include "ntfs/file_record.h"
#include "support/program_run.h"
#include "support/record_builder.h"
#include "walk/acceptance.h"
#include "walk/time_analysis.h"
#include "walk/walk_state.h"

namespace {

using build::day;
using build::reference;
using build::tick_2020;

// Records 10 to 13: a text file of 2020, an older picture, a deleted text, a directory.
build::bytes four_records() {
    constexpr build::times old = {tick_2020 - 900 * day, tick_2020 - 900 * day, tick_2020 - 900 * day,
                                  tick_2020 - 900 * day};
    std::vector<build::bytes> records(14);
    records[10] = build::record().std_info().name(u"Note.txt").data(std::string(100, 'x')).data("MZ", u"ads").on_disk();
    records[11] = build::record()
                      .std_info(old)
                      .name(u"photo.JPG", build::win32, reference(13, 1), old)
                      .data(std::string(50, 'y'))
                      .on_disk();
    records[12] =
        build::record().deleted().sequence(2).std_info().name(u"gone.txt", build::win32, reference(13, 1)).on_disk();
    records[13] = build::record().directory().std_info().name(u"folder").on_disk();
    return build::mft(records);
}

// Numbers of the records reported, from 10 on.
std::string reported(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-csv", "-base10", "-mftstart", "10", "-mftrange", "9"});
    std::string numbers;
    for (const std::string& line : report_lines(four_records(), arguments)) {
        const std::string number = line.substr(0, line.find(','));
        if (number.find_first_not_of("0123456789") != std::string::npos) continue;
        if (!numbers.ends_with(number + " ")) numbers += number + " ";
    }
    return numbers;
}

std::string verdict(const build::record& record, bool extension = false) {
    std::vector<build::bytes> records(11);
    build::record changed = record;
    if (extension) changed.base(reference(6, 1));
    records[10] = changed.on_disk();
    const auto lines =
        report_lines(build::mft(records), {"-csvperpath", "-csv_separator", "|", "-no_whitespace", "-mftstart", "10"});
    return lines.size() < 2 ? "no row" : cells_of(lines[1], "|").at(28);
}

}  // namespace

TEST(acceptance, each_filter_alone_and_in_company) {
    const struct {
        std::vector<std::string> arguments;
        const char* numbers;
    } cases[] = {
        {{}, "10 11 12 13 "},
        {{"-filter_ext", ".TXT"}, "10 12 "},
        {{"-filter_ext", "jpg|none"}, "11 "},
        {{"-filter_name", "NOTE|older"}, "10 13 "},
        {{"-filter_fullname", "note.txt|fold"}, "10 "},
        {{"-filter_wildcard", "O?e.t"}, "10 12 "},
        {{"-filter_wildcard", "*"}, ""},
        {{"-filter_wildcard", "??"}, ""},
        {{"-filter_dir_inode", "13"}, "11 12 "},
        {{"-filter_dir_inode", "13", "-filter_fullname", "folder"}, "11 12 13 "},
        {{"-filter_inode", "0xB|12:x", "-filter_ext", "nothing"}, "11 12 "},
        {{"-filter_max_size", "60"}, "11 12 13 "},
        {{"-filter_min_size", "60"}, "10 "},
        {{"-filter_min_size", "40", "-filter_max_size", "60"}, "11 "},
        {{"-filter_deleted_files"}, "12 "},
        {{"-filter_deleted_files", "-filter_ext", "jpg"}, ""},
        {{"-filter_start_time", "01/01/2020"}, "10 12 13 "},
        {{"-filter_stop_time", "31-dec-2019"}, "11 "},
        {{"-filter_start_time", "01/01/2019", "-filter_ext", "jpg"}, ""},
        {{"-filter_sig", "mz"}, "10 11 12 13 "},  // rules want a volume: without one they pass
        {{"-filter_pattern", "4d 5a"}, "10 11 12 13 "},
        {{"-filter_dir", "\\folder"}, ""},
        {{"-filter_file", "\\note.txt"}, "10 11 12 13 "},
        {{"-filter_inode", "11", "-filter_ext", "txt", "-filter_AND_logic"}, "11 "},
        {{"-filter_name", "note", "-filter_ext", "jpg", "-filter_AND_logic"}, "10 11 "},
    };
    for (const auto& c : cases) {
        std::string what;
        for (const std::string& argument : c.arguments) what += argument + " ";
        EXPECT_EQ(reported(c.arguments), c.numbers) << what;
    }
}

TEST(acceptance, the_walk_keeps_to_its_range_and_survives_what_is_bad) {
    const build::bytes mft = four_records();
    EXPECT_EQ(report_lines(mft, {"-csv", "-mftrange", "11"}).size(), 4u);  // header, $MFT, root, record 10
    EXPECT_EQ(report_lines(mft, {"-csv", "-mftstart", "10", "-mftrange", "0xFFFFFFFFFFFFFFFF"}).size(), 5u);
    EXPECT_TRUE(report_lines(mft, {"-csv", "-mftstart", "0xFFFFFFFFFFFFFFFF"}).empty());
    build::bytes baad = mft;
    std::copy_n("BAAD", 4, baad.begin() + 10 * 1024);
    EXPECT_EQ(report_lines(baad, {"-csv", "-mftstart", "10"}).size(), 2u);
    build::bytes no_data = mft;
    build::poke_u32(no_data, build::attribute_at(no_data, 0x80), 0x90);
    EXPECT_TRUE(report_lines(no_data, {"-csv"}).empty());
    build::bytes cut = mft;
    cut.resize(10 * 1024 + 700);
    EXPECT_EQ(report_lines(cut, {"-csv"}).size(), 3u);
}

TEST(acceptance, attributes_begin_in_the_first_half_of_a_record) {
    mft_entries_ctx ctx;
    walk_state state;
    file_record record;
    for (const std::size_t first : {std::size_t{56}, std::size_t{512}, std::size_t{520}}) {
        build::bytes bytes = build::record().std_info().name(u"n").fixed_up();
        bytes.insert(bytes.begin() + 56, first - 56, 0);
        bytes.resize(1024);
        build::poke_u16(bytes, 20, static_cast<std::uint16_t>(first));
        EXPECT_EQ(parse_file_record(record, bytes, 40, ctx, state), first <= 512) << first;
    }
    const build::bytes small = build::record().std_info().fixed_up();
    EXPECT_TRUE(parse_file_record(record, {small.data(), 56 + 96 + 8}, 40, ctx, state));
    EXPECT_FALSE(parse_file_record(record, {small.data(), 56 + 71}, 40, ctx, state));
}

TEST(time_analysis, the_first_rule_that_fires_has_the_word) {
    const build::times clean = {}, later = {.created = tick_2020 + day + 1, .mft_changed = tick_2020 + day + 1};
    const auto named = [](const build::times& times) {
        return build::record().std_info().name(u"n", build::win32, reference(5, 5), times);
    };
    const struct {
        const char* what;
        build::record record;
        bool extension;
        const char* word;
    } cases[] = {
        {"nothing", named(clean), false, ""},
        {"no $STANDARD_INFORMATION", build::record().name(u"n"), false, "si:time absent"},
        {"an extension record needs none", build::record().name(u"n"), true, ""},
        {"an extension record without names", build::record().data("x"), true, "fn:time absent"},
        {"null ahead of a finding in the name",
         build::record().std_info({.modified = 0}).name(u"n", build::win32, reference(5, 5), later), false,
         "si:time null"},
        {"a null name time", named({.created = 0}), false, "fn:time null"},
        {"the future", named({.accessed = ~std::uint64_t{0} >> 1}), false, "fn:time future"},
        {"exactly a day", named({.created = tick_2020 + day, .mft_changed = tick_2020 + day}), false, ""},
        {"a tick more in both", named(later), false, "**:time warning"},
        {"in one of them", named({.created = tick_2020 + 2 * day}), false, ""},
        {"8.3 twin, accessed", named(clean).name(u"N~1", build::dos, reference(5, 5), {.accessed = tick_2020 + 1}),
         false, "fnSL:time diff"},
        {"8.3 twin, created", named(clean).name(u"N~1", build::dos, reference(5, 5), {.created = tick_2020 + 1}), false,
         ""},
        {"8.3 name of another directory",
         named(clean).name(u"N~1", build::dos, reference(6, 1), {.accessed = tick_2020 + 1}), false, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(verdict(c.record, c.extension), c.word) << c.what;
}
