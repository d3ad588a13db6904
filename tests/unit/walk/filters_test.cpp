#include "walk/filters.h"

#include <gtest/gtest.h>

#include "ntfs/file_record.h"
#include "ntfs/volume.h"
#include "report/record_text.h"
#include "support/program_run.h"
#include "support/record_builder.h"
#include "walk/acceptance.h"
#include "walk/walk_state.h"

namespace {

// What the report says of a record's filter hits; "-" for a record that is not accepted. It is read as number 40.
std::string verdict(const arguments& options, const build::bytes& bytes, bool on_volume = false) {
    const read_options read = options_of(options + arguments{"-mftfile", "never opened"});
    EXPECT_EQ(read.result, 0);
    // Never asked for a byte here: it only tells that the source is a volume.
    if (on_volume) read.ctx->volume = std::make_unique<ntfs_volume>();
    prepare_rules(*read.ctx);
    file_record record;
    walk_state state;
    if (!parse_file_record(record, bytes, 40, *read.ctx, state)) return "-";
    text_buffer text;
    append_filter_hits(text, record);
    return std::string(text.view());
}

build::bytes named(std::u16string_view name) { return build::record().std_info().name(name).fixed_up(); }
build::bytes sized(std::size_t size) { return build::record().name(u"a").data(std::string(size, 'x')).fixed_up(); }
build::bytes folder() { return build::record().directory().name(u"folder").fixed_up(); }

filter_entry described(std::uint32_t kind, const std::u16string& text, std::vector<std::u16string> streams = {}) {
    filter_entry entry;
    entry.kind = kind;
    entry.inode = 7;
    entry.text = text;
    entry.has_stream = !streams.empty();
    entry.streams = std::move(streams);
    describe_filter_entry(entry);
    return entry;
}

}  // namespace

TEST(filters, names_extensions_and_wildcards) {
    const build::bytes two_names =
        build::record().std_info().name(u"A~1.TXT", build::dos).name(u"long name.tar").fixed_up();
    const arguments three_stages = {"-filter_ext", "c", "-filter_wildcard", "b", "-filter_name", "b"};
    const std::tuple<const char*, arguments, build::bytes, const char*> cases[] = {
        {"no filter", {}, named(u"a"), ""},
        {"part of a name", {"-filter_name", "foo"}, named(u"xFOOy.txt"), "name(foo)"},
        {"not the whole name", {"-filter_fullname", "foo"}, named(u"xFOOy.txt"), "-"},
        {"the whole name", {"-filter_fullname", "foo"}, named(u"FOO"), "name(foo)"},
        {"names are asked in their own order", {"-filter_name", "txt|foo"}, named(u"foo.txt"), "name(foo)"},
        {"the 8.3 name", {"-filter_name", "~1"}, two_names, "name(~1)"},
        {"capitals of other scripts", {"-filter_name", "ÄΣ"}, named(u"xäσ"), "name(äσ)"},
        {"the last dot", {"-filter_ext", "b|.TXT"}, named(u"a.b.Txt"), "ext(txt)"},
        {"the first name with a dot", {"-filter_ext", "txt"}, two_names, "ext(txt)"},
        {"no other name", {"-filter_ext", "tar"}, two_names, "-"},
        {"no dot", {"-filter_ext", "txt"}, named(u"txt"), "-"},
        {"anywhere in the name", {"-filter_wildcard", "a?c"}, named(u"xxABCxx"), "pattern(xxABCxx)"},
        {"a second try further on", {"-filter_wildcard", "ab?d"}, named(u"abxabcd"), "pattern(abxabcd)"},
        {"a star is a star", {"-filter_wildcard", "a*c"}, named(u"abc"), "-"},
        {"a name with a star", {"-filter_wildcard", "a*c"}, named(u"a*c"), "pattern(a*c)"},
        {"a gap ahead", {"-filter_wildcard", "??b"}, named(u"xxb"), "pattern(xxb)"},
        {"no room for the gap ahead", {"-filter_wildcard", "??b"}, named(u"xb."), "-"},
        {"no room for the gap behind", {"-filter_wildcard", "b?"}, named(u"abb"), "pattern(abb)"},
        {"nothing behind", {"-filter_wildcard", "ab?"}, named(u"xab"), "-"},
        {"gaps alone match nothing", {"-filter_wildcard", "?"}, named(u"abc"), "-"},
        {"odd bytes, too", {"-filter_wildcard", "\xE6\x88\x80"}, named(u"ab"), "pattern(ab)"},
        {"a line feed is two characters", {"-filter_wildcard", "a\r\nb"}, named(u"a\nb"), "pattern(a\nb)"},
        {"and not one", {"-filter_wildcard", "a\nb"}, named(u"a\nb"), "-"},
        {"only the first stage that hits", three_stages, named(u"b.c"), "pattern(b.c)"},
        {"a directory that does not resolve", {"-filter_dir", "\\x"}, named(u"a"), "-"},
    };
    for (const auto& [what, options, record, hits] : cases) EXPECT_EQ(verdict(options, record), hits) << what;
}

