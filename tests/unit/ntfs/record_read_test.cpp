#include "ntfs/record_read.h"

#include <gtest/gtest.h>

#include "ntfs/attribute_list.h"
#include "run/run_context.h"
#include "support/program_run.h"
#include "support/record_builder.h"
#include "walk/open_source.h"

namespace {

using build::mft_with, build::record, build::reference;

// An extracted $MFT opened as the run's source.
struct opened_mft {
    temporary_file file;
    read_options read;

    explicit opened_mft(const build::bytes& bytes) : file(bytes), read(options_of({"-mftfile", file.path()})) {
        open_and_prepare(*read.ctx);
    }
    bool decode(file_record& out, std::uint64_t inode) { return read_and_decode_record(out, *read.ctx, inode, false); }
    bool bytes(std::uint64_t inode, bool& bad) {
        std::vector<std::uint8_t> buffer;
        return read_file_record(buffer, bad, *read.ctx, inode) && !buffer.empty();
    }
};

// Record 8 with what its lists lead to; of what was decoded before nothing may be left.
file_record& record_8(const std::vector<build::placed>& items) {
    static file_record decoded;
    opened_mft mft(mft_with(items));
    EXPECT_TRUE(mft.decode(decoded, 8));
    return decoded;
}
record part_of_8() { return record().base(reference(8, 1)); }
record with_list(const std::vector<build::list_entry>& entries) { return record().std_info().attribute_list(entries); }

}  // namespace

TEST(record_read, signatures_and_the_limits_of_the_update_sequence_decide) {
    const build::bytes good = record().std_info().on_disk();
    const auto damaged = [&good](std::size_t at, std::uint16_t value) {
        build::bytes bytes = good;
        return build::poke_u16(bytes, at, value), bytes;
    };
    const struct {
        const char* what;
        build::bytes bytes;
        bool read, bad;
    } cases[] = {
        {"a record", good, true, false},
        {"older header", record(1024, 42).std_info().on_disk(), true, false},
        {"array too far behind", damaged(4, 56), false, false},
        {"too many words", damaged(6, 10), false, false},
        {"bad sectors", record().std_info().signature("BAAD").on_disk(), true, true},
        {"an index block has no limits", record().std_info().signature("INDX").on_disk(), true, false},
        {"zeros", build::bytes(1024), false, false},
    };
    for (const auto& c : cases) {
        opened_mft mft(build::mft({{}, {}, {}, {}, {}, {}, c.bytes}));
        bool bad = false;
        EXPECT_EQ(mft.bytes(6, bad), c.read) << c.what;
        EXPECT_EQ(bad, c.bad) << c.what;
        file_record decoded;
        EXPECT_EQ(mft.decode(decoded, 6), c.read && !c.bad) << c.what;
    }
}

TEST(record_read, fixups_put_the_words_back_without_comparing_them) {
    const std::string text(700, 'x');
    build::bytes torn = record().std_info().data(text).on_disk();
    build::poke_u16(torn, 510, 0xBEEF);
    opened_mft mft(build::mft({{}, {}, {}, {}, {}, {}, torn}));
    file_record decoded;
    ASSERT_TRUE(mft.decode(decoded, 6));
    const attr_entry& data = decoded.attributes.begin()->value;
    EXPECT_EQ(std::string(data.raw.end() - 704, data.raw.end() - 4), text);
}

TEST(record_read, the_first_record_says_how_large_they_are) {
    for (const std::size_t size : {1024u, 4096u}) {
        opened_mft mft(build::mft({{}, {}, {}, {}, {}, {}, record(size).std_info().name(u"last").on_disk()}, size));
        file_record decoded;
        ASSERT_TRUE(mft.decode(decoded, 6));
        EXPECT_EQ(decoded.file_names.begin()->value.name, u"last");
        EXPECT_EQ(mft.read.ctx->record_size, size);
    }
    build::bytes none = build::mft({});
    build::poke_u16(none, 6, 0);
    file_record decoded;
    EXPECT_FALSE(opened_mft(none).decode(decoded, 0));
}

