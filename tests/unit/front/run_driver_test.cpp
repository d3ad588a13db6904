// Whole runs in this process: what goes to which stream, and the exit code.

#include "front/run_driver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/text.h"
#include "front/run_header.h"
#include "front/usage.h"
#include "support/program_run.h"
#include "support/temp_folder.h"

namespace {

struct run_result {
    int exit_code = 0;
    std::string out, err;
};

std::string without_returns(std::string text) {
    std::erase(text, '\r');
    return text;
}

run_result result_of(const arguments& given) {
    run_result result;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    result.exit_code = run(arguments{"grelmoor"} + given);
    result.out = without_returns(testing::internal::GetCapturedStdout());
    result.err = without_returns(testing::internal::GetCapturedStderr());
    return result;
}

// Every digit as "#".
std::string shape_of(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '#');
    return text;
}

TEST(run, help_goes_to_standard_error_and_nothing_else_happens) {
    for (const arguments& args : {arguments{}, {"-csv", "/?"}, {"-H"}, {"-out", "never_made", "-HELP"}, {"--help"}}) {
        const run_result result = result_of(args);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, usage_text());
    }
    EXPECT_FALSE(std::filesystem::exists("never_made"));
}

TEST(run, header_tells_moment_machine_and_command) {
    // Neither option counts at index 0 or without a value.
    const std::pair<arguments, std::pair<const char*, const char*>> cases[] = {
        {{"grelmoor", "-a b", "-PIPE", "", "-dateformat", "yyyy-mm-dd"},
         {"####-##-##", "<filelist> ... | grelmoor '-a b' -PIPE  -dateformat yyyy-mm-dd"}},
        {{"-pipe", "-dateformat"}, {"##/##/####", "-pipe -dateformat"}},
    };
    for (const auto& [args, expected] : cases) {
        const std::string header = shape_of(build_run_header(args)), command = expected.second;
        const std::string begin =
            shape_of(banner) + "\nrun time: " + std::string(expected.first) + " ##:##:##.### [local time]; computer: ";
        EXPECT_TRUE(header.starts_with(begin)) << header;
        EXPECT_TRUE(header.ends_with("\n\"cmdline: " + command + "\"\n")) << header;
        EXPECT_NE(header.find("; os: "), std::string::npos) << header;
    }
}

TEST(run, failures_have_words_and_an_exit_code_and_come_behind_the_header) {
    const temp_folder folder;
    const std::string results = utf8_from_utf16(folder.path(u"r.csv"));
    const arguments source = {"-mftfile", utf8_from_utf16(folder.path(u"missing"))};
    const char* const refused = "This option is not offered in this build\n";
    const std::tuple<arguments, int, std::string> cases[] = {
        {{}, 0, ""},  // a source that cannot be opened
        {{"-sqlite", "x"}, -1, std::string(refused) + "invalid cmd options, aborting\n"},
        {{"-xml"}, -1, refused},
        {{"-xml", "-filepath_only"}, 0, ""},
        {{"-find_mft", "0", "-jsonl"}, -1, refused},
        {{"-filter_file", "x"}, 0, ""},  // counts for nothing without a volume
        {{"-image", "missing"}, -1, "couldn't find any partitions on disk\n\n"},
        {{"-drivenum", "9999"}, -1, "problems accessing physical disk #9999, aborting\n\n"},
        {{"-cpu", "2"}, -1, "Need to specify an output file to put the merged results in [-out <file>]\n"},
        {{"-cpu", "2", "-out", results, "-filter_all_clusters"}, -1, "The -cpu option only supports MFT analysis\n"},
        {{"-cpu", "1"}, 0, ""},
        {{"-find_objid", "x"}, -1, "prob parsing x as ObjID, aborting\n"},
        {{"-outdir", results}, 0, ""},
    };
    for (const auto& [given, exit_code, words] : cases) {
        const run_result result = result_of(source + given);
        EXPECT_EQ(result.exit_code, exit_code) << words;
        EXPECT_EQ(result.err, words);
        EXPECT_EQ(std::ranges::count(result.out, '\n'), std::ranges::count(given, "-jsonl") == 0 ? 4 : 0) << result.out;
    }
}

TEST(run, results_begin_with_their_own_line_where_no_header_is_wanted) {
    const temp_folder folder;
    const temporary_file mft(build::mft({}));
    temp_folder::put(folder.path(u"s.txt"), "-csv\n-no_run_header\n");
    const std::pair<arguments, const char*> cases[] = {
        {{"-csv", "-No_run_header"}, "mft entry,"},
        {{"-script", utf8_from_utf16(folder.path(u"s.txt"))}, "mft entry,"},
        {{"-jsonl"}, "{\"datetime\":"},
    };
    for (const auto& [given, begin] : cases) {
        const arguments args = arguments{"-mftfile", mft.path(), "-quiet"} + given;
        EXPECT_TRUE(result_of(args).out.starts_with(begin)) << result_of(args).out;
        EXPECT_EQ(result_of(args + arguments{"-out", utf8_from_utf16(folder.path(u"out"))}).out, "");
        EXPECT_TRUE(temp_folder::content(folder.path(u"out")).starts_with(begin)) << begin;
    }
}

