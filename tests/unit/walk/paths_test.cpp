#include "walk/paths.h"

#include <gtest/gtest.h>

#include "support/program_run.h"
#include "support/record_builder.h"

namespace {

using build::reference;

struct placed {
    std::size_t inode;
    build::record record;
};

build::bytes volume_of(const std::vector<placed>& items, std::size_t count = 40) {
    std::vector<build::bytes> records(count);
    for (const placed& item : items) records[item.inode] = item.record.on_disk();
    return build::mft(records);
}

build::record folder(std::u16string_view name, std::uint64_t parent) {
    return build::record().directory().std_info().name(name, build::win32, parent);
}

build::record file(std::uint64_t parent) { return build::record().std_info().name(u"f", build::win32, parent); }

// The path of record 39 as the report shows it, its own name cut.
std::string path_of_last(const std::vector<placed>& items, const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> all = {"-csvperpath", "-csv_separator", "|", "-no_whitespace"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const auto lines = report_lines(volume_of(items), all);
    return lines.empty() ? "" : cells_of(lines.back(), "|").at(24);
}

}  // namespace

TEST(paths, climb_to_the_root_or_say_where_they_end) {
    const struct {
        const char* what;
        std::vector<placed> items;
        const char* path;
    } cases[] = {
        {"in the root", {{39, file(reference(5, 5))}}, "[root]\\"},
        {"two levels",
         {{20, folder(u"a", reference(5, 5))}, {21, folder(u"b", reference(20, 1))}, {39, file(reference(21, 1))}},
         "[root]\\a\\b\\"},
        // The first parent is looked up by number alone; only further up the sequence number counts.
        {"a parent with another sequence",
         {{20, folder(u"a", reference(5, 5)).sequence(9)}, {39, file(reference(20, 1))}},
         "[root]\\a\\"},
        {"a stale sequence further up",
         {{20, folder(u"a", reference(5, 5)).sequence(9)},
          {21, folder(u"b", reference(20, 1))},
          {39, file(reference(21, 1))}},
         "[root]\\<path corrupted>\\b\\"},
        {"a missing parent", {{21, folder(u"b", reference(20, 1))}, {39, file(reference(21, 1))}}, "[root]\\b\\"},
        {"two that name each other",
         {{20, folder(u"a", reference(21, 1))}, {21, folder(u"b", reference(20, 1))}, {39, file(reference(21, 1))}},
         "[root]\\<path corrupted>\\b\\a\\b\\"},
        {"its own parent",
         {{21, folder(u"b", reference(21, 1))}, {39, file(reference(21, 1))}},
         "[root]\\<path corrupted>\\b\\"},
        {"a reference without sequence",
         {{20, folder(u"a", reference(5, 5))}, {21, folder(u"b", reference(20, 0))}, {39, file(reference(21, 1))}},
         "[root]\\a\\b\\"},
        {"a ring of such references",
         {{20, folder(u"a", reference(21, 0))}, {21, folder(u"b", reference(20, 0))}, {39, file(reference(21, 1))}},
         "[root]\\<path corrupted>\\b\\a\\b\\"},
        {"the smaller of two parents",
         {{20, folder(u"a", reference(5, 5))},
          {21, folder(u"b", reference(20, 1)).name(u"b", build::win32, reference(5, 5))},
          {39, file(reference(21, 1))}},
         "[root]\\a\\b\\"},
        {"the first name of a directory, 8.3 or not",
         {{20, build::record().directory().std_info().name(u"LONGNA~1", build::dos).name(u"long name", build::win32)},
          {39, file(reference(20, 1))}},
         "[root]\\LONGNA~1\\"},
        {"only an 8.3 name: no parent when read, $MFT's when met above",
         {{20, build::record().directory().std_info().name(u"A~1", build::dos)},
          {21, folder(u"b", reference(20, 1))},
          {39, file(reference(21, 1))}},
         "[root]\\$MFT\\A~1\\b\\"},
        {"the same as the first parent",
         {{20, build::record().directory().std_info().name(u"A~1", build::dos)}, {39, file(reference(20, 1))}},
         "[root]\\"},
        {"a name that is no whole UTF-16",
         {{20, folder(u"a\xd800z", reference(5, 5))},
          {21, folder(u"b", reference(20, 1))},
          {39, file(reference(21, 1))}},
         "[root]\\a"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(path_of_last(c.items), c.path) << c.what;
        // Alone, every directory lies ahead of the walk: the same but where the walk itself must have passed.
        if (std::string(c.path).find("$MFT") != std::string::npos) continue;
        EXPECT_EQ(path_of_last(c.items, {"-mftstart", "39"}), c.path) << c.what;
    }
}

TEST(paths, earlier_climbs_change_no_later_one) {
    // Every directory of a chain is asked for, from both ends, and once more behind the others.
    std::vector<placed> items;
    std::string expected = "[root]\\";
    for (std::size_t inode = 10; inode < 30; ++inode) {
        items.push_back({inode, folder(std::u16string(1, static_cast<char16_t>(u'a' + inode - 10)),
                                       inode == 10 ? reference(5, 5) : reference(inode - 1, 1))});
    }
    for (std::size_t inode = 30; inode < 40; ++inode)
        items.push_back({inode, file(reference(inode % 2 == 0 ? 59 - inode : inode - 20, 1))});
    for (std::size_t inode = 10; inode <= 19; ++inode)
        expected += std::string(1, static_cast<char>('a' + inode - 10)) + "\\";
    EXPECT_EQ(path_of_last(items), expected);
}

TEST(paths, a_climb_has_an_end) {
    constexpr std::size_t longest = 16'384;
    for (const bool fits : {true, false}) {
        const std::size_t first = 10, last = first + longest + (fits ? 0 : 1);
        std::vector<build::bytes> records(last + 1);
        for (std::size_t inode = first; inode < last; ++inode) {
            records[inode] = folder(u"d", inode == first ? reference(5, 5) : reference(inode - 1, 1)).on_disk();
        }
        records[last] = file(reference(last - 1, 1)).on_disk();
        const auto lines = report_lines(build::mft(records), {"-csv", "-mftstart", std::to_string(last)});
        EXPECT_EQ(lines.at(1).find("<path corrupted>") == std::string::npos, fits);
        EXPECT_GT(lines.at(1).size(), 2 * longest);
    }
}