TEST(record_read, attribute_lists_bring_in_what_lies_in_other_records) {
    const build::bytes runs = {0x11, 0x02, 0x10, 0x00}, more = {0x11, 0x03, 0x40, 0x00};
    // The list stands ahead of the base's own $DATA: the continuation arrives before the part it continues.
    const record base = with_list({{0x80, reference(8, 1), 2},
                                   {0x80, reference(9, 7), 3},  // the sequence is stale
                                   {0x30, reference(10, 1), 1},
                                   {0x80, reference(77, 1), 0},
                                   {0x80, reference(11, 1), 0}})
                            .id(2)
                            .non_resident(0x80, runs, 5 * 4096, u"s");
    std::vector<build::bytes> records(12);
    records[8] = base.on_disk();
    records[9] = part_of_8().id(3).non_resident(0x80, more, 0, u"s", 2).on_disk();
    records[10] = part_of_8().id(1).name(u"from the list").on_disk();
    records[11] = part_of_8().id(5).data("").on_disk();
    build::poke_u32(records[11], build::attribute_at(records[11], 0x80) + 4, 0);  // without an end
    opened_mft mft(build::mft(records));
    file_record decoded;
    ASSERT_TRUE(mft.decode(decoded, 8));
    EXPECT_TRUE(decoded.has_attribute_list);
    EXPECT_EQ(decoded.file_names.begin()->value.name, u"from the list");
    ASSERT_EQ(decoded.attributes.size(), 1u);
    const attr_entry& stream = decoded.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 2u);
    EXPECT_EQ(stream.runs[1].lcn, 0x40u);
    EXPECT_EQ(stream.data_size(), 5u * 4096);
}

TEST(record_read, parts_of_a_stream_join_in_any_order_and_under_colliding_ids) {
    const auto part = [](record made, std::uint8_t lcn, std::uint64_t vcn, std::u16string_view name = {}) {
        return made.non_resident(0x80, {0x11, 0x02, lcn, 0x00}, vcn == 0 ? 6 * 4096 : 0, name, vcn);
    };
    const build::list_entry in_9{0x80, reference(9, 1), 0}, in_10{0x80, reference(10, 1), 0},
        in_11{0x80, reference(11, 1), 0};
    // The continuation of another stream, whose first part is nowhere, finds its key taken.
    const file_record& joined = record_8({{8, part(with_list({in_9, in_10, in_11}).id(0), 0x10, 0)},
                                          {9, part(part_of_8(), 0x30, 4)},
                                          {10, part(part_of_8(), 0x20, 2)},
                                          {11, part(part_of_8(), 0x50, 2, u"lost")}});
    ASSERT_EQ(joined.attributes.size(), 1u);
    const attr_entry& stream = joined.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 3u);
    for (std::size_t index = 0; index < 3; ++index) EXPECT_EQ(stream.runs[index].lcn, 0x10u * (index + 1));
    EXPECT_EQ(stream.data_size(), 6u * 4096);
    const file_record& named = record_8({{8, part(with_list({in_10, in_11}).id(4), 0x10, 0)},
                                         {10, part(part_of_8(), 0x20, 2)},
                                         {11, part_of_8().data("other stream", u"kept")}});
    ASSERT_EQ(named.attributes.size(), 2u);
    EXPECT_EQ(named.attributes.begin()->value.name, u"kept");
}

TEST(record_read, an_entry_counts_that_begins_within_its_list) {
    for (const std::uint32_t length : {32u, 33u}) {
        build::bytes whole = mft_with({{8, with_list({{0x30, reference(9, 1), 0}, {0x30, reference(10, 1), 0}})},
                                       {9, part_of_8().name(u"one")},
                                       {10, part_of_8().name(u"two", build::win32, 7)}});
        build::poke_u32(whole, 8 * 1024 + 56 + 96 + 16, length);
        opened_mft mft(whole);
        file_record decoded;
        ASSERT_TRUE(mft.decode(decoded, 8));
        EXPECT_EQ(decoded.file_names.size(), length - 31);
    }
}

