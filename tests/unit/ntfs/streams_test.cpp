#include "ntfs/streams.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/open_volume.h"

namespace {

using build::bytes;
using build::hole;

constexpr std::uint64_t cluster = 1024;

opened_volume plain_volume() { return opened_volume(build::volume(64).mft({{8, 4}}).all()); }

stream_runs runs_of(std::vector<build::run> list, std::uint64_t first_vcn = 0) {
    stream_runs stream;
    for (const build::run& each : list) {
        const bool sparse = each.lcn == hole;
        stream.runs.push_back({sparse ? 0 : static_cast<std::uint64_t>(each.lcn), first_vcn, sparse,
                               static_cast<std::uint32_t>(each.clusters)});
        first_vcn += each.clusters;
    }
    return stream;
}

// (cluster, bytes of it), one behind the other; hole: zeros.
using pieces = std::vector<std::pair<std::int64_t, std::size_t>>;
bytes bytes_of(const pieces& list) {
    bytes out;
    for (const auto& [number, count] : list) {
        out.insert(out.end(), count,
                   number == hole ? std::uint8_t{0} : build::volume::fill_of(static_cast<std::uint64_t>(number)));
    }
    return out;
}

// Record 1 with one attribute; its list of runs and sizes as they lie on the disk.
struct one_stream {
    opened_volume opened;
    file_record record;

    one_stream(build::volume built, const bytes& record_1) : opened(built.mft({{4, 4}}, {record_1}).all()) {
        opened.decode(record, 1);
    }
    bool read(bytes& out) {
        return read_attribute_data(opened.ctx.volume.get(), record.attributes.begin()->value, sink_into(out),
                                   opened.ctx.log);
    }
};

bytes data_record(const std::vector<build::run>& runs, std::uint64_t size, std::uint32_t type = 0x80) {
    return build::record().non_resident(type, build::pairs(runs), size).on_disk();
}

// The same, flagged compressed. The pairs begin behind the longer header.
bytes compressed_record(const std::vector<build::run>& runs, std::uint64_t size, std::uint64_t allocated,
                        std::uint16_t flags = 1, std::uint8_t unit = 4, std::uint64_t stored = 1) {
    bytes head(8);  // the compressed size stands where the pairs begin otherwise
    build::poke_u64(head, 0, stored);
    const bytes list = build::pairs(runs);
    head.insert(head.end(), list.begin(), list.end());
    bytes record = build::record().non_resident(0x80, head, size).fixed_up();
    const std::size_t at = build::attribute_at(record, 0x80);
    build::poke_u16(record, at + 12, flags);
    build::poke_u16(record, at + 32, 72);
    record[at + 34] = unit;
    build::poke_u64(record, at + 40, allocated);
    build::poke_u16(record, 6, 0);  // no fixups
    return record;
}

}  // namespace

TEST(streams, a_cluster_is_found_in_the_first_run_that_holds_it) {
    stream_runs stream = runs_of({{2, 30}, {3, hole}, {1, 50}}, 10);
    stream.runs.push_back({99, 11, false, 8});  // overlaps, and comes later
    const struct {
        std::uint64_t vcn;
        bool found;
        std::size_t index;
        std::uint64_t lcn;
    } cases[] = {
        {9, false, 0, 0},  {10, true, 0, 30}, {11, true, 0, 31},
        {12, true, 1, 0},  {15, true, 2, 50}, {16, true, 3, 104},
        {19, false, 0, 0}, {11, true, 0, 31}, {~std::uint64_t{0}, false, 0, 0},
        {10, true, 0, 30},
    };
    for (const auto& c : cases) {
        std::size_t index = 0;
        std::uint64_t lcn = 0;
        ASSERT_EQ(lookup_vcn(stream, c.vcn, index, lcn), c.found) << c.vcn;
        if (!c.found) continue;
        EXPECT_EQ(std::pair(index, lcn), std::pair(c.index, c.lcn)) << c.vcn;
    }
}

