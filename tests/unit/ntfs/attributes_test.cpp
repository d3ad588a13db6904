#include "ntfs/attributes.h"

#include <gtest/gtest.h>

#include "run/run_context.h"
#include "support/record_builder.h"
#include "walk/acceptance.h"
#include "walk/walk_state.h"

namespace {

using build::reference;

file_record decoded(const build::bytes& bytes) {
    mft_entries_ctx ctx;
    ctx.future_limit = build::tick_2020 + 36'000'000'000;
    file_record record;
    walk_state state;
    parse_file_record(record, bytes, 40, ctx, state);
    return record;
}

std::string labels_of(const file_record& record) {
    std::string text;
    for (const auto& item : record.attributes) {
        text +=
            std::string(item.value.label) + (item.value.value_text.empty() ? "" : "=" + item.value.value_text) + ";";
    }
    return text;
}

std::string name_verdict(const build::times& times) {
    const file_record record = decoded(build::record().name(u"a", build::win32, reference(5, 5), times).fixed_up());
    return record.file_names.begin()->value.anomaly_text;
}

build::bytes volume_information(std::uint8_t major, std::uint8_t minor) {
    return {0, 0, 0, 0, 0, 0, 0, 0, major, minor, 0, 0};
}

// Tag, length, then the offsets and lengths of substitute and print name within a path buffer that `flags` precede.
build::bytes reparse(std::u16string_view substitute, std::u16string_view print,
                     const std::vector<std::uint8_t>& flags) {
    build::bytes value(16);
    const build::bytes first = build::utf16_bytes(substitute), second = build::utf16_bytes(print);
    build::poke_u16(value, 4, static_cast<std::uint16_t>(8 + flags.size() + first.size() + second.size()));
    build::poke_u16(value, 10, static_cast<std::uint16_t>(first.size()));
    build::poke_u16(value, 12, static_cast<std::uint16_t>(first.size()));
    build::poke_u16(value, 14, static_cast<std::uint16_t>(second.size()));
    value.insert(value.end(), flags.begin(), flags.end());
    value.insert(value.end(), first.begin(), first.end());
    value.insert(value.end(), second.begin(), second.end());
    return value;
}

}  // namespace

TEST(attributes, each_type_is_filed_by_its_word_in_order_of_ids) {
    const build::bytes bytes = build::record()
                                   .std_info()
                                   .id(9)
                                   .data("x")
                                   .id(3)
                                   .data("y", u"named")
                                   .id(4)
                                   .resident(0x70, volume_information(3, 1))
                                   .id(5)
                                   .resident(0x40, build::bytes(16, 0x11))
                                   .id(6)
                                   .resident(0x60, {1, 2})
                                   .id(7)
                                   .resident(0x90, build::bytes(32), u"$I30")
                                   .id(8)
                                   .resident(0x100, {1}, u"$EFS")
                                   .id(1)
                                   .resident(0xD0, {1})
                                   .id(2)
                                   .resident(0x555, {1})
                                   .fixed_up();
    const file_record record = decoded(bytes);
    EXPECT_EQ(labels_of(record),
              "extended attribs info;unk;ads;vol info=ver: 3:1 (WinXP);obj id=11111111-1111-1111-1111-111111111111;"
              "vol name;indx root;logged stream;unnamed data;");
    EXPECT_EQ(
        record.std_infos.size() + record.object_ids.size() + record.volume_names.size() + record.index_roots.size(),
        4u);
}

TEST(attributes, conditions_that_fail_leave_the_attribute_out) {
    EXPECT_EQ(labels_of(decoded(build::record().resident(0x40, build::bytes(15)).data("").fixed_up())),
              "unnamed data;");
    EXPECT_EQ(labels_of(decoded(build::record().resident(0xC0, build::bytes(16)).data("").fixed_up())),
              "unnamed data;");
    const struct {
        std::uint8_t major, minor;
        const char* text;
    } versions[] = {{1, 2, "ver: 1:2 (WinNT)"},
                    {2, 0, "ver: 2:0(Unk version)"},
                    {3, 0, "ver: 3:0 (Win2k)"},
                    {3, 2, "ver: 3:2 (Windows)"}};
    for (const auto& c : versions) {
        const file_record record =
            decoded(build::record().resident(0x70, volume_information(c.major, c.minor)).fixed_up());
        EXPECT_EQ(record.volume_infos.begin()->value.text, c.text);
    }
}

TEST(attributes, an_attribute_that_claims_too_much_ends_the_walk_and_keeps_what_came_before) {
    build::bytes bytes = build::record().name(u"kept").data("lost").fixed_up();
    build::poke_u32(bytes, build::attribute_at(bytes, 0x80) + 4, 0xFFFFFFF0);
    EXPECT_EQ(labels_of(decoded(bytes)), "");
    EXPECT_EQ(decoded(bytes).file_names.begin()->value.name, u"kept");
    bytes = build::record().name(u"kept").data("lost").fixed_up();
    build::poke_u32(bytes, build::attribute_at(bytes, 0x80) + 4, 960);  // below a record's size, beyond this one's end
    EXPECT_EQ(labels_of(decoded(bytes)), "");
}