TEST(filters, sizes_are_those_of_the_unnamed_stream) {
    const build::bytes no_runs = {0};
    const build::bytes long_one = build::record().non_resident(0x80, no_runs, 5000).fixed_up();
    const build::bytes with_stream = build::record().name(u"a").data(std::string(200, 'x'), u"named").fixed_up();
    const std::tuple<const char*, arguments, build::bytes, bool> cases[] = {
        {"at the limit", {"-filter_max_size", "100"}, sized(100), true},
        {"above", {"-filter_max_size", "100"}, sized(101), false},
        {"a folder is no larger", {"-filter_max_size", "100"}, folder(), true},
        {"a folder is smaller", {"-filter_min_size", "100"}, folder(), false},
        {"below", {"-filter_min_size", "100"}, sized(99), false},
        {"between", {"-filter_min_size", "99", "-filter_max_size", "101"}, sized(100), true},
        {"too small to be seen", {"-filter_max_size", "10"}, sized(40), true},
        {"just seen", {"-filter_max_size", "10"}, sized(41), false},
        {"in clusters", {"-filter_max_size", "4999"}, long_one, false},
        {"in clusters, at the limit", {"-filter_min_size", "5000"}, long_one, true},
        {"other streams do not count", {"-filter_min_size", "100"}, with_stream, false},
    };
    for (const auto& [what, options, record, kept] : cases) EXPECT_EQ(verdict(options, record) != "-", kept) << what;
}

TEST(filters, records_and_directories_by_number) {
    const build::bytes with_stream = build::record().name(u"A.txt").data("x").data("y", u"ADS").fixed_up();
    const std::tuple<const char*, arguments, const char*> cases[] = {
        {"its own number", {"-filter_inode", "7|0x28"}, "inode(40)"},
        {"another", {"-filter_inode", "41"}, "-"},
        {"another, but a name", {"-filter_inode", "41", "-filter_name", "a.t"}, "name(a.t)"},
        {"a stream selects the whole record", {"-filter_inode", "40:none"}, "inode(40)"},
        {"unless it holds a colon", {"-filter_inode", "40::ads"}, "inode(40:ADS)"},
        {"and then it must be there", {"-filter_inode", "40::none"}, "-"},
        {"its parent", {"-filter_dir_inode", "5"}, "dir(dir_inode(5))"},
        {"another parent, but a name", {"-filter_dir_inode", "6", "-filter_fullname", "a.txt"}, "name(a.txt)"},
        {"its parent, with a text", {"-filter_dir_inode", "5:text"}, "dir(text)"},
        {"a stream in its parent", {"-filter_dir_inode", "5::ads"}, "inode()"},
        {"another parent", {"-filter_dir_inode", "6|0"}, "-"},
    };
    for (const auto& [what, options, hits] : cases) EXPECT_EQ(verdict(options, with_stream), hits) << what;
    const read_options twice = options_of({"-mftfile", "never opened", "-filter_inode", "5|5:B|5:a|x"});
    const filter_entry& entry = *twice.ctx->selected_inodes.find(5u);
    EXPECT_TRUE(entry.whole && entry.has_stream && twice.ctx->selected_inodes.size() == 1);
    EXPECT_EQ(entry.streams, (std::vector<std::u16string>{u"a", u"b"}));
}

