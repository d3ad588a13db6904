#include "ntfs/streams.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "support/open_volume.h"

namespace {

using build::bytes, build::content_of, build::hole, build::operator+;

constexpr std::uint64_t cluster = 1024;

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
    bytes record = build::record().non_resident(0x80, head + build::pairs(runs), size).fixed_up();
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
    stream.runs.push_back({99, 11, false, 8});            // overlaps, and comes later
    using place = std::pair<std::size_t, std::uint64_t>;  // index and LCN
    const std::pair<std::uint64_t, std::optional<place>> cases[] = {
        {9, {}},          {10, {{0, 30}}}, {11, {{0, 31}}}, {12, {{1, 0}}}, {15, {{2, 50}}},
        {16, {{3, 104}}}, {19, {}},        {11, {{0, 31}}}, {~0ull, {}},    {10, {{0, 30}}},
    };
    for (const auto& [vcn, expected] : cases) {
        place found;
        ASSERT_EQ(lookup_vcn(stream, vcn, found.first, found.second), expected.has_value()) << vcn;
        EXPECT_EQ(found, expected.value_or(found)) << vcn;
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
    drop_sparse_runs(stream);
    std::string left;
    for (const stream_run& run : stream.runs) left += std::to_string(run.vcn) + "=" + std::to_string(run.lcn) + " ";
    EXPECT_EQ(left, "0=30 2=50 ");
}

TEST(streams, a_range_is_cut_out_of_its_clusters) {
    constexpr std::uint32_t made = read_was_made, first = made | read_at_start, left_out = 1;
    const std::vector<build::run> plain = {{3, 30}, {2, 50}, {20, 10}}, sparse = {{1, 30}, {2, hole}, {2, 50}};
    const std::vector<build::run> ends_outside = {{2, 30}, {2, 1000}, {1, 33}}, holes = {{0x10000, hole}, {1, 30}};
    const struct {
        const char* what;
        std::vector<build::run> runs;
        std::uint64_t offset;
        std::uint32_t size, flags;
        std::vector<build::piece> out;  // none: nothing came
        std::uint32_t flags_out;
    } cases[] = {
        {"one cluster", plain, 0, 1024, 0, {{30}}, first},
        {"inside one cluster", plain, 100, 200, 0, {{30, 200}}, first},
        {"over two runs, head and tail", plain, 2 * 1024 + 1000, 1024 + 100, 0, {{32, 24}, {50}, {51, 76}}, made},
        {"one unit", plain, 0, 16384, 0, {{30, 3072}, {50, 2048}, {10, 11264}}, first | read_one_unit},
        {"holes are zeros", sparse, 512, 3072, 0, {{30, 512}, {hole, 2048}, {50, 512}}, first | read_had_hole},
        {"holes left out, and the next cluster fills up", sparse, 0, 3072, left_out, {{30}, {50}}, first},
        {"a hole left out takes its head with it", sparse, 1024 + 100, 2048, left_out, {{50}}, made},
        {"a hole left out takes its tail with it", sparse, 100, 1024, left_out, {{30, 924}}, first},
        {"short of the runs' end, cut as the range's last", sparse, 4 * 1024, 3072 + 9, 0, {{51}}, made},
        {"the same with a cluster ahead of it", sparse, 3 * 1024, 3072 + 9, 0, {{50}, {51, 9}}, made},
        {"behind the runs", sparse, 5 * 1024, 10, 0, {}, made},
        {"far behind", sparse, ~0ull - 5, 10, 0, {}, made},
        {"only holes, left out", {{4, hole}}, 0, 1024, left_out, {}, first},
        {"a cluster outside the source ends the read", ends_outside, 1024, 4096, 0, {{31}}, made},
        {"at once", ends_outside, 2 * 1024, 1024, 0, {}, made},
        {"no bytes", plain, 0, 0, 0, {}, first},
        {"kept: behind 65536 clusters a start again", holes, 0x10000 * cluster, 1024, 0, {{30}}, first},
    };
    opened_volume opened(build::volume(64).mft({{8, 4}}).all());
    for (const auto& c : cases) {
        stream_runs stream = runs_of(c.runs);
        bytes buffer(c.size, 0xEE);
        std::uint32_t size = c.size, flags = c.flags;
        ASSERT_EQ(read_stream(opened.volume(), stream, c.offset, buffer.data(), size, flags), !c.out.empty()) << c.what;
        EXPECT_EQ(flags, c.flags_out) << c.what;
        if (c.out.empty()) continue;
        buffer.resize(size);
        EXPECT_EQ(buffer, content_of(c.out)) << c.what;
    }
}

TEST(streams, an_attribute_is_read_whole) {
    const build::volume built(64, cluster, 4);
    const std::vector<build::run> runs = {{1, 30}, {1, hole}, {1, 40}}, cut = {{1, 30}, {1, 1000}};
    const bytes all = content_of({{30}, {hole}, {40}});
    const struct {
        const char* what;
        bytes record;
        bool whole;
        bytes out;
    } cases[] = {
        {"resident", build::record().data("words").on_disk(), true, {'w', 'o', 'r', 'd', 's'}},
        {"resident and empty", build::record().data("").on_disk(), false, {}},
        {"in clusters", data_record(runs, 2500), true, bytes(all.begin(), all.begin() + 2500)},
        {"larger than its runs", data_record(runs, 1 << 20), true, all},
        {"larger than anything", data_record(runs, ~0ull), true, all},
        {"cut where the source ends", data_record(cut, 2048), false, content_of({{30}})},
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
    for (const std::size_t at : {0, 4096}) build::poke_u32(blocks, at + 4, 9 << 16 | 40);
    const auto put_words = [](bytes& target, std::size_t first, std::size_t step) {
        for (const std::size_t at : {0, 4096}) {
            for (std::size_t word = 0; word < 8; ++word)
                build::poke_u16(target, at + first + step * word, static_cast<std::uint16_t>(at + 1 + word));
        }
    };
    put_words(blocks, 42, 2);
    bytes expected = blocks;
    put_words(expected, 510, 512);
    one_stream stream(build::volume(64, cluster, 4).put(30, blocks), data_record({{9, 30}}, blocks.size(), 0xA0));
    bytes out;
    ASSERT_TRUE(stream.read(out));
    EXPECT_EQ(out, expected);
}

TEST(streams, compressed_streams_are_read_unit_by_unit) {
    // A chunk of 4096 "z" and one of 4096 "y": the rest of the unit is a hole.
    const bytes packed = {0x03, 0xB0, 0x02, 'z', 0xFC, 0x0F, 0x03, 0xB0, 0x02, 'y', 0xFC, 0x0F, 0, 0};
    const bytes as_it_lies(packed.begin(), packed.begin() + 3), stored = content_of({{40, 16384}});
    // A stored unit, or a hole in its place, and so many bytes of the packed one.
    const auto and_unpacked = [](bytes ahead, std::size_t count) {
        ahead.resize(ahead.size() + std::min<std::size_t>(count, 4096), 'z');
        ahead.resize(ahead.size() + count - std::min<std::size_t>(count, 4096), 'y');
        return ahead;
    };
    const std::vector<build::run> one = {{1, 30}, {15, hole}}, two = {{16, 40}, {1, 30}, {15, hole}},
                                  longer = {{16, 40}, {2, 30}, {14, hole}}, hole_first = {{16, hole}, {16, 40}},
                                  outside = {{16, 40}, {16, 1000}};
    const struct {
        const char* what;
        bytes record;
        bool whole;
        bytes out;
    } cases[] = {
        {"decoded up to the size", compressed_record(one, 8000, 16384), true, and_unpacked({}, 8000)},
        {"stored ahead of packed", compressed_record(two, 21384, 32768), true, and_unpacked(stored, 5000)},
        {"slack makes it whole", compressed_record(longer, 16484, 32768), true, and_unpacked(stored, 100)},
        {"slack that lies", compressed_record(two, 16484, ~0ull), true, and_unpacked(stored, 100)},
        {"a unit of a hole", compressed_record(hole_first, 32768, 32768), true, bytes(16384) + stored},
        {"cut where the runs end", compressed_record({{16, 40}}, 16384, 16384), true, stored},
        {"a unit outside the source", compressed_record(outside, 20000, 32768), false, stored},
        {"compressed and sparse: as stored", compressed_record(one, 3, 16384, 0x8001), true, as_it_lies},
        {"no compression unit: as stored", compressed_record(one, 3, 16384, 1, 0), true, as_it_lies},
        {"no compressed size: as stored", compressed_record(one, 3, 16384, 1, 4, 0), true, as_it_lies},
    };
    for (const auto& c : cases) {
        one_stream stream(build::volume(64, cluster, 4).put(30, packed), c.record);
        bytes out;
        EXPECT_EQ(stream.read(out), c.whole) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
}