TEST(record_read, what_a_list_names_again_is_not_read_again) {
    const build::list_entry part{0x80, reference(9, 1), 3}, other{0x30, reference(10, 1), 0};
    const file_record& decoded = record_8({{8, with_list({part, other, part, other, part, other})},
                                           {9, part_of_8().id(3).non_resident(0x80, {0x11, 1, 1, 0}, 0, u"s", 2)},
                                           {10, part_of_8().name(u"a")}});
    EXPECT_EQ(decoded.costs.read_bytes, 2u * 1024);
    EXPECT_EQ(decoded.costs.list_bytes, 6u * 32);
    ASSERT_EQ(decoded.attributes.size(), 1u);
    EXPECT_EQ(decoded.attributes.begin()->value.runs.size(), 1u);
}

TEST(record_read, all_lists_of_a_record_together_end_at_256_kib) {
    // Entries of the first list lead to the record itself; with 8192 of them nothing is left for the second.
    opened_mft mft(mft_with({{9, part_of_8().name(u"behind")}}));
    for (const std::size_t entries : {8192u, 8191u}) {
        const build::bytes base = record(1 << 19)
                                      .std_info()
                                      .attribute_list(std::vector<build::list_entry>(entries, {0x30, 8, 0}))
                                      .attribute_list({{0x30, reference(9, 1), 0}})
                                      .fixed_up();
        file_record decoded;
        std::size_t at = build::attribute_at(base, 0x20);
        process_attribute_list(decoded, *mft.read.ctx, 8, base, at, false);
        at += byte_view(base).u32(at + 4);
        process_attribute_list(decoded, *mft.read.ctx, 8, base, at, false);
        EXPECT_EQ(decoded.file_names.size(), 8192 - entries);
    }
}

TEST(record_read, a_record_holds_no_more_than_its_share_and_any_order_of_keys) {
    mft_entries_ctx ctx;
    file_record decoded;
    bool is_list = false;
    for (std::uint16_t id = 300; id-- > 0;) {
        const build::bytes bytes = record().id(id).data("x").fixed_up();
        ASSERT_TRUE(decode_attribute(decoded, ctx, bytes, 56, {}, is_list));
    }
    EXPECT_TRUE(std::is_sorted(decoded.attributes.begin(), decoded.attributes.end(),
                               [](const auto& left, const auto& right) { return left.key < right.key; }));
    ASSERT_EQ(decoded.attributes.size(), 300u);
    build::bytes bytes = record(1 << 21).non_resident(0x80, build::bytes(1'100'000, 0x01), 4096).fixed_up();
    const std::size_t at = build::attribute_at(bytes, 0x80);
    for (std::uint16_t id = 400; id < 410; ++id) {
        build::poke_u16(bytes, at + 14, id);
        ASSERT_TRUE(decode_attribute(decoded, ctx, bytes, at, {}, is_list));
    }
    std::size_t runs = 0;
    for (const auto& item : decoded.attributes) runs += item.value.runs.size();
    EXPECT_LE(runs, most_runs);
    EXPECT_LE(decoded.costs.held_bytes, record_cost_limit);
    EXPECT_TRUE(decoded.costs.told);
}

TEST(record_read, a_non_resident_list_is_only_noted_without_a_volume) {
    const file_record& decoded = record_8({{8, record().std_info().non_resident(0x20, {0x11, 1, 1, 0}, 9).data("")}});
    EXPECT_TRUE(decoded.attribute_list_nonresident);
    EXPECT_EQ(decoded.attributes.size(), 1u);
}

TEST(record_read, a_record_without_attributes_is_read_but_not_accepted) {
    record_8({{8, record()}});
    EXPECT_TRUE(report_lines(mft_with({{8, record()}}), {"-csv", "-mftstart", "8"}).empty());
}