TEST(filters, groups_are_alternatives_unless_all_must_hit) {
    const build::bytes live = named(u"a.txt"), gone = build::record().deleted().std_info().name(u"a.txt").fixed_up();
    const std::tuple<const char*, arguments, const char*, const char*> cases[] = {
        {"deleted alone", {"-filter_deleted_files"}, "-", ""},
        {"deleted and an extension", {"-filter_deleted_files", "-filter_ext", "txt"}, "-", "ext(txt)"},
        {"deleted and another", {"-filter_deleted_files", "-filter_ext", "doc"}, "-", "-"},
        {"either in a group", {"-filter_name", "z", "-filter_ext", "txt", "-filter_AND_logic"}, "ext(txt)", "ext(txt)"},
        {"a number and a name", {"-filter_inode", "41", "-filter_name", "a", "-filter_AND_logic"}, "-", "-"},
        {"the number alone", {"-filter_inode", "40", "-filter_AND_logic"}, "inode(40)", "inode(40)"},
        {"too late", {"-filter_start_time", "01/02/2020"}, "-", "-"},
        {"at the very moment", {"-filter_start_time", "01/01/2020"}, "", ""},
        {"at the last moment", {"-filter_stop_time", "01/01/2020 00:00:00"}, "", ""},
        {"too early", {"-filter_stop_time", "12/31/2019"}, "-", "-"},
        {"time narrows hits", {"-filter_name", "a", "-filter_start_time", "01/02/2020"}, "-", "-"},
    };
    for (const auto& [what, options, of_live, of_deleted] : cases) {
        EXPECT_EQ(verdict(options, live), of_live) << what;
        EXPECT_EQ(verdict(options, gone), of_deleted) << what;
    }
    const build::bytes one_time = build::record()
                                      .std_info()
                                      .name(u"a", build::dos, 5, {.accessed = build::tick_2020 + 2 * build::day})
                                      .fixed_up();
    EXPECT_EQ(verdict({"-filter_start_time", "01/03/2020"}, one_time), "");
    EXPECT_EQ(verdict({"-filter_stop_time", "01/03/2020"}, build::record().data("x").fixed_up()), "-")
        << "no times at all";
}

TEST(filters, signature_rules_test_the_last_stream_of_a_volume_only) {
    const std::string hive = "regf" + std::string(20, '.'), text(80, '.');
    const build::bytes in_stream = build::record().std_info().data(text).data(hive, u"s").fixed_up();
    const build::bytes ahead = build::record().std_info().id(9).data(text).id(3).data(hive, u"s").fixed_up();
    const build::bytes short_one = build::record().std_info().data("MZ........").fixed_up();
    const std::tuple<const char*, arguments, build::bytes, const char*> cases[] = {
        {"last in order of ids", {"-filter_sig", "mz|hive"}, in_stream, "type(RegistryHive)"},
        {"not the last", {"-filter_sig", "hive"}, ahead, "-"},
        {"too short", {"-filter_sig", "mz"}, short_one, "-"},
        {"no stream", {"-filter_sig", "hive"}, folder(), "-"},
        {"a pattern matches nothing", {"-filter_pattern", "72,65"}, in_stream, "-"},
        {"or a name", {"-filter_sig", "lnk", "-filter_name", "fold"}, folder(), "name(fold)"},
        {"and a name", {"-filter_sig", "lnk", "-filter_name", "fold", "-filter_AND_logic"}, folder(), "-"},
    };
    for (const auto& [what, options, record, of_volume] : cases) {
        EXPECT_EQ(verdict(options, record, true), of_volume) << what;
        EXPECT_NE(verdict(options, record, false), "-") << what << ": without a volume, rules pass";
    }
}

