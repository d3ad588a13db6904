// What each option leaves in the settings: alone, in capitals, twice, without its value, and against others.

#include <gtest/gtest.h>

#include "base/text.h"
#include "support/describe_settings.h"
#include "support/program_run.h"
#include "support/temp_folder.h"

namespace {

const std::string by_comma = "replace_from=',' replace_to=' ' separator=',' ",
                  no_pair = "replace_from=none replace_to=none ", by_tab = no_pair + "separator='\t' ",
                  head_of_2048 = "+fetch_header head_length=2048 ";

std::string errors_of(const auto& call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

// The settings beyond those of the same run without the options.
std::string effect_of(const arguments& options, const arguments& source = {"-mftfile", "x"}) {
    testing::internal::CaptureStderr();
    const read_options base = options_of(source), with = options_of(source + options);
    testing::internal::GetCapturedStderr();
    return settings_beyond(*base.ctx, *with.ctx);
}

enum class second { left, taken };  // what becomes of a second occurrence

struct option_case {
    const char* name;
    const char* value;  // none: a flag
    std::string effect;
    second repeated = second::left;
};

std::ostream& operator<<(std::ostream& out, const option_case& c) {
    return out << c.name << ' ' << (c.value == nullptr ? "" : c.value);
}

const option_case cases[] = {
    {"-pair_datetime", nullptr, "+pair_datetime"},
    {"-csv", nullptr, by_comma + "+no_whitespace +format_csv separator_wide=','"},
    {"-csvgen", nullptr, by_comma + "+no_whitespace +format_csvgen separator_wide=','"},
    {"-csvl2t", nullptr, by_comma + "+no_whitespace -blank_before_time +format_l2t separator_wide=','"},
    {"-bodyfile", nullptr, "separator='|' +no_whitespace -blank_before_time +format_bodyfile separator_wide='|'"},
    {"-xml", nullptr, no_pair + "separator='' +format_xml -header_pending separator_wide=''"},
    {"-multiline", nullptr, no_pair + "separator='' +format_multiline separator_wide=''"},
    {"-jsonl", nullptr, no_pair + "separator='' +format_jsonl -header_pending separator_wide=''"},
    {"-no_run_header", nullptr, ""},  // read ahead of the passes
    {"-alias", "Name | /A|b|c", "aliases={'b'='c';'name'='/A'}"},
    {"-alias", "a%no_such_name%|b|a%no_such_name%|c", "aliases={'a%no_such_name%'='b'}"},
    {"-aliaspath", "A\\|\"q\" r\\", "alias_paths={'a'='q r'}"},
    {"-gzip", nullptr, "+gzip_wanted +gzip_level_flag"},
    {"-zlib", nullptr, "+gzip_wanted +zlib_wanted"},
    {"-threads", "-3", "threads=-3"},
    {"-zlibex", "t", "+gzip_wanted +zlibex_wanted zlibex_text='t'"},
    {"-signal", "-n", "signal_name='-n'"},  // a value may be anything
    {"-hostname", "h", "hostname='h' +hostname_given"},
    {"-username", "u", "username='u' +username_given"},
    {"-cpuinst", "3", "instance_number=3"},
    {"-cpu", "0x10", "cpu_count=16"},
    {"-cpu", "x", ""},
    {"-fragment_files", "2", "+separate_files fragment_count=2"},
    {"-separate_files", nullptr, "+separate_files"},
    {"-outdir", "d", "results_path='d' results_dir='d' +results_dir_given"},
    {"-profile", nullptr, "+profile_wanted"},
    {"-pipe", nullptr, "+pipe_flag"},
    {"-filter", "Name:*x*|b:*|c", "generic_filter_terms=[name:*x*;b:any;c:]"},
    {"-filter", "a,*,b", "generic_filter_terms=[all]"},
    {"-base10", nullptr, "-hex_numbers"},
    {"-base16", nullptr, ""},
    {"-csv_separator", "a|b", "separator='a|b' separator_wide='a|b'"},
    {"-csv_separator", " ,", "replace_from=',' replace_to=' ' separator=' ,' separator_wide=' ,'"},
    {"-csv_separator", "TAB", by_tab + "separator_wide='\t'"},
    {"-csv_separator", "\\t", by_tab + "separator_wide='\t'"},
    {"-csv_separator", "Tabs", no_pair + "separator='Tabs' separator_wide='Tabs'"},
    {"-no_whitespace", nullptr, "separator='|' +no_whitespace -blank_before_time separator_wide='|'"},
    {"-dateformat", "YYYY-MM-DD", "date_format='yyyy-mm-dd'"},
    {"-dateformat", "ymd", ""},
    {"-timeformat", "HH:MM:SS", "time_format='hh:mm:ss'"},
    {"-timeformat", "hh:mm:ss.xxxxxxxxx", "time_format='hh:mm:ss.xxxxxxxxx'"},
    {"-timeformat", "hhmmss.xxxxx", ""},
    {"-timeformat", "hh:mm:ss.", ""},
    {"-verbose", nullptr, "", second::taken},
    {"-v", nullptr, ""},
    {"-quiet", nullptr, "-show_progress"},

    {"-hide_dos_fntimes", nullptr, "+hide_dos_fntimes"},
    {"-thorough", nullptr, "+thorough"},
    {"-default_output", nullptr, "+default_output separator_wide='|'"},
    {"-filepath_only", nullptr, no_pair + "+filepath_only separator_wide='|'"},
    {"-csvperpath", nullptr, "+csv_per_path separator_wide='|'"},
    {"-mftstart", "o20", "mft_start=16 mft_count=1"},
    {"-mftstart", "word", "mft_count=1"},
    {"-mftrange", "x10", "mft_count=16"},
    {"-hashfile", "x ; SHA1", "separator='|' +no_whitespace +hash_output separator_wide='|' +want_sha1"},
    {"-hashfile", "md4", "separator='|' +no_whitespace separator_wide='|'"},

    {"-raw", nullptr, "+raw_copy"},
    {"-skip_sparse_clusters", nullptr, "+skip_sparse"},
    {"-filter_deleted_files", nullptr, "+deleted_only +and_logic"},
    {"-use_orig_ext", nullptr, "+use_orig_ext"},
    {"-filter_start_time", "13/45/2020", "time_stop=0xffffffffffffffff"},
    {"-filter_stop_time", "13/45/2020", ""},
    {"-filter_wildcard", "a?c", "wildcards=[6bytes]", second::taken},
    {"-filter_ext", ".tar.gz|D,c", "extensions=['targz';'d,c']"},
    {"-filter_fullname", "A,b", "name_entries={'a'=8,a;'b'=8,b}"},
    {"-filter_name", "A", "name_entries={'a'=1,partial,a}"},
    {"-offset", "0x200", "volume_offset=512"},
    {"-action_include_clusterinfo", nullptr, "-omit_cluster_info"},
    {"-action_include_header", nullptr, "-omit_cluster_info +fetch_header head_length=32"},
    {"-hexdump", nullptr, "+hexdump"},
    {"-filter_file", "\\A;\\B:s", "filter_files=['\\a';'\\b:s']", second::taken},
    {"-filter_dir_recurse", "\\A", "filter_dirs_recursive=['\\a']"},
    {"-filter_dir", "\\A*2", "filter_dirs=['\\a*2']"},
    {"-filter_dir_inode", "5|word|0x10", "dir_inodes={5=5,whole;16=5,whole}"},
    {"-filter_inode", "5|5:Ads", "selected_inodes={5=3,whole,stream,ads}"},
    {"-filerecord_offset", nullptr, "+record_offset_wanted"},
    {"-filter_pattern", "41 0xf2  7", "filter_pattern_bytes=[41;f2;07] rules=[39] +signature_filter"},
    {"-filter_pattern", "xab", "filter_pattern_bytes=[ab] rules=[39] +signature_filter"},
    {"-filter_unalloc_clusters", nullptr, "+unalloc_phase +and_logic"},
    {"-filter_all_clusters", nullptr, "+all_clusters"},
    {"-filter_deleted_files_all", nullptr, "+deleted_all"},
    {"-filter_AND_logic", nullptr, "+and_logic"},
    {"-filter_sig", "mz|foo|Hive", "+fetch_header head_length=64 rules=[30;35] +signature_filter signature_kind=35"},
    {"-filter_sig", "foo", "+signature_filter"},
    {"-find_objid", "01020304-0506-0708-090A-0b0c0d0e0f10",
     "+objid_wanted objid_value=[04;03;02;01;06;05;08;07;09;0a;0b;0c;0d;0e;0f;10]"},
    {"-filter_max_size", "0x10", "max_size=16"},
    {"-filter_min_size", "word", ""},
    {"-find_mft", "7", "mft_start=7 mft_count=1 +fetch_header head_length=2048 +find_mft"},
    {"-action_include_header_ex", "x", "+fetch_header"},
    {"-jp", nullptr, "+jp_flag"},
    {"-lnk", nullptr, "+lnk_flag"},
    {"-indxfile", "I", "indx_file_path='I'"},

    // Read by other options only, or by none.
    {"-all", nullptr, ""},
    {"-ignore_image_size", nullptr, ""},
    {"-scanstart", "3", ""},
    {"-unheard_of", nullptr, ""},
};

TEST(options, each_has_its_effect_alone_in_capitals_and_twice_and_none_without_its_value) {
    for (const option_case& c : cases) {
        const arguments alone = c.value == nullptr ? arguments{c.name} : arguments{c.name, c.value};
        EXPECT_EQ(effect_of(alone), c.effect) << c;
        std::string capitals = c.name;
        for (char& letter : capitals) letter = static_cast<char>(std::toupper(letter));
        arguments loud = alone;
        loud.front() = capitals;
        EXPECT_EQ(effect_of(loud), c.effect) << c;
        const bool is_flag = c.value == nullptr;
        EXPECT_EQ(effect_of({c.name}), is_flag ? c.effect : "") << c;
        if (c.repeated == second::taken) continue;
        EXPECT_EQ(effect_of(alone + loud), c.effect) << c;
    }
}

TEST(options, what_no_pass_takes_stays_in_the_list) {
    const std::pair<arguments, arguments> lists[] = {
        {{"-csv", "-csv", "-filter_ext", "a", "-filter_ext"}, {"-csv", "-filter_ext"}},
        {{"-hashfile", "md5"}, {"-hashfile", "md5"}},  // taken from a copy
        {{"-verbose", "-verbose", "-v"}, {"-v"}},
        {{"-out", "-filter_pattern"}, {}},  // the entry behind the option is its value
        {{"-filter_file", "a", "-filter_file", "b", "-filter_file", "c"}, {"-filter_file", "c"}},
        {{"-scansize", "1", "-all", "-tempdir", "t"}, {"-scansize", "1", "-all", "-tempdir", "t"}},
        {{"\xFF\xE9", "-unheard_of"}, {"\xFF\xE9", "-unheard_of"}},  // no UTF-8: the bytes stay
    };
    for (const auto& [given, left] : lists) {
        const read_options read = options_of(arguments{"-mftfile", "x"} + given);
        EXPECT_EQ(read.left, arguments{"grelmoor"} + left) << given.front();
        if (read.ctx->results_path_given) std::filesystem::remove(read.ctx->results_path);
    }
}

TEST(options, the_order_of_the_calls_decides_between_two_that_write_the_same_setting) {
    const std::pair<arguments, std::string> pairs[] = {
        {{"-bodyfile", "-csv"}, "separator='|' +no_whitespace -blank_before_time +format_bodyfile separator_wide='|'"},
        {{"-csvgen", "-csv"}, by_comma + "+no_whitespace +format_csvgen separator_wide=','"},
        {{"-csvgen", "-csvl2t"},
         by_comma + "+no_whitespace -blank_before_time +format_l2t +format_csvgen separator_wide=','"},
        {{"-csv", "-pair_datetime"}, by_comma + "+format_csv +pair_datetime separator_wide=','"},
        {{"-csv_separator", "tab", "-csv"}, by_tab + "+no_whitespace +format_csv separator_wide='\t'"},
        {{"-no_whitespace", "-csv_separator", " | "},
         "separator='|' +no_whitespace -blank_before_time separator_wide='|'"},
        {{"-base16", "-base10"}, ""},
        {{"-filepath_only", "-csv"}, no_pair + "separator=',' +no_whitespace +format_csv separator_wide='|'"},
        {{"-bodyfile", "-csvperpath"}, "separator='|' +csv_per_path separator_wide='|'"},
        {{"-csvperpath", "-filepath_only", "-default_output"}, "+csv_per_path separator_wide='|'"},
        {{"-hashfile", "md5", "-csv"}, by_comma + "+no_whitespace +format_csv separator_wide=',' +want_md5"},
        {{"-csvperpath", "-hashfile", "md5"},
         "separator='|' +no_whitespace +csv_per_path separator_wide='|' +want_md5"},
        {{"-mftrange", "3", "-mftstart", "5"}, "mft_start=5 mft_count=3"},
        {{"-find_mft", "9", "-mftstart", "5", "-mftrange", "3"},
         "mft_start=9 mft_count=1 " + head_of_2048 + "+find_mft"},
        {{"-filter_file", "a", "-filter_file", "b", "-filter_file", "c"}, "filter_files=['b']"},
        {{"-filter_wildcard", "a", "-filter_wildcard", "bc"}, "wildcards=[2bytes;4bytes]"},
        {{"-filter_name", "a|b", "-filter_fullname", "a"}, "name_entries={'a'=8,a;'b'=1,partial,b}"},
        {{"-scanstart", "3", "-scansize", "9", "-filter_pattern", "41"},
         "filter_pattern_bytes=[41] rules=[39] +signature_filter scan_start=3 scan_size=9"},
        {{"-filter_sig", "hive", "-action_include_header"},
         "-omit_cluster_info +fetch_header head_length=32 rules=[35] +signature_filter signature_kind=35"},
        {{"-filter_sig", "pe", "-filter_pattern", "41", "-find_mft", "1"},
         "mft_start=1 mft_count=1 " + head_of_2048 +
             "+find_mft filter_pattern_bytes=[41] rules=[39;34] +signature_filter signature_kind=34"},
    };
    for (const auto& [given, effect] : pairs) EXPECT_EQ(effect_of(given), effect) << given.front() << " first";
}

TEST(options, sources_exclude_each_other_in_their_order) {
    const std::string device = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";
    const std::pair<arguments, std::string> sources[] = {
        {{"-mftfile", "a", "-vss", "3"}, "mft_file_path='a' source_kind=5"},
        {{"-vss", "3"}, "source_kind=2 live_volume_text='" + device + "3'"},
        {{"-vss", device + "12\\x\\y"}, "source_kind=2 live_volume_text='" + device + "12'"},
        {{"-mftfile", "a", "-partition", "no_drive"}, "source_kind=1 live_volume_text='no_drive'"},
        {{"-partition", "\\\\.\\no_drive"}, "source_kind=2 live_volume_text='\\\\.\\no_drive'"},
        {{"-mftfile", "a", "-partition"}, "mft_file_path='a' source_kind=5"},
        {{"-indxfile", "i"}, "indx_file_path='i'"},
    };
    for (const auto& [given, effect] : sources) EXPECT_EQ(effect_of(given, {"-no_source"}), effect) << given.front();
}

TEST(options, a_copy_run_writes_the_per_path_report_into_a_folder_that_is_made) {
    const temp_folder folder;
    const std::u16string wanted = folder.path(u"a") + temp_folder::separator() + u"b";
    const std::string place = utf8_from_utf16(wanted);
    const std::string copies = " +copy_files copy_dir='" + place + "' ",
                      normal = copies + "+copy_normal_data +copy_active",
                      per_path = "+csv_per_path separator_wide='|'" + copies;
    const arguments copy = {"-action_copy_files", " " + place + static_cast<char>(temp_folder::separator())};
    const std::pair<arguments, std::string> runs[] = {
        {{}, "replace_from=',' replace_to=' ' +csv_per_path separator_wide=','" + normal},
        {{"-csv", "-normal_data"}, by_comma + "+no_whitespace +csv_per_path separator_wide=','" + normal},
        {{"-csvperpath", "-named_data"}, per_path + "+copy_named_data +copy_active"},
        {{"-csvperpath", "-named_data", "-all"}, per_path + "+copy_all_streams +copy_active"},
        // The bare list needs a format beside it; alone it ends the pass ahead of everything else.
        {{"-filepath_only", "-multiline"},
         "replace_from=',' replace_to=' ' separator='' +format_multiline +csv_per_path "
         "+filepath_only separator_wide=','" +
             normal},
        {{"-filepath_only", "-raw"},
         "replace_from=',' replace_to=' ' +csv_per_path +filepath_only separator_wide=',' +raw_copy"},
    };
    for (const auto& [also, effect] : runs) EXPECT_EQ(effect_of(copy + also), effect);
    EXPECT_TRUE(temp_folder::exists(wanted));
    EXPECT_EQ(options_of(arguments{"-mftfile", "x", "-filepath_only"} + copy).result, -1);
}

TEST(options, a_failed_option_says_so_and_ends_the_pass_at_its_place) {
    const temp_folder folder;
    temp_folder::put(folder.path(u"file"), "");
    const std::string below = utf8_from_utf16(folder.path(u"file") + temp_folder::separator() + u"below");
    const std::string no_source =
        "error: need to specify at least an input source [-mftfile, -image, -drivenum, -partition, -vmdk]\n";
    const std::string bad_pattern = "Error: -filter_pattern option specified invalid argument, aborting\n";
    const std::string bad_word = "Error: -filter_sig option specified invalid option, aborting\n";
    const std::string short_id = "01020304-0506-0708-09", braced_id = "{01020304-0506-0708-090a-0b0c0d0e0f10}";
    const std::string bad_formats = "invalid ymd, using default format\ninvalid 12345678, using default format\n";
    const struct {
        arguments given;
        int result;
        std::string words;
    } runs[] = {
        {{}, -2, ""},
        {{"-csv"}, -3, no_source},
        {{"-sqlite", "x", "-signal", "s"}, -2, "This option is not offered in this build\n"},
        {{"-alias", "a|b|c", "-signal", "s"}, -2, "imbalanced alias to true pathfiles, aborting\n"},
        {{"-out", below, "-mftfile", "x"}, -2, "prob opening file " + below + " for output, aborting\n"},
        {{"-filter_pattern", "abc", "-mftfile", "x"}, -1, bad_pattern},
        {{"-filter_pattern", "", "-mftfile", "x"}, -1, bad_pattern},
        {{"-find_objid", short_id, "-mftfile", "x"}, -1, "prob parsing " + short_id + " as ObjID, aborting\n"},
        {{"-find_objid", braced_id, "-mftfile", "x"}, -1, "prob parsing " + braced_id + " as ObjID, aborting\n"},
        {{"-action_copy_files", below, "-mftfile", "x"}, -1, "prob creating results directory, " + below + "\n"},
        // These complain and go on.
        {{"-mftfile", "x", "-dateformat", "ymd", "-timeformat", "12345678"}, 0, bad_formats},
        {{"-mftfile", "x", "-filter_start_time", "soon"}, 0, "Error: invalid filter start time, defaulting to 0\n"},
        {{"-mftfile", "x", "-filter_sig", "foo|mz|bar"}, 0, bad_word + bad_word},
    };
    for (const auto& c : runs) {
        read_options read;
        EXPECT_EQ(errors_of([&] { read = options_of(c.given); }), c.words);
        EXPECT_EQ(read.result, c.result) << c.words;
        EXPECT_EQ(read.ctx->signal_name, "") << c.words;
    }
}

TEST(options, results_and_log_are_opened_while_the_options_are_read) {
    const temp_folder folder;
    const std::u16string results = folder.path(u"r\u00E9sum\u00E9.csv"), log = folder.path(u"log");
    temp_folder::put(results, "old");
    const read_options read =
        options_of({"-outfile", utf8_from_utf16(results), "-diags", utf8_from_utf16(log), "-mftfile", "x y"});
    EXPECT_EQ(read.ctx->results_path_wide, results);
    EXPECT_EQ(temp_folder::content(results), "old");
    log_diag(read.ctx->log, "err: %s", std::string(300, 'a').c_str());
    const std::string told = temp_folder::content(log), line_end = temp_folder::separator() == u'/' ? "\n" : "\r\n";
    EXPECT_TRUE(told.starts_with("->grelmoor -outfile ")) << told;
    EXPECT_NE(told.find("-mftfile \"x y\""), std::string::npos) << told;
    EXPECT_NE(told.find("->err: " + std::string(256, 'a') + line_end), std::string::npos) << told;
    const read_options without = options_of({"-diags", utf8_from_utf16(folder.path(u"no/log")), "-mftfile", "x"});
    EXPECT_TRUE(without.result == 0 && without.ctx->diags_log.stream == nullptr && without.ctx->diags_path.empty());
}

}  // namespace
