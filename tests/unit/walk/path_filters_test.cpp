#include "walk/path_filters.h"

#include <gtest/gtest.h>

#include <sstream>

#include "base/text.h"
#include "ntfs/path_lookup.h"
#include "support/index_builder.h"
#include "support/open_volume.h"
#include "walk/filters.h"

namespace {

using namespace build;

// A link with the substitute name "x", behind flags if it is a symbolic link.
bytes link(std::u16string_view name, std::u16string_view print, std::size_t flags = 4,
           std::uint16_t substitute_at = 0) {
    bytes out = reparse(u"x", print, bytes(flags));
    poke_u16(out, 8, substitute_at);
    return directory(name, {}).resident(0xC0, out).on_disk();
}

// \Äpfel (6) with Birne (7), which holds kern.txt (8) and links in the root. Record 14 is its own parent, 15 is free.
// Record 1 is named like 8, but for a lone half of a pair and what follows.
bytes orchard() {
    const bytes kern = build::record()
                           .std_info()
                           .name(u"KERN~1.TXT", dos, reference(7, 1))
                           .name(u"Kern.txt", win32, reference(7, 1))
                           .name(u"zwei", posix, reference(6, 1))
                           .on_disk();
    return build::volume(64)
        .mft({{16, 4}}, {build::record().std_info().name(u"zwei\xD800x").on_disk(),
                         {},
                         {},
                         {},
                         directory(u".", {5, 6, 9, 10, 11, 12, 13, 14, 15}).on_disk(),
                         directory(u"Äpfel", {1, 7, 8}).on_disk(),
                         directory(u"Birne", {8}, 6).on_disk(),
                         kern,
                         link(u"mount", u"C:\\äPFEL", 0),
                         link(u"sym", u"\\mount"),
                         link(u"self", u"C:\\self"),
                         link(u"empty", u""),
                         link(u"zeros", u"", 4, 700),
                         directory(u"loop", {14}, 14).on_disk()})
        .all();
}

std::string described(const flat_map<std::uint64_t, filter_entry>& table) {
    std::string text;
    for (const auto& item : table)
        text += std::to_string(item.key) + "=" + utf8_from_utf16(item.value.text) + (item.value.whole ? " " : "? ");
    return text;
}

}  // namespace

TEST(path_filters, paths_become_records) {
    const struct {
        std::u16string path;
        bool follow;
        std::uint64_t inode;
        const char16_t* canonical;
    } cases[] = {
        {u"\\äpfel\\birne", true, 7, u"\\äpfel\\birne"},
        {u"C:\\ÄPFEL\\\\BIRNE\\ KERN.TXT :ads\\", true, 8, u"C:\\ÄPFEL\\BIRNE\\ KERN.TXT :ads"},
        {u"äpfel/zwei", true, 8, u"äpfel\\zwei"},
        {u"\\äpfel\\birne\\kern~1.txt", true, 0, u""},
        {u"\\", true, 5, u"\\"},
        {u"c:", true, 5, u"c:"},
        {u"\\\\?\\globalroot\\device\\HARDDISKVolumeShadowCopy12\\Äpfel", true, 6, u"\\Äpfel"},
        {u"\\mount\\birne", true, 7, u"\\C:\\äPFEL\\birne"},
        {u"sym\\birne", true, 7, u"C:\\äPFEL\\birne"},
        {u"\\sym", false, 10, u"\\sym"},
        {u"\\mount\\birne", false, 0, u""},
        {u"\\self\\x", true, 0, u""},
        {u"\\empty\\äpfel", true, 6, u"\\äpfel"},
        {u"\\zeros", true, 13, u"\\zeros"},  // nothing stands from its name on: no link
    };
    opened_volume opened(orchard());  // one cache for all
    for (const auto& c : cases) {
        path_target target;
        const bool found = lookup_path(target, opened.ctx, c.path, c.follow);
        EXPECT_EQ(found ? target.inode : 0, c.inode) << utf8_from_utf16(c.path);
        EXPECT_EQ(target.path, c.canonical);
    }
}

TEST(path_filters, items_become_entries) {
    const std::pair<std::vector<std::u16string>, const char*> cases[] = {
        {{u"c:\\äpfel", u"\\none", u"\\"}, "5=[root] 6=c:\\äpfel "},
        {{u"\\*"},
         "5=[root]\\ 6=[root]\\Äpfel\\ 9=[root]\\mount\\ 10=[root]\\sym\\ 11=[root]\\self\\ "
         "12=[root]\\empty\\ 13=[root]\\zeros\\ 14=[root]\\loop\\ "},
        {{u"\\äpfel\\*?", u"c:\\äpfel*99999999999x"}, "6=[root]\\Äpfel\\ 7=[root]\\Äpfel\\Birne\\ "},
        {{u"\\loop*2"}, "14=\\loop\\*2 "},  // no way leads from it to the root
    };
    for (const auto& [items, entries] : cases) {
        opened_volume opened(orchard());
        opened.ctx.filter_dirs = items;
        resolve_path_filters(opened.ctx);
        EXPECT_EQ(described(opened.ctx.dir_inodes), entries);
    }
}

TEST(path_filters, a_tree_deeper_than_any_path_is_told) {
    std::vector<bytes> records(4);
    records.push_back(directory(u".", {6}).on_disk());
    for (std::uint64_t inode = 6; inode < 140; ++inode)
        records.push_back(directory(std::u16string(255, u'd'), {inode + 1}, inode == 6 ? 5 : inode - 1).on_disk());
    opened_volume opened(build::volume(160).mft({{150, 4}}, records).all());
    auto log = std::make_unique<std::ostringstream>();
    const std::ostringstream& told = *log;
    opened.ctx.diags_log.stream = std::move(log);
    opened.ctx.filter_dirs = {u"\\*200"};
    resolve_path_filters(opened.ctx);
    EXPECT_EQ(opened.ctx.dir_inodes.size(), 1u + 127);
    EXPECT_NE(told.str().find("err: 1 directories lie deeper than any path and are left out, the first is record 85"),
              std::string::npos);
}
