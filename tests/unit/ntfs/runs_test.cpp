#include "ntfs/runs.h"

#include <gtest/gtest.h>

#include "base/numbers.h"
#include "ntfs/layout.h"
#include "support/record_builder.h"

namespace {

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

std::vector<cluster_run> runs_of(const build::bytes& pairs, std::uint64_t first_vcn = 0) {
    const build::bytes record = build::record().non_resident(type_data, pairs, 4096, {}, first_vcn).fixed_up();
    const std::size_t at = build::attribute_at(record, type_data);
    std::vector<cluster_run> runs;
    EXPECT_TRUE(decode_runs(byte_view(record).part(at, 64 + pairs.size()), runs));
    return runs;
}

// "VCN+clusters@LCN" of each, in hexadecimal.
std::string places_of(const std::vector<cluster_run>& runs) {
    std::string text;
    for (const cluster_run& run : runs) {
        append_hex(text, run.start_vcn), append_hex(text += '+', run.clusters), append_hex(text += '@', run.lcn);
        text += ' ';
    }
    return text;
}

}  // namespace

TEST(mapping_pairs, deltas_count_from_the_last_real_run) {
    const build::bytes by_seven_bytes = {0x21, 1, 0, 1, 0x71, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00},
                       fifteen_bytes = {0xF1, 0x01, 1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 9, 9, 9, 9, 1, 0x00};
    const std::tuple<const char*, build::bytes, const char*> cases[] = {
        {"one run", {0x21, 0x18, 0x34, 0x56, 0x00}, "7+18@5634 "},
        {"forward", {0x11, 0x30, 0x60, 0x21, 0x10, 0x00, 0x01, 0x00}, "7+30@60 37+10@160 "},
        {"backwards by one", {0x11, 0x04, 0x60, 0x11, 0x04, 0xFF, 0x00}, "7+4@60 b+4@5f "},
        {"over a hole", {0x11, 0x30, 0x20, 0x01, 0x60, 0x11, 0x10, 0x30, 0x00}, "7+30@20 37+60@20 97+10@50 "},
        {"cut off in a pair", {0x21, 0x30}, "7+30@0 "},
        {"backwards by seven bytes", by_seven_bytes, "7+1@100 8+1@fe "},
        {"fifteen bytes of offset", fifteen_bytes, "7+1@807060504030201 "},
        {"nothing", {0x00}, ""},
    };
    for (const auto& [what, pairs, places] : cases) EXPECT_EQ(places_of(runs_of(pairs, 7)), places) << what;
    const auto runs = runs_of({0x11, 0x30, 0x60, 0x11, 0x04, 0xFF, 0x00});
    EXPECT_TRUE(runs[1].lcn_delta == 1 && runs[1].delta_negative);
    EXPECT_TRUE(runs[0].pair_offset == 64 && runs[0].offset_width == 1);
}

TEST(mapping_pairs, an_offset_of_zero_is_a_hole_behind_the_first_run_only) {
    std::vector<stream_run> runs;
    to_stream_runs(runs_of({0x11, 0x04, 0x00, 0x11, 0x04, 0x00, 0x01, 0x02, 0x11, 0x01, 0x09, 0x00}), runs);
    const bool sparse[] = {false, true, true, false};
    ASSERT_EQ(runs.size(), 4u);
    for (std::size_t index = 0; index < 4; ++index) EXPECT_EQ(runs[index].sparse, sparse[index]) << index;
    EXPECT_TRUE(runs[3].lcn == 9 && runs[3].vcn == 10);
}

TEST(mapping_pairs, the_decoder_with_text_tells_each_step) {
    std::vector<described_run> runs;
    const build::bytes pairs = {0x11, 0x30, 0x60, 0x01, 0x05, 0x11, 0x04, 0xFF, 0x00}, none = {0x00};
    ASSERT_TRUE(decode_runs_with_text(pairs, runs, type_data));
    EXPECT_EQ(runs[0].text + runs[1].text + runs[2].text,
              "\thdr: 0x11, 0x1 byte length, 0x1 byte offset\n\tnum clusters: 0x30\n\tlcn: 0x0 + 0x60 = 0x60\n"
              "\thdr: 0x1, 0x1 byte length, 0x0 byte offset\n\tnum clusters: 0x5\n"
              "\thdr: 0x11, 0x1 byte length, 0x1 byte offset\n\tnum clusters: 0x4\n\tlcn: 0x60 - 0x1 = 0x5f\n");
    EXPECT_TRUE(runs[1].lcn == all_ones && runs[2].lcn == 0x5F && runs[2].lcn_delta == all_ones);
    EXPECT_FALSE(decode_runs_with_text(none, runs, type_data));
}

TEST(mapping_pairs, of_two_runs_with_the_same_start_the_first_stays_whatever_the_order_of_the_parts) {
    for (const bool rising : {true, false}) {
        std::vector<cluster_run> runs(4);
        for (std::size_t at = 0; at < 4; ++at) runs[at].lcn = at + 1;
        runs[1].start_vcn = runs[2].start_vcn = rising ? 2 : 4;
        runs[3].start_vcn = rising ? 4 : 2;
        join_runs(runs);
        EXPECT_EQ(places_of(runs), rising ? "0+0@1 2+0@2 4+0@4 " : "0+0@1 2+0@4 4+0@2 ");
    }
}

TEST(mapping_pairs, a_list_ends_where_no_more_runs_are_wanted) {
    const build::bytes record = build::record(8192).non_resident(type_data, build::bytes(3000, 0x01), 4096).fixed_up();
    std::vector<cluster_run> runs;
    EXPECT_TRUE(decode_runs(byte_view(record).part(build::attribute_at(record, type_data), 8192), runs, 10));
    EXPECT_EQ(runs.size(), 10u);
}
