// What no sample volume holds: odd times, odd records, and the failures of the hash list.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "ntfs/file_record.h"
#include "report/exchange_formats.h"
#include "report/record_dump.h"
#include "report/report_output.h"
#include "support/program_run.h"
#include "walk/walkers.h"

namespace {

using build::day;
using build::reference;
using build::tick_2020;

// The report's lines for one record, behind its header line.
std::vector<std::string> rows(const build::record& record, const arguments& given) {
    auto lines = report_lines(build::mft_with({{7, record}}), given + arguments{"-mftstart", "7"});
    if (!lines.empty()) lines.erase(lines.begin());
    return lines;
}

build::record two_days() {
    return build::record().std_info({.created = tick_2020, .modified = tick_2020 + day}).name(u"n").data("four");
}

}  // namespace

TEST(body_file, seconds_names_and_kinds) {
    const std::pair<build::record, const char*> cases[] = {
        {build::record().std_info({0, 116444736000000000 - 10000000, ~0ull, tick_2020}).name(u"a|b").data(""),
         "0|[root]\\a|b (file)|7||0|0|0|1577836800|1844674407369|0|0"},
        {build::record().std_info().name(u"d").directory().deleted(),
         "0|[root]\\ (deleted - dir)|7||0|0|0|1577836800|1577836800|1577836800|1577836800"},
        {build::record().deleted().data("x"), "0| (deleted)|7||0|0|0|0|0|0|0"},
        {build::record().name(u"n").data("four", u"s"),
         "0|[root]\\n:s (file)|7||0|0|4|1577836800|1577836800|1577836800|1577836800"},
    };
    for (const auto& [record, line] : cases) {
        const auto lines = rows(record, {"-bodyfile"});
        EXPECT_EQ(lines.empty() ? "nothing" : lines[0], line);
    }
    EXPECT_TRUE(rows(build::record().name(u"only a name"), {"-bodyfile"}).empty());
}

TEST(timelines, the_body_file_wants_all_times_in_the_range_and_l2t_each) {
    const arguments second_day = {"-filter_start_time", "01/02/2020"}, up_to = {"-filter_stop_time", "01/01/2020"};
    EXPECT_EQ(rows(two_days(), second_day + arguments{"-csvl2t"}).size(), 1u);
    EXPECT_EQ(rows(two_days(), second_day + arguments{"-bodyfile"}).size(), 0u);
    EXPECT_EQ(rows(two_days(), up_to + arguments{"-csvl2t"}).size(), 3u) << "a stop alone is no range here";
    EXPECT_EQ(rows(two_days(), up_to + arguments{"-bodyfile"}).size(), 2u);
}

TEST(hash_list, a_failed_digest_an_empty_path_and_the_first_hit) {
    auto ctx = std::move(options_of({"-hashfile", "sha1,md5", "-mftfile", "x", "-base10"}).ctx);
    ctx->unalloc_phase = true;
    file_record record;
    bool made = false;
    record.std_infos.insert(std::uint16_t{0}, made);
    record.parents.insert(reference(5, 5), made);
    attr_entry& data = record.attributes.insert(attr_key{128}, made);
    data.raw.assign(24, 0);
    data.raw[16] = 9;  // a value that is not there
    data.type = type_data;
    data.label = "unnamed data";
    record.matches[match_signature].hit = record.matches[match_name].hit = true;
    record.matches[match_name].text = "n";
    std::ostringstream out;
    report_output results{out};
    write_hash_list(record, results, *ctx);
    ctx->want_md5 = false;
    write_hash_list(record, results, *ctx);  // kept: SHA-1 alone gives nothing
    EXPECT_EQ(out.str().substr(out.str().find('\n') + 1),
              std::string(32, '0') + "|" + std::string(40, '0') + "|0|9|| || || || |||unalloc-deleted|name(n)||\n");
}

TEST(record_dump, a_name_shows_under_each_parent_of_its_number_unless_paths_are_huge) {
    const auto ctx = std::move(options_of({"-find_mft", "7", "-mftfile", "x"}).ctx);
    file_record record;
    bool made = false;
    for (std::uint16_t sequence = 1; sequence < 3; ++sequence) {
        record.parents.insert(reference(9, sequence), made);
        record.file_names.insert(make_name_key(sequence, 0, 9, false), made).parent = reference(9, sequence);
    }
    for (const std::size_t path_bytes : {std::size_t{0}, record_cost_limit}) {
        record.costs.path_bytes = path_bytes;
        std::ostringstream out;
        report_output results{out};
        write_record_dump(record, results, *ctx);
        std::size_t names = 0;
        for (std::size_t at = 0; (at = out.str().find("Filename Attrib", at)) != std::string::npos; ++at) ++names;
        EXPECT_EQ(names, path_bytes == 0 ? 4u : 2u);
    }
}

TEST(rows_of_a_record, leave_in_one_write_and_none_behind_a_failure) {
    struct : std::stringbuf {
        std::vector<std::size_t> lines;  // of each write
        std::size_t taken = 2;           // writes until the disk is full
        std::streamsize xsputn(const char* text, std::streamsize count) override {
            lines.push_back(static_cast<std::size_t>(std::count(text, text + count, '\n')));
            return lines.size() > taken ? 0 : count;
        }
    } buffer;
    const auto walk = [&buffer](const char* format) {
        const temporary_file file(build::mft_with({{6, two_days()}, {7, two_days()}}));
        auto ctx =
            std::move(options_of({"-mftfile", file.path(), "-mftstart", "6", "-mftrange", "2", "-quiet", format}).ctx);
        std::ostream out(&buffer);
        buffer.lines.clear();
        report_output results{out};
        walk_mft_sequence(results, *ctx);
        return buffer.lines;
    };
    using counts = std::vector<std::size_t>;
    EXPECT_EQ(walk("-csv"), (counts{3, 2}));
    EXPECT_EQ(walk("-csvl2t"), (counts{4, 3}));
    EXPECT_EQ(walk("-bodyfile"), (counts{3, 2}));
    buffer.taken = 0;
    EXPECT_EQ(walk("-csv"), counts{3}) << "the walk ends at the first failed write";
}
