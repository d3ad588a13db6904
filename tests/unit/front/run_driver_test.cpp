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

using arguments = std::vector<std::string>;

struct run_result {
    int exit_code = 0;
    std::string out, err;
};

std::string without_returns(std::string text) {
    std::erase(text, '\r');
    return text;
}

run_result result_of(arguments args) {
    args.insert(args.begin(), "grelmoor");
    run_result result;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    result.exit_code = run(args);
    result.out = without_returns(testing::internal::GetCapturedStdout());
    result.err = without_returns(testing::internal::GetCapturedStderr());
    return result;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t to = text.find('\n', from);
        lines.push_back(text.substr(from, to - from));
        from = to == std::string::npos ? text.size() : to + 1;
    }
    return lines;
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
    const std::vector<std::string> lines =
        lines_of(build_run_header({"grelmoor", "-a b", "-PIPE", "", "-dateformat", "yyyy-mm-dd"}));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], banner);
    EXPECT_TRUE(shape_of(lines[1]).starts_with("run time: ####-##-## ##:##:##.### [local time]; computer: "))
        << lines[1];
    EXPECT_NE(lines[1].find("; os: "), std::string::npos) << lines[1];
    EXPECT_EQ(lines[2], "\"cmdline: <filelist> ... | grelmoor '-a b' -PIPE  -dateformat yyyy-mm-dd\"");
    // Neither option counts at index 0 or without a value.
    const std::vector<std::string> plain = lines_of(build_run_header({"-pipe", "-dateformat"}));
    EXPECT_TRUE(shape_of(plain[1]).starts_with("run time: ##/##/#### ")) << plain[1];
    EXPECT_EQ(plain[2], "\"cmdline: -pipe -dateformat\"");
}

TEST(run, failures_have_words_and_an_exit_code_and_come_behind_the_header) {
    const temp_folder folder;
    const std::string results = utf8_from_utf16(folder.path(u"r.csv"));
    const arguments source = {"-mftfile", utf8_from_utf16(folder.path(u"missing"))};
    const char* const refused = "This option is not offered in this build\n";
    const struct {
        arguments given;
        int exit_code;
        std::string words;
    } cases[] = {
        {{}, 0, ""},  // a source that cannot be opened
        {{"-sqlite", "x"}, -1, std::string(refused) + "invalid cmd options, aborting\n"},
        {{"-xml"}, -1, refused},
        {{"-xml", "-filepath_only"}, 0, ""},
        {{"-find_mft", "0", "-jsonl"}, -1, refused},
        {{"-filter_file", "x"}, 0, ""},  // counts for nothing without a volume
        {{"-image", "missing"}, -1, "couldn't find any partitions on disk\n\n"},
        {{"-drivenum", "9999"}, -1, "problems accessing physical disk #9999, aborting\n\n"},
        {{"-filter_sig", "word"}, 0, "Error: -filter_sig option specified invalid option, aborting\n"},
        {{"-filter_start_time", "never"}, 0, "Error: invalid filter start time, defaulting to 0\n"},
        {{"-aliaspath", "one"}, -1, "imbalanced alias to true pathfiles, aborting\ninvalid cmd options, aborting\n"},
        {{"-out", "."}, -1, "prob opening file . for output, aborting\ninvalid cmd options, aborting\n"},
        {{"-cpu", "2"}, -1, "Need to specify an output file to put the merged results in [-out <file>]\n"},
        {{"-cpu", "2", "-out", results, "-filter_all_clusters"}, -1, "The -cpu option only supports MFT analysis\n"},
        {{"-cpu", "1"}, 0, ""},
        {{"-find_objid", "x"}, -1, "prob parsing x as ObjID, aborting\n"},
        {{"-outdir", results}, 0, ""},
    };
    for (const auto& c : cases) {
        arguments args = source;
        args.insert(args.end(), c.given.begin(), c.given.end());
        const run_result result = result_of(args);
        EXPECT_EQ(result.exit_code, c.exit_code) << c.words;
        EXPECT_EQ(result.err, c.words);
        const bool with_header = std::find(args.begin(), args.end(), "-jsonl") == args.end();
        EXPECT_EQ(lines_of(result.out).size(), with_header ? 4u : 0u) << result.out;
    }
    const run_result no_source = result_of({"-csv"});
    EXPECT_EQ(no_source.exit_code, 0);
    EXPECT_TRUE(no_source.err.starts_with("error: need to specify at least an input source")) << no_source.err;
}

TEST(run, results_begin_with_their_own_line_where_no_header_is_wanted) {
    const temp_folder folder;
    const temporary_file mft(build::mft({}));
    temp_folder::put(folder.path(u"s.txt"), "-csv\n-no_run_header\n");
    const struct {
        arguments given;
        const char* begin;
    } cases[] = {
        {{"-csv", "-No_run_header"}, "mft entry,"},
        {{"-script", utf8_from_utf16(folder.path(u"s.txt"))}, "mft entry,"},
        {{"-jsonl"}, "{\"datetime\":"},
    };
    for (const auto& c : cases) {
        arguments args = {"-mftfile", mft.path(), "-quiet"};
        args.insert(args.end(), c.given.begin(), c.given.end());
        EXPECT_TRUE(result_of(args).out.starts_with(c.begin)) << result_of(args).out;
        args.insert(args.end(), {"-out", utf8_from_utf16(folder.path(u"out"))});
        EXPECT_EQ(result_of(args).out, "");
        EXPECT_TRUE(temp_folder::content(folder.path(u"out")).starts_with(c.begin)) << c.begin;
    }
}