TEST(filters, signature_words_and_what_they_match) {
    std::string mz = "MZ" + std::string(510, '\0');
    mz[6] = 1, mz[24] = 0x40, mz[60] = 0x40;
    std::string dos = mz, pe32 = mz, pe64 = mz, late = mz;
    dos[24] = 0x3F;
    pe32.replace(0x40, 4, "PE\0\0", 4), pe32.replace(0x40 + 24, 2, "\x0B\x01", 2);
    pe64.replace(0x40, 4, "PE\0\0", 4), pe64.replace(0x40 + 24, 2, "\x0B\x02", 2);
    late.replace(60, 4, "\x09\x01\0\0", 4), late.replace(0x109, 4, "PE\0\0", 4);  // one byte short of its headers
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"mz", mz, "mz "},
        {"16-bit", dos, "mz 16bit_mz "},
        {"32-bit", pe32, "mz 32bit_pe pe "},
        {"64-bit", pe64, "mz 64bit_pe pe "},
        {"headers cut off", late, "mz "},
        {"63 bytes", mz.substr(0, 63), ""},
        {"hive", "regf............", "hive "},
        {"15 bytes", "regf...........", ""},
        {"old log", std::string("\x30\0\0\0LfLe........", 16), "evt "},
        {"log", std::string("ElfFile.........", 16), "evt "},
        {"database", "SQLite format 3\n", "sqlite "},
        {"link", std::string("L\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0", 16), "lnk "},
        {"empty", "", ""},
    };
    const char16_t* words[] = {u"mz", u"16bit_mz", u"32bit_pe", u"64bit_pe", u"pe", u"hive", u"evt", u"sqlite", u"lnk"};
    for (const auto& [what, head, expected] : cases) {
        std::string matched;
        for (const char16_t* word : words) {
            const signature_word* found = find_signature_word(word);
            ASSERT_NE(found, nullptr);
            const filter_rule rule = make_rule(found->kind);
            if (rule.match(rule, build::bytes(head.begin(), head.end()))) matched += std::string(found->word) + " ";
        }
        EXPECT_EQ(matched, expected) << what;
    }
    EXPECT_EQ(find_signature_word(u"exe"), nullptr);
}

TEST(filters, entries_describe_themselves) {
    const std::pair<filter_entry, std::string> cases[] = {
        {described(4, u"\\x"), "\\x||Any file in directory"},
        {described(32768 + 7, u"\\x"), "\\x||Any file in directory"},
        {described(5, u"ads", {u"ads"}), "path related to inode|inode(7:ads)|Specific named file"},
        {described(5, u""), "path related to inode|inode(7)|Any file in directory"},
        {described(3, u"", {u"one", u"two"}), "path related to inode|inode(7:one)|Specific file"},
        {described(8, u"x"), "*|x|Specific filename"},
        {described(1, u"x"), "*|*x*|Partial filename"},
        {described(0, u"x"), "*|*.x|Any file with extension"},
        {described(6, u"hive"), "*|All Registry Hives|Any file with this signature [regf]"},
        {described(2, u"dir\\file"), ".\\dir|file|Specific path/filename"},
        {described(2, u"C:\\dir\\file"), "C:\\dir|file|Specific path/filename"},
        {described(2, u"\\dir\\file"), "\\dir|file|Specific path/filename"},
        {described(4660, u"x"), "*||"},
    };
    for (const auto& [entry, texts] : cases)
        EXPECT_EQ(entry.dir_text + "|" + entry.file_text + "|" + entry.description, texts) << entry.kind;
    filter_entry noted;
    make_filter_entry(noted, 9, u"c:\\dir", 5);
    EXPECT_TRUE(noted.by_stream && noted.has_stream && !noted.whole) << "any colon names a stream";
    EXPECT_EQ(noted.streams, std::vector<std::u16string>{u"\\dir"});
    make_filter_entry(noted, 9, u"\\dir", 5);
    EXPECT_TRUE(noted.whole && !noted.by_stream);
    EXPECT_EQ(noted.description, "Any file in directory (\\dir)");
}