TEST(run, the_log_names_what_had_no_effect_and_what_is_missing) {
    const temp_folder folder;
    build::record seven;
    seven.attribute_list({{0x80, build::reference(6, 1), 3}, {0x80, build::reference(5, 5), 99}});
    seven.name(u"LONG~1", build::dos).id(1).name(std::u16string(200, u'\u6F22'), build::dos);
    build::bytes joined = build::mft_with({{7, seven}});
    joined.insert(joined.end(), joined.begin(), joined.begin() + 2048);
    const temporary_file mft(joined);
    temp_folder::put(folder.path(u"s.txt"), "-csv\n-quiet\r-csv\r\n");
    const std::string log = utf8_from_utf16(folder.path(u"log"));
    const std::pair<arguments, std::vector<const char*>> cases[] = {
        {{"-filter_nmae", "note"}, {": -filter_nmae\n", ": note\n"}},
        {{"-mftstart", "1", "-mftstart", "2"}, {"argument, it has no effect: -mftstart\n"}},
        {{"-jp"}, {"-jp has no effect\n"}},
        {{"-hashfile", "md5", "-offset", "5", "-use_orig_ext"},
         {"-offset has no effect: this source", "-use_orig_ext has no effect without -action_copy_files"}},
        {{"-filter_inode", "7", "-mftrange", "2", "-raw"}, {"-mftrange has no effect where", "-raw has no effect"}},
        {{"-find_mft", "zz"}, {"-find_mft: no number, taken as 0: zz"}},
        {{"-filter_inode", "7:nosuch", "-action_copy_files", utf8_from_utf16(folder.path(u"to"))},
         {"record 7: no such stream: nosuch"}},
        {{"-filter_inode", "7|x"}, {"no effect: x\n"}},
        {{"-mftrange", "abc", "-filter_stop_time", "x", "-filter_max_size", "x"},
         {"-mftrange: no number", "no date, it has no effect: x", "limit of size: no number"}},
        {{"-script", utf8_from_utf16(folder.path(u"s.txt"))}, {"the script is left out: no line ends"}},
        {{"-filter_sig", "pe", "-filter_unalloc_clusters"}, {"first bytes need a volume", "clusters need a volume"}},
        {{"-mftstart", "99"}, {"record 63 is none of the 8 records"}},
        {{},
         {"id 1 passed over, its place is taken: \"\u6F22", "\u6F22\"\n",
          "record 0 declares 8 records, the file holds a", "record 7: record 6 cannot be used",
          "record 7: record 5 has not the attribute"}},
    };
    for (const auto& [given, expected] : cases) {
        EXPECT_EQ(result_of(given + arguments{"-mftfile", mft.path(), "-quiet", "-diags", log}).exit_code, 0);
        const std::string text = without_returns(temp_folder::content(folder.path(u"log")));
        for (const char* told : expected) EXPECT_NE(text.find(told), std::string::npos) << told << text;
        EXPECT_EQ(text.find(": -hashfile\n"), std::string::npos);
    }
}

TEST(run, a_profile_ends_with_the_seconds) {
    EXPECT_TRUE(shape_of(result_of({"-mftfile", "missing", "-profile"}).err).ends_with("# secs \n"));
}

// Each name leads to the $MFT or to the script, by another way; links where the host makes them.
TEST(run, results_and_logs_never_cut_a_source) {
    const temp_folder folder;
    const build::bytes mft = build::mft({});
    const std::string content(mft.begin(), mft.end());
    temp_folder::put(folder.path(u"mft"), content);
    temp_folder::put(folder.path(u"script"), "-base10\n");
    std::error_code no_link;
    std::filesystem::create_hard_link(folder.path(u"mft"), folder.path(u"hard"), no_link);
    std::filesystem::create_symlink(folder.path(u"mft"), folder.path(u"soft"), no_link);
    const std::pair<const char*, std::u16string> cases[] = {
        {"-out", u"mft"},   {"-outfile", u"./mft"}, {"-out", u"hard"},   {"-out", u"soft"},     {"-out", u"script"},
        {"-diags", u"mft"}, {"-diags", u"hard"},    {"-diags", u"soft"}, {"-diags", u"script"},
    };
    const arguments sources = {"-mftfile", utf8_from_utf16(folder.path(u"mft")), "-script",
                               utf8_from_utf16(folder.path(u"script"))};
    for (const auto& [option, name] : cases) {
        const std::string path = utf8_from_utf16(folder.path(name)), log = utf8_from_utf16(folder.path(u"log"));
        if (!temp_folder::exists(folder.path(name))) continue;
        const run_result result =
            result_of(sources + arguments{option, path, "-diags", log});  // of two the first counts
        EXPECT_EQ(result.exit_code, -1) << option << path;
        EXPECT_NE(result.err.find(" for output, aborting\n"), std::string::npos) << option << path << result.err;
        EXPECT_EQ(temp_folder::content(folder.path(u"mft")), content) << option << path;
        EXPECT_EQ(temp_folder::content(folder.path(u"script")), "-base10\n") << option << path;
        const bool told = temp_folder::content(folder.path(u"log")).find("it is a source") != std::string::npos;
        EXPECT_TRUE(told || option == std::string("-diags")) << path;
    }
}