TEST(run, the_log_names_what_had_no_effect_and_what_is_missing) {
    const temp_folder folder;
    std::vector<build::bytes> records(8);
    records[7] = build::record()
                     .attribute_list({{0x80, build::reference(6, 1), 3}, {0x80, build::reference(5, 5), 99}})
                     .name(u"LONG~1", build::dos)
                     .id(1)
                     .name(std::u16string(200, u'\u6F22'), build::dos)
                     .on_disk();
    build::bytes joined = build::mft(records);
    joined.insert(joined.end(), joined.begin(), joined.begin() + 2048);
    const temporary_file mft(joined);
    temp_folder::put(folder.path(u"s.txt"), "-csv\n-quiet\r-csv\r\n");
    const struct {
        arguments given;
        std::vector<const char*> told;
    } cases[] = {
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
    for (const auto& c : cases) {
        const std::string log = utf8_from_utf16(folder.path(u"log"));
        arguments args = {"-mftfile", mft.path(), "-quiet", "-diags", log};
        args.insert(args.end(), c.given.begin(), c.given.end());
        EXPECT_EQ(result_of(args).exit_code, 0);
        const std::string text = without_returns(temp_folder::content(folder.path(u"log")));
        for (const char* told : c.told) EXPECT_NE(text.find(told), std::string::npos) << told << text;
        EXPECT_EQ(text.find(": -hashfile\n"), std::string::npos);
    }
}

TEST(run, results_hold_the_header_and_the_rows_and_standard_output_the_header) {
    const temp_folder folder;
    const temporary_file mft(build::mft({}));
    const std::string results = utf8_from_utf16(folder.path(u"r\u00E9sum\u00E9.csv"));
    const run_result result = result_of({"-mftfile", mft.path(), "-csv", "-out", results, "-profile"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_TRUE(shape_of(result.err).ends_with("# secs \n")) << result.err;
    const std::string rows = without_returns(temp_folder::content(folder.path(u"r\u00E9sum\u00E9.csv")));
    EXPECT_TRUE(rows.starts_with(result.out)) << rows;
    EXPECT_EQ(lines_of(result.out).size(), 4u);
    EXPECT_EQ(lines_of(rows)[4].substr(0, 9), "mft entry");
    EXPECT_GT(lines_of(rows).size(), 5u);
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
    const struct {
        const char* option;
        std::u16string name;
    } cases[] = {
        {"-out", u"mft"},   {"-outfile", u"./mft"}, {"-out", u"hard"},   {"-out", u"soft"},     {"-out", u"script"},
        {"-diags", u"mft"}, {"-diags", u"hard"},    {"-diags", u"soft"}, {"-diags", u"script"},
    };
    for (const auto& c : cases) {
        const std::string path = utf8_from_utf16(folder.path(c.name)), log = utf8_from_utf16(folder.path(u"log"));
        if (!temp_folder::exists(folder.path(c.name))) continue;
        arguments args = {"-mftfile", utf8_from_utf16(folder.path(u"mft")),
                          "-script",  utf8_from_utf16(folder.path(u"script")),
                          c.option,   path};
        args.insert(args.end(), {"-diags", log});  // of two the first counts
        const run_result result = result_of(args);
        EXPECT_EQ(result.exit_code, -1) << c.option << path;
        EXPECT_NE(result.err.find(" for output, aborting\n"), std::string::npos) << c.option << path << result.err;
        EXPECT_EQ(temp_folder::content(folder.path(u"mft")), content) << c.option << path;
        EXPECT_EQ(temp_folder::content(folder.path(u"script")), "-base10\n") << c.option << path;
        const bool told = temp_folder::content(folder.path(u"log")).find("it is a source") != std::string::npos;
        EXPECT_TRUE(told || args[4] == "-diags") << path;
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
            arguments args = given;
            args.insert(args.end(), {option, source});
            EXPECT_EQ(result_of(args).exit_code, -1) << given[0] << option;
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
        arguments args = {"-out", utf8_from_utf16(folder.path(u"old"))};
        args.insert(args.end(), given.begin(), given.end());
        EXPECT_EQ(result_of(args).exit_code, -1) << given[0];
        EXPECT_EQ(temp_folder::content(folder.path(u"old")), "old results") << given[0];
    }
}

TEST(run, record_numbers_alone_are_visited_alone) {
    std::vector<build::bytes> records(8);
    records[6] = build::record().std_info().name(u"six.txt").data("6").on_disk();
    records[7] = build::record().std_info().name(u"seven.doc").data("7").on_disk();
    const temporary_file mft(build::mft(records));
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
        arguments args = {"-mftfile", mft.path(), "-filepath_only"};
        args.insert(args.end(), c.given.begin(), c.given.end());
        const run_result result = result_of(args);
        EXPECT_EQ(result.out.find("six.txt") != std::string::npos, c.six) << c.given.back();
        EXPECT_EQ(result.out.find("seven.doc") != std::string::npos, c.seven) << c.given.back();
        EXPECT_EQ(result.err.find("of 8") != std::string::npos, c.whole_walk) << c.given.back() << result.err;
    }
}

}  // namespace
