#include "ntfs/record_read.h"

#include <gtest/gtest.h>

#include "ntfs/attribute_list.h"
#include "run/run_context.h"
#include "support/program_run.h"
#include "support/record_builder.h"
#include "walk/open_source.h"

namespace {

using build::reference;

// An extracted $MFT opened as the run's source.
struct opened_mft {
    temporary_file file;
    read_options read;

    explicit opened_mft(const build::bytes& bytes) : file(bytes), read(options_of({"-mftfile", file.path()})) {
        open_and_prepare(*read.ctx);
    }
    bool record(file_record& out, std::uint64_t inode) { return read_and_decode_record(out, *read.ctx, inode, false); }
    bool bytes(std::uint64_t inode, bool& bad) {
        std::vector<std::uint8_t> buffer;
        return read_file_record(buffer, bad, *read.ctx, inode) && !buffer.empty();
    }
};

std::vector<build::bytes> with_record(std::size_t inode, const build::bytes& bytes) {
    std::vector<build::bytes> records(inode + 1);
    records[inode] = bytes;
    return records;
}

}  // namespace

TEST(record_read, signatures_and_the_limits_of_the_update_sequence_decide) {
    const build::bytes good = build::record().std_info().on_disk();
    const auto damaged = [&good](std::size_t at, std::uint16_t value) {
        build::bytes bytes = good;
        build::poke_u16(bytes, at, value);
        return bytes;
    };
    const struct {
        const char* what;
        build::bytes bytes;
        bool read, bad;
    } cases[] = {
        {"a record", good, true, false},
        {"older header", build::record(1024, 42).std_info().on_disk(), true, false},
        {"array too far behind", damaged(4, 56), false, false},
        {"too many words", damaged(6, 10), false, false},
        {"bad sectors", build::record().std_info().signature("BAAD").on_disk(), true, true},
        {"an index block has no limits", build::record().std_info().signature("INDX").on_disk(), true, false},
        {"zeros", build::bytes(1024), false, false},
    };
    for (const auto& c : cases) {
        opened_mft mft(build::mft(with_record(7, c.bytes)));
        bool bad = false;
        EXPECT_EQ(mft.bytes(7, bad), c.read) << c.what;
        EXPECT_EQ(bad, c.bad) << c.what;
        file_record record;
        EXPECT_EQ(mft.record(record, 7), c.read && !c.bad) << c.what;
    }
}

TEST(record_read, fixups_put_the_words_back_without_comparing_them) {
    const std::string text(700, 'x');
    build::bytes torn = build::record().std_info().data(text).on_disk();
    build::poke_u16(torn, 510, 0xBEEF);
    opened_mft mft(build::mft(with_record(7, torn)));
    file_record record;
    ASSERT_TRUE(mft.record(record, 7));
    const attr_entry& data = record.attributes.begin()->value;
    EXPECT_EQ(std::string(data.raw.end() - 704, data.raw.end() - 4), text);
}

TEST(record_read, the_first_record_says_how_large_they_are) {
    for (const std::size_t size : {std::size_t{1024}, std::size_t{4096}}) {
        const build::bytes last = build::record(size).std_info().name(u"last").on_disk();
        opened_mft mft(build::mft(with_record(8, last), size));
        file_record record;
        ASSERT_TRUE(mft.record(record, 8));
        EXPECT_EQ(record.file_names.begin()->value.name, u"last");
        EXPECT_EQ(mft.read.ctx->record_size, size);
    }
    build::bytes none = build::mft({});
    build::poke_u16(none, 6, 0);
    opened_mft without_count(none);
    file_record record;
    EXPECT_FALSE(without_count.record(record, 0));
}

