#include <gtest/gtest.h>

#include <sstream>

#include "report/report_output.h"
#include "support/open_volume.h"
#include "walk/filters.h"
#include "walk/walkers.h"

namespace {

using build::bytes, build::content_of, build::hole;

// The names in the report's rows, in their order.
std::string names_of(opened_volume& opened) {
    std::stringstream out;
    opened.ctx.filepath_only = opened.ctx.format_csvgen = true;
    report_output results{out};
    walk_mft_sequence(results, opened.ctx);
    std::string names;
    for (std::string line; std::getline(out, line);) {
        const std::size_t at = line.find("file-");
        if (at != std::string::npos) names += line[at + 5];
    }
    return names;
}

std::vector<bytes> five_files() {
    std::vector<bytes> records;
    for (const char16_t* name : {u"file-1", u"file-2", u"file-3", u"file-4", u"file-5"})
        records.push_back(build::record().std_info().name(name).data("x").on_disk());
    return records;
}
const std::vector<bytes> five = five_files();

}  // namespace

TEST(volume_walk, records_come_in_their_order_wherever_the_runs_lie) {
    constexpr std::uint64_t absurd = 1ull << 62, most = 0xFFFFFFFF;
    const struct {
        const char* what;
        std::vector<build::run> runs;
        std::uint64_t declared;
        std::size_t kept;
        const char* names;
    } cases[] = {
        {"one run", {{8, 4}}, 8192, 64, "12345"},
        {"scattered, backwards", {{1, 4}, {2, 50}, {1, 20}, {4, 40}}, 8192, 64, "12345"},
        {"declared larger than its runs", {{6, 4}}, absurd, 64, "12345"},
        {"runs that no disk can hold", {{1, 4}, {2, 30}, {most, 1 << 20}, {3, 20}}, absurd, 64, "12"},
        {"declared smaller", {{8, 4}}, 3072, 64, "12"},
        {"the image cut in the middle of $MFT", {{1, 4}, {5, 10}}, 8192, 13, "123"},
        {"declared empty", {{8, 4}}, 4, 64, ""},
    };
    for (const auto& c : cases) {
        // The declared size is also the initialised one, and rounded up to 4096 the allocated one, which counts.
        bytes image = build::volume(64).mft(c.runs, five, c.declared).all();
        const std::size_t at = 4 * 1024 + build::attribute_at(bytes(image.begin() + 4096, image.begin() + 5120), 0x80);
        build::poke_u64(image, at + 40, c.declared);
        image.resize(c.kept * 1024);
        opened_volume opened(image);
        EXPECT_EQ(names_of(opened), c.names) << c.what;
        EXPECT_EQ(opened.ctx.volume, nullptr) << "closed at the end of the walk";
    }
}

TEST(volume_walk, a_block_that_cannot_be_read_costs_only_the_records_that_cannot) {
    const struct {
        const char* what;
        std::uint64_t bad, cut;
        const char* names;
        std::size_t most_reads;
    } cases[] = {
        {"sound", 0, 64, "12345", 2},  // record 0, and all of them in one
        {"a bad sector in the third", 7 * 1024 + 512, 64, "1245", 16},
        {"the image cut in the fourth", 0, 8, "123", 16},
    };
    for (const auto& c : cases) {
        bytes image = build::volume(64).mft({{8, 4}}, five).all();
        image.resize(c.cut * 1024 + (c.cut < 64 ? 100 : 0));
        opened_volume opened(image);
        ASSERT_TRUE(opened.valid()) << c.what;
        if (c.bad != 0) opened.disk->bad = {{c.bad, c.bad + 512}};
        std::size_t reads = 0;
        opened.disk->reads_outlive = &reads;  // the walk closes its source
        EXPECT_EQ(names_of(opened), c.names) << c.what;
        EXPECT_LE(reads, c.most_reads) << c.what;
    }
    opened_volume shrunk(build::volume(64).mft({{8, 4}}, five).all());
    shrunk.disk->shrunk_to = 8 * 1024 + 100;  // behind its open
    auto log = std::make_unique<std::ostringstream>();
    const std::ostringstream& told = *log;
    shrunk.ctx.diags_log.stream = std::move(log);
    EXPECT_EQ(names_of(shrunk), "123");
    EXPECT_TRUE(told.str().starts_with("->err: record 4 is cut: the source became shorter\n")) << told.str();
}

TEST(volume_walk, a_range_ends_with_its_count_or_with_the_mft) {
    const std::tuple<std::uint64_t, std::uint64_t, const char*> cases[] = {{2, 2, "23"}, {4, ~0ull, "45"}};
    for (const auto& [start, count, names] : cases) {
        opened_volume opened(build::volume(64).mft({{6, 4}}, five).all());
        opened.ctx.mft_start = start;
        opened.ctx.mft_count = count;
        EXPECT_EQ(names_of(opened), names);
    }
}

TEST(volume_walk, head_bytes_come_from_the_first_cluster_or_through_the_runs) {
    const bytes in_record = build::record().data("short").on_disk();
    const auto in_clusters = [](const std::vector<build::run>& runs) {
        return build::record().non_resident(0x80, build::pairs(runs), 3000).on_disk();
    };
    const bytes two_runs = in_clusters({{1, 30}, {1, 40}});
    const struct {
        const char* what;
        bytes record;
        std::uint64_t start;
        std::uint32_t length;
        bytes head;  // none: false
    } cases[] = {
        {"resident, and shorter", in_record, 0, 32, {'s', 'h', 'o', 'r', 't'}},
        {"resident: the start is not looked at", in_record, 3, 2, {'s', 'h'}},
        {"below a cluster", two_runs, 0, 32, content_of({{30, 32}})},
        {"a whole cluster and more", two_runs, 0, 1024 + 10, content_of({{30}, {40, 10}})},
        {"from a start", two_runs, 1000, 100, content_of({{30, 24}, {40, 76}})},
        {"a hole", in_clusters({{1, hole}, {1, 40}}), 0, 8, bytes(8)},
        {"beyond the stream: the length stays", in_clusters({{1, 30}}), 0, 2048, content_of({{30}, {hole}})},
        {"outside the source", in_clusters({{1, 1000}}), 0, 32, {}},
        {"no runs", in_clusters({}), 0, 32, {}},
        {"no bytes wanted", in_clusters({{1, 30}}), 0, 0, {}},
    };
    for (const auto& c : cases) {
        opened_volume opened(build::volume(64).mft({{8, 4}}, {c.record}).all());
        file_record record;
        ASSERT_TRUE(opened.decode(record, 1)) << c.what;
        attr_entry& attribute = record.attributes.begin()->value;
        EXPECT_EQ(fetch_attribute_head(attribute, opened.ctx, c.start, c.length), !c.head.empty()) << c.what;
        EXPECT_EQ(attribute.head_bytes, c.head) << c.what;
    }
}
