// What -thorough decides where no volume at hand shows it: foreign and freed records, numbers that wrap, odd links.
#include <gtest/gtest.h>

#include "base/text.h"
#include "ntfs/path_lookup.h"
#include "sources/plausible_boot.h"
#include "support/index_builder.h"
#include "support/open_volume.h"
#include "support/program_run.h"

namespace {

using namespace build;

// The path and names of the last, record 39.
std::string shown(const std::vector<placed>& items) {
    const auto lines = report_lines(mft_with(items), {"-csv", "-csv_separator", "|", "-no_whitespace", "-thorough"});
    return lines.size() < 2 ? "" : cells_of(lines.back(), "|").at(11);
}

record listed(const std::vector<list_entry>& entries) {
    return record().sequence(7).std_info().attribute_list(entries).name(u"own");
}
record extension(std::uint64_t base, std::u16string_view name) { return record().id(2).base(base).name(name); }

record folder(std::uint64_t parent) { return record().directory().std_info().name(u"a", win32, parent); }
record file(std::uint64_t parent) { return record().std_info().name(u"f", win32, parent); }

record tagged_link(std::u16string_view name, std::u16string_view print, std::uint32_t flags, std::uint32_t tag) {
    bytes out = reparse(u"", print, bytes(4));
    poke_u32(out, 0, tag);
    poke_u32(out, 16, flags);
    return directory(name, {}).resident(0xC0, out);
}

}  // namespace

TEST(thorough, an_extension_record_has_to_belong_and_delivers_by_type_and_id) {
    const auto entry = [](std::uint64_t inode, std::uint32_t type = 0x30) { return list_entry{type, inode, 2}; };
    const std::string own = "[root]\\own", both = own + " [alias: x]";
    const auto ours = reference(39, 7), raised = reference(39, 6);
    const std::tuple<const char*, std::vector<placed>, std::string> cases[] = {
        {"one named twice", {{20, extension(ours, u"x")}, {39, listed({entry(20), entry(20)})}}, both},
        {"a stream has the id",
         {{20, record().id(2).base(ours).data("y").id(2).name(u"x")}, {39, listed({entry(20)})}},
         both},
        {"no number", {{20, extension(39, u"x")}, {39, listed({entry(20)})}}, both},
        {"another file's", {{20, extension(reference(38, 7), u"x")}, {39, listed({entry(20)})}}, own},
        {"an earlier file's", {{20, extension(raised, u"x")}, {39, listed({entry(20)})}}, own},
        {"another type", {{20, extension(ours, u"x")}, {39, listed({entry(20, 0x80)})}}, own},
        {"freed by itself", {{20, extension(ours, u"x").deleted()}, {39, listed({entry(20)})}}, own},
        {"freed with its base", {{20, extension(raised, u"x").deleted()}, {39, listed({entry(20)}).deleted()}}, both},
    };
    for (const auto& [what, items, names] : cases) EXPECT_EQ(shown(items), names) << what;
}

TEST(thorough, a_parent_has_to_be_the_directory_that_was_meant) {
    const auto root = reference(5, 5);
    const std::tuple<const char*, std::vector<placed>, const char*> cases[] = {
        {"taken again", {{20, folder(root).sequence(2)}, {39, file(reference(20, 1))}}, "<path corrupted>\\f"},
        {"freed", {{20, folder(root).sequence(2).deleted()}, {39, file(reference(20, 1))}}, "a\\f"},
        {"freed, 0 left out", {{20, folder(root).deleted()}, {39, file(reference(20, 0xFFFF))}}, "a\\f"},
        {"no number", {{20, folder(root).sequence(2)}, {39, file(20)}}, "a\\f"},
        {"no directory", {{20, file(root)}, {39, file(20)}}, "<path corrupted>\\f"},
        {"not there", {{39, file(reference(30, 1))}}, "<path corrupted>\\f"},
        {"no parent", {{20, record().directory().std_info()}, {39, file(reference(20, 1))}}, "<path corrupted>\\f"},
        {"all ones", {{39, file(~std::uint64_t{0})}}, "<path corrupted>\\f"},
        {"the root, whatever its number", {{39, file(reference(5, 77))}}, "f"},
    };
    for (const auto& [what, items, path] : cases) EXPECT_EQ(shown(items), "[root]\\" + std::string(path)) << what;
}

TEST(thorough, links_lead_where_they_lie_or_to_the_root) {
    constexpr std::uint32_t symbolic = 0xA000000C;
    const struct {
        std::u16string_view print;
        std::uint32_t flags, tag;
        std::u16string path;
        std::uint64_t inode;  // of what the link itself stands for
    } cases[] = {{u"to", 1, symbolic, u"\\c:\\in\\to\\x", 7},
                 {u"..\\..\\.\\in\\to", 1, symbolic, u"\\c:\\in\\to\\x", 7},
                 {u"\\in\\to", 1, symbolic, u"\\in\\to\\x", 7},
                 {u"in\\to", 0, symbolic, u"\\in\\to\\x", 7},
                 {u"..", 1, symbolic, u"", 5},
                 {u"to", 1, 0x80000013, u"", 8}};
    for (const auto& c : cases) {
        std::vector<bytes> records(4);
        for (const record& each : {directory(u".", {6}), directory(u"in", {7, 8}), directory(u"to", {9}, 6),
                                   tagged_link(u"link", c.print, c.flags, c.tag), file(reference(7, 1)).name(u"x")})
            records.push_back(each.on_disk());
        opened_volume opened(volume(64).mft({{16, 4}}, records).all(), 0, true);
        path_target target;
        lookup_path(target, opened.ctx, u"\\c:\\in\\link\\x", true);
        EXPECT_EQ(utf8_from_utf16(target.path), utf8_from_utf16(c.path)) << utf8_from_utf16(c.print);
        EXPECT_TRUE(lookup_path(target, opened.ctx, u"\\c:\\in\\link", true) && target.inode == c.inode)
            << target.inode;
    }
}

TEST(thorough, a_boot_sector_is_plausible_in_every_field_or_not_at_all) {
    // Field, its width, and values that no volume has there.
    const std::tuple<std::size_t, int, std::vector<std::uint64_t>> implausible[] = {
        {3, 8, {0x2020'2020'5346'544F}}, {11, 2, {256, 1536, 8192}}, {13, 1, {0, 3, 0x81, 0xF3}},
        {64, 1, {0, 3, 0xEF, 0xF8}},     {48, 8, {0, 64}},           {40, 8, {0, std::uint64_t{1} << 52}}};
    const bytes whole = volume(64).all();
    EXPECT_TRUE(is_plausible_ntfs_boot(whole));
    for (const auto& [at, width, values] : implausible) {
        for (const std::uint64_t value : values) {
            bytes sector(whole.begin(), whole.begin() + 512);
            std::copy_n(reinterpret_cast<const std::uint8_t*>(&value), width, &sector[at]);
            EXPECT_FALSE(is_plausible_ntfs_boot(sector)) << at << " " << value;
        }
    }
}