TEST(record_read, attribute_lists_bring_in_what_lies_in_other_records) {
    const build::bytes runs = {0x11, 0x02, 0x10, 0x00}, more = {0x11, 0x03, 0x40, 0x00};
    std::vector<build::bytes> records(12);
    // The list stands ahead of the base's own $DATA: the continuation arrives before the part it continues.
    records[8] = build::record()
                     .std_info()
                     .attribute_list({{0x80, reference(8, 1), 2},
                                      {0x80, reference(9, 7), 3},
                                      {0x30, reference(10, 1), 1},
                                      {0x80, reference(77, 1), 0},
                                      {0x80, reference(11, 1), 0}})
                     .id(2)
                     .non_resident(0x80, runs, 5 * 4096, u"s")
                     .on_disk();
    records[9] =
        build::record().base(reference(8, 1)).id(3).non_resident(0x80, more, 0, u"s", 2).on_disk();  // sequence is
                                                                                                     // stale
    records[10] = build::record().base(reference(8, 1)).id(1).name(u"from the list").on_disk();
    build::bytes endless = build::record().base(reference(8, 1)).id(5).data("").on_disk();
    build::poke_u32(endless, build::attribute_at(endless, 0x80) + 4, 0);
    records[11] = endless;
    opened_mft mft(build::mft(records));
    file_record record;
    ASSERT_TRUE(mft.record(record, 8));
    EXPECT_TRUE(record.has_attribute_list);
    EXPECT_EQ(record.file_names.begin()->value.name, u"from the list");
    ASSERT_EQ(record.attributes.size(), 1u);
    const attr_entry& stream = record.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 2u);
    EXPECT_EQ(stream.runs[1].lcn, 0x40u);
    EXPECT_EQ(stream.data_size(), 5u * 4096);
}

TEST(record_read, parts_of_a_stream_join_in_any_order_and_under_colliding_ids) {
    const auto part = [](std::uint8_t lcn) { return build::bytes{0x11, 0x02, lcn, 0x00}; };
    const std::uint64_t base = reference(8, 1);
    std::vector<build::bytes> records(12);
    records[8] =
        build::record()
            .std_info()
            .attribute_list({{0x80, reference(9, 1), 0}, {0x80, reference(10, 1), 0}, {0x80, reference(11, 1), 0}})
            .id(0)
            .non_resident(0x80, part(0x10), 6 * 4096)
            .on_disk();
    records[9] = build::record().base(base).id(0).non_resident(0x80, part(0x30), 0, {}, 4).on_disk();
    records[10] = build::record().base(base).id(0).non_resident(0x80, part(0x20), 0, {}, 2).on_disk();
    records[11] = build::record().base(base).id(0).non_resident(0x80, part(0x50), 0, u"lost", 2).on_disk();
    opened_mft mft(build::mft(records));
    file_record record;
    ASSERT_TRUE(mft.record(record, 8));
    // The continuation of another stream, whose first part is nowhere, finds its key taken.
    ASSERT_EQ(record.attributes.size(), 1u);
    const attr_entry& stream = record.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 3u);
    for (std::size_t index = 0; index < 3; ++index) EXPECT_EQ(stream.runs[index].lcn, 0x10u * (index + 1));
    EXPECT_EQ(stream.data_size(), 6u * 4096);

    records[11] = build::record().base(base).id(0).data("other stream", u"kept").on_disk();
    records[8] = build::record()
                     .std_info()
                     .attribute_list({{0x80, reference(10, 1), 0}, {0x80, reference(11, 1), 0}})
                     .id(4)
                     .non_resident(0x80, part(0x10), 4 * 4096)
                     .on_disk();
    opened_mft named(build::mft(records));
    ASSERT_TRUE(named.record(record, 8));
    ASSERT_EQ(record.attributes.size(), 2u);
    EXPECT_EQ(record.attributes.begin()->value.name, u"kept");
}

TEST(record_read, an_entry_counts_that_begins_within_its_list) {
    for (const std::uint32_t length : {32u, 33u}) {
        std::vector<build::bytes> records(12);
        records[8] = build::record()
                         .std_info()
                         .attribute_list({{0x30, reference(9, 1), 0}, {0x30, reference(10, 1), 0}})
                         .on_disk();
        build::poke_u32(records[8], build::attribute_at(records[8], 0x20) + 16, length);
        records[9] = build::record().base(reference(8, 1)).name(u"one").on_disk();
        records[10] = build::record().base(reference(8, 1)).name(u"two", build::win32, 7).on_disk();
        opened_mft mft(build::mft(records));
        file_record record;
        ASSERT_TRUE(mft.record(record, 8));
        EXPECT_EQ(record.file_names.size(), length - 31);
    }
}

