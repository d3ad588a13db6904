#include "walk/path_filters.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "ntfs/path_lookup.h"
#include "ntfs/subtree.h"
#include "support/index_builder.h"
#include "support/open_volume.h"
#include "walk/filters.h"

namespace {

using build::bytes;
using build::directory;
using build::reference;

// The buffer of a link: its names, behind flags if it is a symbolic link.
bytes link_to(std::u16string_view substitute, std::u16string_view print, bool symbolic = true) {
    bytes out(symbolic ? 20 : 16);
    build::poke_u16(out, 4, 1);
    build::poke_u16(out, 10, static_cast<std::uint16_t>(2 * substitute.size()));
    build::poke_u16(out, 12, static_cast<std::uint16_t>(2 * substitute.size()));
    build::poke_u16(out, 14, static_cast<std::uint16_t>(2 * print.size()));
    for (const std::u16string_view text : {substitute, print}) {
        for (const std::uint8_t byte : build::utf16_bytes(text)) out.push_back(byte);
    }
    return out;
}

// Nothing but zeros from where its name should stand to the record's end.
bytes nameless_link() {
    bytes out = link_to(u"x", u"");
    build::poke_u16(out, 8, 700);
    return out;
}

bytes link(std::u16string_view name, const bytes& buffer) { return directory(name, {}).resident(0xC0, buffer).on_disk(); }

// \Äpfel (6) with Birne (7), which holds kern.txt (8) and links in the root. Record 14 is its own parent, 15 is free.
bytes orchard() {
    const bytes file = build::record().std_info().name(u"KERN~1.TXT", build::dos, reference(7, 1))
                           .name(u"Kern.txt", build::win32, reference(7, 1)).name(u"zwei", build::posix, reference(6, 1)).on_disk();
    return build::volume(64).mft({{16, 4}}, {{}, {}, {}, {}, directory(u".", {5, 6, 9, 10, 11, 12, 13, 14, 15}).on_disk(),
        directory(u"Äpfel", {7, 8}).on_disk(), directory(u"Birne", {8}, 6).on_disk(), file,
        link(u"mount", link_to(u"\\??\\C:\\Äpfel", u"C:\\äPFEL", false)), link(u"sym", link_to(u"\\??\\C:\\mount", u"\\mount")),
        link(u"self", link_to(u"\\??\\C:\\self", u"C:\\self")), link(u"empty", link_to(u"x", u"")),
        link(u"zeros", nameless_link()), directory(u"loop", {14}, 14).on_disk()}).all();
}

std::string described(const flat_map<std::uint64_t, filter_entry>& table) {
    std::string text;
    for (const auto& item : table) {
        text += std::to_string(item.key) + "=" + utf8_from_utf16(item.value.text) + (item.value.whole ? " " : "? ");
    }
    return text;
}

}  // namespace

TEST(path_filters, paths_become_records) {
    const struct { std::u16string path; bool follow, found; std::uint64_t inode; const char16_t* canonical; } cases[] = {
        {u"\\äpfel\\birne", true, true, 7, u"\\äpfel\\birne"},
        {u"C:\\ÄPFEL\\\\BIRNE\\ KERN.TXT :ads\\", true, true, 8, u"C:\\ÄPFEL\\BIRNE\\ KERN.TXT :ads"},
        {u"äpfel/zwei", true, true, 8, u"äpfel\\zwei"},
        {u"/äpfel\\birne", true, false, 0, u""},
        {u"\\äpfel\\birne\\kern~1.txt", true, false, 0, u""},
        {u"\\", true, true, 5, u"\\"},
        {u"c:", true, true, 5, u"c:"},
        {u"", true, false, 0, u""},
        {u"\\\\?\\globalroot\\device\\HARDDISKVolumeShadowCopy12\\Äpfel", true, true, 6, u"\\Äpfel"},
        {u"\\mount\\birne", true, true, 7, u"\\C:\\äPFEL\\birne"},
        {u"sym\\birne", true, true, 7, u"C:\\äPFEL\\birne"},
        {u"\\sym", false, true, 10, u"\\sym"},
        {u"\\mount\\birne", false, false, 0, u""},
        {u"\\self\\x", true, false, 0, u""},
        {u"\\empty\\äpfel", true, true, 6, u"\\äpfel"},
        {u"\\zeros", true, true, 13, u"\\zeros"},  // no link
        {u"\\Birne", true, false, 0, u""},
    };
    opened_volume opened(orchard());
    for (int round = 0; round < 2; ++round) {  // the second time out of the cache
        for (const auto& c : cases) {
            path_target target;
            EXPECT_EQ(lookup_path(target, opened.volume(), c.path, c.follow, opened.ctx.log), c.found) << utf8_from_utf16(c.path);
            EXPECT_EQ(target.path, c.canonical);
            EXPECT_TRUE(!c.found || target.inode == c.inode) << utf8_from_utf16(c.path);
        }
    }
}

TEST(path_filters, items_become_entries) {
    const struct { std::vector<std::u16string> dirs, files; const char *dir_entries, *file_entries; } cases[] = {
        {{u"\\äpfel", u"\\none"}, {}, "6=\\äpfel ", ""},
        {{u"c:\\äpfel"}, {}, "6=c:\\äpfel ", ""},
        {{u"\\"}, {}, "5=[root] ", ""},
        {{u"\\*"}, {}, "5=[root]\\ 6=[root]\\Äpfel\\ 9=[root]\\mount\\ 10=[root]\\sym\\ 11=[root]\\self\\ "
                       "12=[root]\\empty\\ 13=[root]\\zeros\\ 14=[root]\\loop\\ ", ""},
        {{u"\\äpfel*0"}, {}, "6=\\äpfel ", ""},
        {{u"\\äpfel\\*?", u"c:\\äpfel*99999999999x"}, {}, "6=[root]\\Äpfel\\ 7=[root]\\Äpfel\\Birne\\ ", ""},
        {{u"c:\\äpfel\\*1"}, {}, "6=c:\\Äpfel\\ 7=c:\\Äpfel\\Birne\\ ", ""},
        {{u"\\loop*2"}, {}, "14=\\loop\\*2 ", ""},  // no way leads from it to the root
        {{}, {u"\\äpfel\\zwei", u"c:\\äpfel\\birne\\kern.txt:ads", u"c:\\sym", u"\\none"}, "", "8= 10= "},
    };
    for (const auto& c : cases) {
        opened_volume opened(orchard());
        opened.ctx.filter_dirs = c.dirs;
        opened.ctx.filter_files = c.files;
        resolve_path_filters(opened.ctx);
        EXPECT_EQ(described(opened.ctx.dir_inodes), c.dir_entries);
        EXPECT_EQ(described(opened.ctx.selected_inodes), c.file_entries);
    }
}