TEST(attributes, dos_names_count_in_no_path_and_hard_links_in_one_directory_once) {
    const file_record record = decoded(build::record()
                                           .name(u"REPORT~1.TXT", build::dos)
                                           .name(u"Report of March.txt", build::win32)
                                           .name(u"second", build::posix)
                                           .name(u"elsewhere", build::both, reference(30, 2))
                                           .fixed_up());
    EXPECT_EQ(record.file_names.size(), 4u);
    EXPECT_EQ(record.lower_names.size(), 3u);
    ASSERT_EQ(record.parents.size(), 2u);
    EXPECT_EQ(record.parents.find(reference(5, 5))->name, u"Report of March.txt");
    EXPECT_EQ(record.parents.begin()->key, reference(30, 2));
}

TEST(attributes, times_of_names_are_null_before_they_are_in_the_future) {
    constexpr std::uint64_t limit = build::tick_2020 + 36'000'000'000;
    EXPECT_EQ(name_verdict({}), "");
    EXPECT_EQ(name_verdict({.modified = limit}), "");
    EXPECT_EQ(name_verdict({.modified = limit + 1}), "future");
    EXPECT_EQ(name_verdict({.created = 0, .modified = limit + 1}), "null");
}

TEST(attributes, reparse_targets_of_links_and_junctions) {
    const struct {
        build::bytes value;
        const char16_t* target;
    } cases[] = {
        {reparse(u"\\??\\C:\\x", u"C:\\x", {}), u"C:\\x"},            // mount point
        {reparse(u"\\??\\C:\\x", u"C:\\x", {0, 0, 0, 0}), u"C:\\x"},  // symbolic link: four bytes more
        {reparse(u"\\??\\C:\\only", u"", {}), u"\\??\\C:\\only"},
        {reparse(u"x", u"y", {1, 0, 0, 0}), u""},  // relative link: kept off by its flag
    };
    for (const auto& c : cases) {
        const file_record record = decoded(build::record().resident(0xC0, c.value).data("").fixed_up());
        ASSERT_EQ(record.reparse_targets.size(), 1u);
        EXPECT_EQ(record.reparse_targets.begin()->value, c.target);
    }
    // The substitute name must be shorter than the record, the data end ahead of it.
    const auto bounded = [](std::size_t field, std::uint16_t length) {
        build::bytes value = reparse(u"x", u"y", {});
        build::poke_u16(value, field, length);
        return decoded(build::record().resident(0xC0, value).data("").fixed_up()).reparse_targets.size();
    };
    EXPECT_EQ(bounded(10, 1023), 1u);
    EXPECT_EQ(bounded(10, 1024), 0u);
    EXPECT_EQ(bounded(4, 1024 - 24 - 1), 1u);  // the value lies 24 bytes behind the attribute's header
    EXPECT_EQ(bounded(4, 1024 - 24), 0u);
    const file_record zeros =
        decoded(build::record().resident(0xC0, reparse(u"", u"", build::bytes(24))).data("").fixed_up());
    EXPECT_TRUE(zeros.reparse_targets.empty());
}

TEST(attributes, a_second_attribute_under_the_same_key_joins_or_is_dropped) {
    const build::bytes runs = {0x11, 0x02, 0x10, 0x00}, later = {0x11, 0x03, 0x20, 0x00};
    const file_record record = decoded(build::record()
                                           .id(1)
                                           .non_resident(0x80, later, 8192, u"s", 2)
                                           .id(1)
                                           .non_resident(0x80, runs, 8192, u"s", 0)
                                           .id(1)
                                           .non_resident(0x80, {0x11, 0x01, 0x40, 0x00}, 4096, u"other", 9)
                                           .fixed_up());
    ASSERT_EQ(record.attributes.size(), 1u);
    const attr_entry& stream = record.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 2u);
    EXPECT_EQ(stream.runs[0].start_vcn, 0u);
    EXPECT_EQ(stream.runs[1].lcn, 0x20u);
}

TEST(attributes, the_budget_starts_at_twice_the_first_offset) {
    // Ahead of the second attribute it is 2 * 56 and that attribute's length: 1024 is within, eight more are not,
    // although both would fit into the record.
    for (const bool fits : {true, false}) {
        const build::bytes filler(1024 - 2 * 56 - 24 + (fits ? 0 : 8), 1);
        const file_record record = decoded(build::record().resident(0x80, {}).resident(0xD0, filler).fixed_up());
        EXPECT_EQ(labels_of(record), fits ? "unnamed data;extended attribs info;" : "unnamed data;");
    }
}
