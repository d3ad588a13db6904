#include "walk/paths.h"

#include <gtest/gtest.h>

#include "support/program_run.h"
#include "support/record_builder.h"

namespace {

using build::placed, build::record, build::reference;

constexpr std::uint64_t root = reference(5, 5), in_a = reference(20, 1), in_b = reference(21, 1);

record folder(std::u16string_view name, std::uint64_t parent) {
    return record().directory().std_info().name(name, build::win32, parent);
}
placed a(std::uint64_t parent, std::uint16_t sequence = 1) { return {20, folder(u"a", parent).sequence(sequence)}; }
placed b(std::uint64_t parent) { return {21, folder(u"b", parent)}; }

record file(std::uint64_t parent) { return record().std_info().name(u"f", build::win32, parent); }

// The path of record 39 as the report shows it, its own name cut.
std::string path_of_last(std::vector<placed> items, std::uint64_t parent, const arguments& given = {}) {
    items.push_back({39, file(parent)});
    const auto lines =
        report_lines(build::mft_with(items), given + arguments{"-csvperpath", "-csv_separator", "|", "-no_whitespace"});
    return lines.empty() ? "" : cells_of(lines.back(), "|").at(24);
}

}  // namespace

TEST(paths, climb_to_the_root_or_say_where_they_end) {
    const std::string corrupted = "[root]\\<path corrupted>\\";
    const placed dos_name = {20, record().directory().std_info().name(u"A~1", build::dos)},
                 dos_first = {20, record().directory().std_info().name(u"LONG~1", build::dos).name(u"long name")},
                 twice = {21, folder(u"b", in_a).name(u"b", build::win32, root)};
    const std::tuple<const char*, std::vector<placed>, std::uint64_t, std::string> cases[] = {
        {"in the root", {}, root, "[root]\\"},
        {"two levels", {a(root), b(in_a)}, in_b, "[root]\\a\\b\\"},
        // The first parent is looked up by number alone; only further up the sequence number counts.
        {"a parent with another sequence", {a(root, 9)}, in_a, "[root]\\a\\"},
        {"a stale sequence further up", {a(root, 9), b(in_a)}, in_b, corrupted + "b\\"},
        {"a missing parent", {b(in_a)}, in_b, "[root]\\b\\"},
        {"two that name each other", {a(in_b), b(in_a)}, in_b, corrupted + "b\\a\\b\\"},
        {"its own parent", {b(in_b)}, in_b, corrupted + "b\\"},
        {"a reference without sequence", {a(root), b(20)}, in_b, "[root]\\a\\b\\"},
        {"a ring of such references", {a(21), b(20)}, in_b, corrupted + "b\\a\\b\\"},
        {"the smaller of two parents", {a(root), twice}, in_b, "[root]\\a\\b\\"},
        {"the first name of a directory, 8.3 or not", {dos_first}, in_a, "[root]\\LONG~1\\"},
        {"only an 8.3 name: $MFT's parent when met above", {dos_name, b(in_a)}, in_b, "[root]\\$MFT\\A~1\\b\\"},
        {"and none when read as the first parent", {dos_name}, in_a, "[root]\\"},
        {"a name that is no whole UTF-16", {{20, folder(u"a\xd800z", root)}, b(in_a)}, in_b, "[root]\\a"},
    };
    for (const auto& [what, items, parent, path] : cases) {
        EXPECT_EQ(path_of_last(items, parent), path) << what;
        // Alone, every directory lies ahead of the walk: the same but where the walk itself must have passed.
        if (path.find("$MFT") != std::string::npos) continue;
        EXPECT_EQ(path_of_last(items, parent, {"-mftstart", "39"}), path) << what;
    }
}

TEST(paths, earlier_climbs_change_no_later_one) {
    // Every directory of a chain is asked for, from both ends, and once more behind the others.
    std::vector<placed> items;
    for (std::size_t inode = 10; inode < 30; ++inode) {
        const char16_t name[] = {static_cast<char16_t>(u'a' + inode - 10), 0};
        items.push_back({inode, folder(name, inode == 10 ? root : reference(inode - 1, 1))});
    }
    for (std::size_t inode = 30; inode < 39; ++inode)
        items.push_back({inode, file(reference(inode % 2 == 0 ? 59 - inode : inode - 20, 1))});
    EXPECT_EQ(path_of_last(items, reference(19, 1)), "[root]\\a\\b\\c\\d\\e\\f\\g\\h\\i\\j\\");
}

TEST(paths, a_climb_has_an_end) {
    constexpr std::size_t longest = 16'384;
    for (const bool fits : {true, false}) {
        const std::size_t first = 10, last = first + longest + (fits ? 0 : 1);
        std::vector<build::bytes> records(last + 1);
        for (std::size_t inode = first; inode < last; ++inode) {
            records[inode] = folder(u"d", inode == first ? root : reference(inode - 1, 1)).on_disk();
        }
        records[last] = file(reference(last - 1, 1)).on_disk();
        const auto lines = report_lines(build::mft(records), {"-csv", "-mftstart", std::to_string(last)});
        EXPECT_EQ(lines.at(1).find("<path corrupted>") == std::string::npos, fits);
        EXPECT_GT(lines.at(1).size(), 2 * longest);
    }
}