TEST(record_read, what_a_list_names_again_is_not_read_again) {
    std::vector<build::bytes> records(12);
    const build::list_entry part{0x80, reference(9, 1), 3}, other{0x30, reference(10, 1), 0};
    records[8] = build::record().std_info().attribute_list({part, other, part, other, part, other}).on_disk();
    records[9] = build::record().base(reference(8, 1)).id(3).non_resident(0x80, {0x11, 1, 1, 0}, 0, u"s", 2).on_disk();
    records[10] = build::record().base(reference(8, 1)).name(u"a").on_disk();
    opened_mft mft(build::mft(records));
    file_record record;
    ASSERT_TRUE(mft.record(record, 8));
    EXPECT_EQ(record.costs.read_bytes, 2u * 1024);
    EXPECT_EQ(record.costs.list_bytes, 6u * 32);
    ASSERT_EQ(record.attributes.size(), 1u);
    EXPECT_EQ(record.attributes.begin()->value.runs.size(), 1u);
}

TEST(record_read, all_lists_of_a_record_together_end_at_256_kib) {
    // Entries of the first list lead to the record itself; with 8192 of them nothing is left for the second.
    build::bytes base = build::record(1 << 19)
                            .std_info()
                            .attribute_list(std::vector<build::list_entry>(8192, {0x30, 8, 0}))
                            .attribute_list({{0x30, reference(9, 1), 0}})
                            .fixed_up();
    opened_mft mft(build::mft(with_record(9, build::record().base(reference(8, 1)).name(u"behind").on_disk())));
    for (const bool over : {true, false}) {
        file_record record;
        if (!over) build::poke_u32(base, build::attribute_at(base, 0x20) + 16, 8191 * 32);
        std::size_t at = build::attribute_at(base, 0x20);
        process_attribute_list(record, *mft.read.ctx, 8, base, at, false);
        at += byte_view(base).u32(at + 4);
        process_attribute_list(record, *mft.read.ctx, 8, base, at, false);
        EXPECT_EQ(record.file_names.size(), over ? 0u : 1u);
    }
}

TEST(record_read, a_record_holds_no_more_than_its_share_and_any_order_of_keys) {
    mft_entries_ctx ctx;
    file_record record;
    const build::bytes one = build::record(1 << 21).non_resident(0x80, build::bytes(1'100'000, 0x01), 4096).fixed_up();
    bool is_list = false;
    for (std::uint32_t id = 300; id-- > 0;) {
        build::bytes bytes = build::record().id(static_cast<std::uint16_t>(id)).data("x").fixed_up();
        ASSERT_TRUE(decode_attribute(record, ctx, bytes, 56, {}, is_list));
    }
    attr_key last = 0;
    for (const auto& item : record.attributes) {
        EXPECT_TRUE(item.key >= last);
        last = item.key + 1;
    }
    ASSERT_EQ(record.attributes.size(), 300u);
    std::size_t runs = 0;
    for (std::uint16_t id = 400; id < 410; ++id) {
        build::bytes bytes = one;
        build::poke_u16(bytes, build::attribute_at(one, 0x80) + 14, id);
        ASSERT_TRUE(decode_attribute(record, ctx, bytes, build::attribute_at(one, 0x80), {}, is_list));
    }
    for (const auto& item : record.attributes) runs += item.value.runs.size();
    EXPECT_LE(runs, most_runs);
    EXPECT_LE(record.costs.held_bytes, record_cost_limit);
    EXPECT_TRUE(record.costs.told);
}

TEST(record_read, a_non_resident_list_is_only_noted_without_a_volume) {
    const build::bytes bytes = build::record().std_info().non_resident(0x20, {0x11, 1, 1, 0}, 4096).data("").on_disk();
    opened_mft mft(build::mft(with_record(7, bytes)));
    file_record record;
    ASSERT_TRUE(mft.record(record, 7));
    EXPECT_TRUE(record.attribute_list_nonresident);
    EXPECT_EQ(record.attributes.size(), 1u);
}

TEST(record_read, a_record_without_attributes_is_read_but_not_accepted) {
    build::bytes empty = build::record().on_disk();
    opened_mft mft(build::mft(with_record(7, empty)));
    file_record record;
    EXPECT_TRUE(mft.record(record, 7));
    EXPECT_EQ(report_lines(build::mft(with_record(7, empty)), {"-csv", "-mftstart", "7"}).size(), 0u);
}