TEST(streams, a_million_runs_are_passed_once) {
    stream_runs stream;
    for (std::uint64_t vcn = 0; vcn < 1'000'000; ++vcn) stream.runs.push_back({7 * vcn, vcn, false, 1});
    std::size_t index = 0;
    std::uint64_t lcn = 0;
    for (std::uint64_t vcn = 0; vcn < 1'000'000; ++vcn)
        ASSERT_TRUE(lookup_vcn(stream, vcn, index, lcn) && lcn == 7 * vcn);
    // So they are where the first number is the greatest, and the others wrap round.
    stream.runs.insert(stream.runs.begin(), {5, ~std::uint64_t{0}, false, 1});
    for (std::uint64_t vcn = 0; vcn < 1'000'000; ++vcn)
        ASSERT_TRUE(lookup_vcn(stream, vcn, index, lcn) && lcn == 7 * vcn);
    EXPECT_TRUE(lookup_vcn(stream, ~std::uint64_t{0}, index, lcn) && lcn == 5);
}

TEST(streams, runs_are_summed_and_closed_up) {
    stream_runs stream = runs_of({{2, 30}, {3, hole}, {1, 50}});
    EXPECT_EQ(run_bytes(stream.runs, 1024, false), 6 * 1024u);
    EXPECT_EQ(run_bytes(stream.runs, 1024, true), 3 * 1024u);
    EXPECT_EQ(run_bytes({{0, 0, false, 0xFFFFFFFF}, {0, 0, false, 0xFFFFFFFF}}, 65536, false), 0x1FFFFFFFEull << 16);
    const auto described = [](const stream_runs& list) {
        std::vector<std::pair<std::uint64_t, std::uint64_t>> out;
        for (const stream_run& run : list.runs) out.emplace_back(run.vcn, run.lcn);
        return out;
    };
    using list = std::vector<std::pair<std::uint64_t, std::uint64_t>>;
    EXPECT_EQ(described(stream), (list{{0, 30}, {2, 0}, {5, 50}}));
    drop_sparse_runs(stream);
    EXPECT_EQ(described(stream), (list{{0, 30}, {2, 50}}));
}

TEST(streams, a_range_is_cut_out_of_its_clusters) {
    constexpr std::uint32_t made = read_was_made, start = read_at_start, zeros = read_had_hole, unit = read_one_unit;
    const std::vector<build::run> plain = {{3, 30}, {2, 50}, {20, 10}}, sparse = {{1, 30}, {2, hole}, {2, 50}};
    const std::vector<build::run> ends_outside = {{2, 30}, {2, 1000}, {1, 33}};
    const struct {
        const char* what;
        std::vector<build::run> runs;
        std::uint64_t offset;
        std::uint32_t size, flags;
        bool came;
        pieces out;
        std::uint32_t flags_out;
    } cases[] = {
        {"one cluster", plain, 0, 1024, 0, true, {{30, 1024}}, made | start},
        {"inside one cluster", plain, 100, 200, 0, true, {{30, 200}}, made | start},
        {"over two runs, head and tail",
         plain,
         2 * 1024 + 1000,
         1024 + 100,
         0,
         true,
         {{32, 24}, {50, 1024}, {51, 76}},
         made},
        {"sixteen clusters",
         plain,
         0,
         16 * 1024,
         0,
         true,
         {{30, 1024},
          {31, 1024},
          {32, 1024},
          {50, 1024},
          {51, 1024},
          {10, 1024},
          {11, 1024},
          {12, 1024},
          {13, 1024},
          {14, 1024},
          {15, 1024},
          {16, 1024},
          {17, 1024},
          {18, 1024},
          {19, 1024},
          {20, 1024}},
         made | start | unit},
        {"holes are zeros", sparse, 512, 3 * 1024, 0, true, {{30, 512}, {hole, 2048}, {50, 512}}, made | start | zeros},
        {"holes left out, and the next cluster fills up",
         sparse,
         0,
         3 * 1024,
         1,
         true,
         {{30, 1024}, {50, 1024}},
         made | start},
        {"a hole left out at the start takes its head with it", sparse, 1024 + 100, 2048, 1, true, {{50, 1024}}, made},
        {"a hole left out at the end takes its tail with it", sparse, 100, 1024, 1, true, {{30, 924}}, made | start},
        {"short of the runs' end, the last cluster is cut as the range's last",
         sparse,
         4 * 1024,
         3 * 1024 + 9,
         0,
         true,
         {{51, 1024}},
         made},
        {"the same with a cluster ahead of it", sparse, 3 * 1024, 3 * 1024 + 9, 0, true, {{50, 1024}, {51, 9}}, made},
        {"behind the runs", sparse, 5 * 1024, 10, 0, false, {}, made},
        {"far behind", sparse, ~std::uint64_t{0} - 5, 10, 0, false, {}, made},
        {"only holes, left out", {{4, hole}}, 0, 1024, 1, false, {}, made | start},
        {"a cluster outside the source ends the read", ends_outside, 1024, 4 * 1024, 0, true, {{31, 1024}}, made},
        {"at once", ends_outside, 2 * 1024, 1024, 0, false, {}, made},
        {"no bytes", plain, 0, 0, 0, false, {}, made | start},
    };
    opened_volume opened = plain_volume();
    for (const auto& c : cases) {
        stream_runs stream = runs_of(c.runs);
        bytes buffer(c.size, 0xEE);
        std::uint32_t size = c.size, flags = c.flags;
        ASSERT_EQ(read_stream(opened.volume(), stream, c.offset, buffer.data(), size, flags), c.came) << c.what;
        EXPECT_EQ(flags, c.flags_out) << c.what;
        if (!c.came) continue;
        buffer.resize(size);
        EXPECT_EQ(buffer, bytes_of(c.out)) << c.what;
    }
}

