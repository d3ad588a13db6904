#include "ntfs/attributes.h"

#include <gtest/gtest.h>

#include "run/run_context.h"
#include "support/index_builder.h"
#include "walk/acceptance.h"
#include "walk/walk_state.h"

namespace {

using build::record, build::reference, build::reparse;

file_record decoded(const build::bytes& bytes) {
    mft_entries_ctx ctx;
    ctx.future_limit = build::tick_2020 + 36'000'000'000;
    file_record record;
    walk_state state;
    parse_file_record(record, bytes, 40, ctx, state);
    return record;
}

file_record decoded(const record& built) { return decoded(built.fixed_up()); }

std::string labels_of(const file_record& read) {
    std::string text;
    for (const auto& [key, value] : read.attributes)
        text += std::string(value.label) + (value.value_text.empty() ? "" : "=" + value.value_text) + ";";
    return text;
}

build::bytes volume_information(std::uint8_t major, std::uint8_t minor) {
    return {0, 0, 0, 0, 0, 0, 0, 0, major, minor, 0, 0};
}

}  // namespace

TEST(attributes, each_type_is_filed_by_its_word_in_order_of_ids) {
    const struct {
        std::uint16_t id;
        std::uint32_t type;
        build::bytes value;
        const char16_t* name;
    } attributes[] = {
        {9, 0x80, {1}, u""},
        {3, 0x80, {1}, u"named"},
        {4, 0x70, volume_information(3, 1), u""},
        {5, 0x40, build::bytes(16, 0x11), u""},
        {6, 0x60, {1, 2}, u""},
        {7, 0x90, build::bytes(32), u"$I30"},
        {8, 0x100, {1}, u"$EFS"},
        {1, 0xD0, {1}, u""},
        {2, 0x555, {1}, u""},
    };
    record made;
    for (const auto& each : attributes) made.id(each.id).resident(each.type, each.value, each.name);
    const file_record read = decoded(made.std_info());
    EXPECT_EQ(labels_of(read),
              "extended attribs info;unk;ads;vol info=ver: 3:1 (WinXP);obj id=11111111-1111-1111-1111-111111111111;"
              "vol name;indx root;logged stream;unnamed data;");
    EXPECT_EQ(read.std_infos.size() + read.object_ids.size() + read.volume_names.size() + read.index_roots.size(), 4u);
}

TEST(attributes, conditions_that_fail_leave_the_attribute_out) {
    EXPECT_EQ(labels_of(decoded(record().resident(0x40, build::bytes(15)).data(""))), "unnamed data;");
    EXPECT_EQ(labels_of(decoded(record().resident(0xC0, build::bytes(16)).data(""))), "unnamed data;");
    const std::tuple<std::uint8_t, std::uint8_t, const char*> versions[] = {{1, 2, "ver: 1:2 (WinNT)"},
                                                                            {2, 0, "ver: 2:0(Unk version)"},
                                                                            {3, 0, "ver: 3:0 (Win2k)"},
                                                                            {3, 2, "ver: 3:2 (Windows)"}};
    for (const auto& [major, minor, text] : versions)
        EXPECT_EQ(decoded(record().resident(0x70, volume_information(major, minor))).volume_infos.begin()->value.text,
                  text);
}

TEST(attributes, an_attribute_that_claims_too_much_ends_the_walk_and_keeps_what_came_before) {
    build::bytes bytes = record().name(u"kept").data("lost").fixed_up();
    for (const std::uint32_t length : {0xFFFFFFF0u, 960u}) {  // the second below a record's size, beyond this one's end
        build::poke_u32(bytes, build::attribute_at(bytes, 0x80) + 4, length);
        EXPECT_EQ(labels_of(decoded(bytes)), "");
        EXPECT_EQ(decoded(bytes).file_names.begin()->value.name, u"kept");
    }
}

TEST(attributes, dos_names_count_in_no_path_and_hard_links_in_one_directory_once) {
    const file_record read = decoded(record()
                                         .name(u"REPORT~1.TXT", build::dos)
                                         .name(u"Report of March.txt", build::win32)
                                         .name(u"second", build::posix)
                                         .name(u"elsewhere", build::both, reference(30, 2)));
    EXPECT_EQ(read.file_names.size(), 4u);
    EXPECT_EQ(read.lower_names.size(), 3u);
    ASSERT_EQ(read.parents.size(), 2u);
    EXPECT_EQ(read.parents.find(reference(5, 5))->name, u"Report of March.txt");
    EXPECT_EQ(read.parents.begin()->key, reference(30, 2));
}