TEST(run, a_source_is_known_whatever_the_option_and_the_spelling) {
    const temp_folder folder;
    const std::string source = utf8_from_utf16(folder.path(u"source")), end(1, char(temp_folder::separator()));
    for (const arguments& given : {arguments{"-mftfile", source + end},
                                   {"-indxfile", source},
                                   {"-script", source + end},
                                   {"-image", "none", "-vmdk", "none | " + source},
                                   {"-filter_pattern", "zz_", "-image", "'" + source + "'"},
                                   {"-sqlite", "x"}}) {
        const std::string content = given[0] == "-sqlite" ? "may be a source" : "->evidence, like a log";
        temp_folder::put(folder.path(u"source"), content);
        for (const char* option : {"-out", "-diags"}) {
            EXPECT_EQ(result_of(given + arguments{option, source}).exit_code, -1) << given[0] << option;
            EXPECT_EQ(temp_folder::content(folder.path(u"source")), content) << given[0] << option;
        }
    }
}

TEST(run, a_log_is_added_to_by_options_that_fail_and_tells_a_reason_behind_the_longest_path) {
    const temp_folder folder;
    const std::string far = utf8_from_utf16(folder.path(std::u16string(300, u'd')));
    const std::string log = utf8_from_utf16(folder.path(u"log")), why = "err: cannot open " + far + ": ";
    for (const char* option : {"-mftfile", "-sqlite"}) result_of({option, far, "-diags", log});
    const std::string text = temp_folder::content(folder.path(u"log"));
    EXPECT_NE(text.find(why), std::string::npos);
    EXPECT_EQ(text.find(why), text.rfind(why));
    temp_folder::put(folder.path(u"log"), "->cut off");
    result_of({"-sqlite", far, "-diags", log});
    EXPECT_TRUE(without_returns(temp_folder::content(folder.path(u"log"))).starts_with("->cut off\n->"));
    temp_folder::put(folder.path(u"log"), "no log");
    EXPECT_EQ(result_of({"-imagee", far, "-diags", log}).exit_code, 0);
    EXPECT_TRUE(temp_folder::content(folder.path(u"log")).starts_with("->"));
    EXPECT_NE(temp_folder::content(folder.path(u"log")).find(": -imagee"), std::string::npos);
}

TEST(run, an_option_that_fails_leaves_old_results_as_they_were) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"old"), "old results");
    for (const arguments& given :
         {arguments{"-sqlite", "x"}, {"-image", "missing"}, {"-cpu", "2", "-filter_all_clusters"}}) {
        EXPECT_EQ(result_of(given + arguments{"-out", utf8_from_utf16(folder.path(u"old"))}).exit_code, -1) << given[0];
        EXPECT_EQ(temp_folder::content(folder.path(u"old")), "old results") << given[0];
    }
}

TEST(run, record_numbers_alone_are_visited_alone) {
    const temporary_file mft(build::mft_with({{6, build::record().std_info().name(u"six.txt").data("6")},
                                              {7, build::record().std_info().name(u"seven.doc").data("7")}}));
    // The walk of a few numbers shows no progress over the others.
    const struct {
        arguments given;
        bool six, seven, whole_walk;
    } cases[] = {
        {{"-filter_inode", "6"}, true, false, false},
        {{"-filter_inode", "6", "-filter_max_size", "1"}, true, false, false},
        {{"-filter_inode", "6", "-filter_ext", "doc"}, true, true, true},
        {{"-filter_inode", "6", "-filter_name", "none"}, true, false, true},
        {{"-filter_inode", "6", "-filter_wildcard", "none"}, true, false, true},
        {{"-filter_inode", "6", "-filter_dir_inode", "99"}, true, false, true},
        {{"-filter_inode", "6", "-filter_sig", "mz"}, true, true, true},  // rules pass without a volume
        {{"-filter_inode", "6", "-filter_deleted_files"}, false, false, true},
        {{"-filter_inode", "word"}, true, true, true},
    };
    for (const auto& c : cases) {
        const run_result result = result_of(c.given + arguments{"-mftfile", mft.path(), "-filepath_only"});
        EXPECT_EQ(result.out.find("six.txt") != std::string::npos, c.six) << c.given.back();
        EXPECT_EQ(result.out.find("seven.doc") != std::string::npos, c.seven) << c.given.back();
        EXPECT_EQ(result.err.find("of 8") != std::string::npos, c.whole_walk) << c.given.back() << result.err;
    }
}

}  // namespace