TEST(streams, the_first_65536_clusters_count_as_a_start_again_and_again) {
    opened_volume opened = plain_volume();
    stream_runs stream = runs_of({{0x10000, hole}, {1, 30}});
    bytes buffer(cluster);
    std::uint32_t size = cluster, flags = 0;
    EXPECT_TRUE(read_stream(opened.volume(), stream, 0x10000 * cluster, buffer.data(), size, flags));
    EXPECT_EQ(flags, read_was_made | read_at_start);
}

TEST(streams, an_attribute_is_read_whole) {
    const build::volume built(64, cluster, 4);
    const std::vector<build::run> runs = {{1, 30}, {1, hole}, {1, 40}}, cut = {{1, 30}, {1, 1000}};
    const struct {
        const char* what;
        bytes record;
        bool whole;
        bytes out;
    } cases[] = {
        {"resident", build::record().data("words").on_disk(), true, {'w', 'o', 'r', 'd', 's'}},
        {"resident and empty", build::record().data("").on_disk(), false, {}},
        {"in clusters", data_record(runs, 2500), true, bytes_of({{30, 1024}, {hole, 1024}, {40, 452}})},
        {"larger than its runs", data_record(runs, 1 << 20), true, bytes_of({{30, 1024}, {hole, 1024}, {40, 1024}})},
        {"larger than anything", data_record(runs, ~std::uint64_t{0}), true,
         bytes_of({{30, 1024}, {hole, 1024}, {40, 1024}})},
        {"cut where the source ends", data_record(cut, 2048), false, bytes_of({{30, 1024}})},
        {"no runs", data_record({}, 2048), false, {}},
        {"of size 0", data_record(runs, 0), true, {}},
    };
    for (const auto& c : cases) {
        one_stream stream(built, c.record);
        bytes out;
        EXPECT_EQ(stream.read(out), c.whole) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
    one_stream stream(built, cases[0].record);
    bytes out;
    const attr_entry& attribute = stream.record.attributes.begin()->value;
    EXPECT_FALSE(read_attribute_data(nullptr, attribute, sink_into(out), stream.opened.ctx.log)) << "no volume";
}

TEST(streams, a_sink_that_refuses_ends_the_read) {
    one_stream stream(build::volume(64, cluster, 4), data_record({{40, 10}}, 40 * 1024));
    std::size_t calls = 0;
    const stream_sink refusing = {[](void* target, byte_view) { return ++*static_cast<std::size_t*>(target) < 2; },
                                  &calls};
    EXPECT_FALSE(read_attribute_data(stream.opened.ctx.volume.get(), stream.record.attributes.begin()->value, refusing,
                                     stream.opened.ctx.log));
    EXPECT_EQ(calls, 2u);
}

TEST(streams, index_blocks_are_fixed_up_block_by_block) {
    bytes blocks(2 * 4096 + 1024, 0x55);
    for (const std::size_t at : {0, 4096}) {
        build::poke_u16(blocks, at + 4, 40);
        build::poke_u16(blocks, at + 6, 9);
        for (std::size_t word = 1; word <= 8; ++word)
            build::poke_u16(blocks, at + 40 + 2 * word, static_cast<std::uint16_t>(at + word));
    }
    one_stream stream(build::volume(64, cluster, 4).put(30, blocks), data_record({{9, 30}}, blocks.size(), 0xA0));
    bytes out;
    ASSERT_TRUE(stream.read(out));
    bytes expected = blocks;
    for (const std::size_t at : {0, 4096}) {
        for (std::size_t word = 1; word <= 8; ++word)
            build::poke_u16(expected, at + 512 * word - 2, static_cast<std::uint16_t>(at + word));
    }
    EXPECT_EQ(out, expected);
}

TEST(streams, compressed_streams_are_read_unit_by_unit) {
    // A chunk of 4096 "z" and one of 4096 "y": the rest of the unit is a hole.
    const bytes packed = {0x03, 0xB0, 0x02, 'z', 0xFC, 0x0F, 0x03, 0xB0, 0x02, 'y', 0xFC, 0x0F, 0, 0};
    bytes two_chunks(4096, 'z');
    two_chunks.resize(8192, 'y');
    const bytes stored = bytes_of({{40, 1024},
                                   {41, 1024},
                                   {42, 1024},
                                   {43, 1024},
                                   {44, 1024},
                                   {45, 1024},
                                   {46, 1024},
                                   {47, 1024},
                                   {48, 1024},
                                   {49, 1024},
                                   {50, 1024},
                                   {51, 1024},
                                   {52, 1024},
                                   {53, 1024},
                                   {54, 1024},
                                   {55, 1024}});
    const auto joined = [](bytes left, const bytes& right, std::size_t count) {
        left.insert(left.end(), right.begin(), right.begin() + static_cast<std::ptrdiff_t>(count));
        return left;
    };
    const std::vector<build::run> packed_unit = {{1, 30}, {15, hole}};
    const struct {
        const char* what;
        bytes record;
        bool whole;
        bytes out;
    } cases[] = {
        {"one unit, decoded up to the size", compressed_record(packed_unit, 8000, 16384), true,
         bytes(two_chunks.begin(), two_chunks.begin() + 8000)},
        {"a stored unit ahead of a packed one", compressed_record({{16, 40}, {1, 30}, {15, hole}}, 16384 + 5000, 32768),
         true, joined(stored, two_chunks, 5000)},
        {"the last unit's slack makes it whole", compressed_record({{16, 40}, {2, 30}, {14, hole}}, 16384 + 100, 32768),
         true, joined(stored, two_chunks, 100)},
        {"a unit that is a hole", compressed_record({{16, hole}, {16, 40}}, 32768, 32768), true,
         joined(bytes(16384), stored, 16384)},
        {"slack that lies", compressed_record({{16, 40}, {1, 30}, {15, hole}}, 16384 + 100, ~std::uint64_t{0}), true,
         joined(stored, two_chunks, 100)},
        {"cut where the runs end", compressed_record({{16, 40}}, 16384, 16384), true, stored},
        {"a unit outside the source", compressed_record({{16, 40}, {16, 1000}}, 20000, 32768), false, stored},
        {"compressed and sparse: as stored",
         compressed_record(packed_unit, 3, 16384, 0x8001),
         true,
         {0x03, 0xB0, 0x02}},
        {"no compression unit: as stored", compressed_record(packed_unit, 3, 16384, 1, 0), true, {0x03, 0xB0, 0x02}},
        {"no compressed size: as stored", compressed_record(packed_unit, 3, 16384, 1, 4, 0), true, {0x03, 0xB0, 0x02}},
    };
    for (const auto& c : cases) {
        one_stream stream(build::volume(64, cluster, 4).put(30, packed), c.record);
        bytes out;
        EXPECT_EQ(stream.read(out), c.whole) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
}