TEST(attributes, times_of_names_are_null_before_they_are_in_the_future) {
    constexpr std::uint64_t limit = build::tick_2020 + 36'000'000'000;
    const std::pair<build::times, std::string> cases[] = {{{}, ""},
                                                          {{.modified = limit}, ""},
                                                          {{.modified = limit + 1}, "future"},
                                                          {{.created = 0, .modified = limit + 1}, "null"}};
    for (const auto& [times, word] : cases) {
        const file_record read = decoded(record().name(u"a", build::win32, reference(5, 5), times));
        EXPECT_EQ(read.file_names.begin()->value.anomaly_text, word);
    }
}

TEST(attributes, reparse_targets_of_links_and_junctions) {
    // With one 16-bit field of it changed, where there is one; "none": no target.
    const struct {
        const char* what;
        build::bytes value;
        std::size_t field;
        std::uint16_t changed;
        std::u16string_view target;
    } cases[] = {
        {"mount point", reparse(u"\\??\\C:\\x", u"C:\\x", {}), 0, 0, u"C:\\x"},
        {"symbolic link: four bytes more", reparse(u"\\??\\C:\\x", u"C:\\x", {0, 0, 0, 0}), 0, 0, u"C:\\x"},
        {"substitute name alone", reparse(u"\\??\\C:\\only", u"", {}), 0, 0, u"\\??\\C:\\only"},
        {"relative link: kept off by its flag", reparse(u"x", u"y", {1, 0, 0, 0}), 0, 0, u""},
        {"a substitute name shorter than the record", reparse(u"x", u"y", {}), 10, 1023, u"y"},
        {"as long as it", reparse(u"x", u"y", {}), 10, 1024, u"none"},
        // The value lies 24 bytes behind the attribute's header.
        {"data that end ahead of the record's end", reparse(u"x", u"y", {}), 4, 1024 - 24 - 1, u"y"},
        {"at its end", reparse(u"x", u"y", {}), 4, 1024 - 24, u"none"},
        {"zeros", reparse(u"", u"", build::bytes(24)), 0, 0, u"none"},
    };
    for (const auto& c : cases) {
        build::bytes value = c.value;
        if (c.field != 0) build::poke_u16(value, c.field, c.changed);
        const auto targets = decoded(record().resident(0xC0, value).data("")).reparse_targets;
        EXPECT_EQ(targets.empty() ? u"none" : targets.begin()->value, c.target) << c.what;
    }
}

TEST(attributes, a_second_attribute_under_the_same_key_joins_or_is_dropped) {
    const build::bytes runs = {0x11, 0x02, 0x10, 0x00}, later = {0x11, 0x03, 0x20, 0x00};
    record made;
    made.id(1).non_resident(0x80, later, 8192, u"s", 2).id(1).non_resident(0x80, runs, 8192, u"s", 0);
    const file_record read = decoded(made.id(1).non_resident(0x80, {0x11, 0x01, 0x40, 0x00}, 4096, u"other", 9));
    ASSERT_EQ(read.attributes.size(), 1u);
    const attr_entry& stream = read.attributes.begin()->value;
    ASSERT_EQ(stream.runs.size(), 2u);
    EXPECT_EQ(stream.runs[0].start_vcn, 0u);
    EXPECT_EQ(stream.runs[1].lcn, 0x20u);
}

TEST(attributes, the_budget_starts_at_twice_the_first_offset) {
    // Ahead of the second attribute it is 2 * 56 and that attribute's length: 1024 is within, eight more are not,
    // although both would fit into the record.
    for (const bool fits : {true, false}) {
        const build::bytes filler(1024 - 2 * 56 - 24 + (fits ? 0 : 8), 1);
        const std::string labels = labels_of(decoded(record().resident(0x80, {}).resident(0xD0, filler)));
        EXPECT_EQ(labels, fits ? "unnamed data;extended attribs info;" : "unnamed data;");
    }
}
