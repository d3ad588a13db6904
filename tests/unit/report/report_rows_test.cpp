// Rows of the three shapes, from records built for them.

#include <gtest/gtest.h>

#include "report/json_rows.h"
#include "report/writer.h"
#include "support/program_run.h"
#include "support/record_builder.h"

namespace {

using build::day, build::record, build::reference, build::tick_2020;

// The lines for one record, number 7; the report's header line first.
std::vector<std::string> lines_for(const record& made, const arguments& given) {
    return report_lines(build::mft_with({{7, made}}), given + arguments{"-mftstart", "7"});
}

// Column `label` of the last line, under -csv or with a separator of ",".
std::string cell(const std::vector<std::string>& lines, const std::string& label, std::size_t line = 1) {
    const auto labels = cells_of(lines.at(0)), cells = cells_of(lines.at(line));
    EXPECT_EQ(labels.size(), cells.size());
    for (std::size_t index = 0; index < labels.size(); ++index) {
        if (labels[index] == label) return cells.at(index);
    }
    ADD_FAILURE() << "no column " << label;
    return {};
}

record simple_file() { return record().std_info().name(u"Report.TXT").data("four"); }

}  // namespace

TEST(default_report, one_row_for_each_distinct_time_in_rising_order) {
    const auto lines = lines_for(record()
                                     .std_info({.created = tick_2020, .modified = tick_2020 + 2 * day})
                                     .name(u"a", build::win32, reference(5, 5), {.modified = tick_2020 + 2 * day})
                                     .name(u"A~1", build::dos, reference(5, 5), {.accessed = tick_2020 + day}),
                                 {"-csv"});
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(cell(lines, "MACB", 1), "si:[.acb]; fn:[.acb]; fn8.3[m.cb]");
    EXPECT_EQ(cell(lines, "MACB", 2), "fn8.3[.a..]");
    EXPECT_EQ(cell(lines, "MACB", 3), "si:[m...]; fn:[m...]");
    EXPECT_EQ(cell(lines, "path and filename", 1), "[root]\\a [8.3: A~1]");
    EXPECT_EQ(cell(lines, "path and filename", 2), "[root]\\A~1");
    EXPECT_EQ(cell(lines, "date", 3), "01/03/2020");
    const auto hidden = lines_for(simple_file().name(u"REPORT~1.TXT", build::dos), {"-csv", "-hide_dos_fntimes"});
    EXPECT_EQ(cell(hidden, "path and filename"), "[root]\\Report.TXT");
}

TEST(default_report, what_stands_in_other_info) {
    const char* const no_list = "attrib list non-resident [not avail for parsing w/o image]";
    const std::tuple<record, arguments, const char*> cases[] = {
        {simple_file().name(u"two", build::posix), {}, "multinames [2]"},
        {simple_file().name(u"Report.txt", build::win32, reference(9, 9)), {}, "multiroots [2]"},
        {simple_file().base(reference(0x20, 3)), {}, "refinode [0x00000020]"},
        {simple_file().base(reference(0x20, 3)), {"-base10"}, "refinode [32]"},
        {simple_file().non_resident(0x20, {0x11, 1, 1, 0}, 4096), {}, no_list},
        {simple_file(), {"-filerecord_offset"}, "filerecord: 0x1c00"},
        {simple_file(), {"-filter_ext", "txt", "-filter_name", "zz"}, "ext(txt)"},
        {record().name(u"n").data("x"), {}, "si:time absent"},
    };
    for (const auto& [made, given, text] : cases)
        EXPECT_EQ(cell(lines_for(made, given + arguments{"-csv"}), "other info"), text) << text;
}

TEST(default_report, records_without_a_path_show_what_they_have) {
    const auto nameless = lines_for(record().std_info().data("x"), {"-csv"});
    EXPECT_EQ(cell(nameless, "parent mft"), "0x00000005");
    EXPECT_EQ(cell(nameless, "path and filename"), "");
    EXPECT_EQ(cell(nameless, "data type"), "");  // such a call never hides the cluster columns
    const auto dos_only = lines_for(record().std_info().name(u"A~1", build::dos), {"-csv"});
    EXPECT_EQ(cell(dos_only, "path and filename"), "A~1");
    EXPECT_TRUE(lines_for(record().data("neither times nor names"), {"-csv"}).empty());
}

TEST(default_report, with_cluster_info_each_attribute_has_its_group) {
    const build::bytes pairs = {0x11, 0x04, 0x60, 0x01, 0x02, 0x11, 0x01, 0x10, 0x00};
    const auto lines = lines_for(simple_file()
                                     .data("", u"empty")
                                     .non_resident(0x80, pairs, 0x6800, u"big")
                                     .resident(0x70, {0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0}),
                                 {"-csv", "-action_include_clusterinfo"});
    const arguments rows[] = {
        {"unnamed data", "0x00000004", "<data in MFT entry>", "[root]\\Report.TXT"},
        {"ads", "0x00000000", "null", "[root]\\Report.TXT:empty"},
        {"ads", "0x00006800", "0x00000060 -> 0x00000063; 0x00000060 -> 0x00000061 [sparse]; 0x00000070",
         "[root]\\Report.TXT:big"},
        {"vol info", "0x0000000c", "ver: 3:1 (WinXP)", "[root]\\Report.TXT"},
    };
    ASSERT_EQ(lines.size(), 1 + std::size(rows));
    for (std::size_t row = 1; row < lines.size(); ++row) {
        const arguments cells = {cell(lines, "data type", row), cell(lines, "size data", row),
                                 cell(lines, "clusters/relevant data", row), cell(lines, "path and filename", row)};
        EXPECT_EQ(cells, rows[row - 1]);
    }
    const auto head = lines_for(simple_file(), {"-csv", "-action_include_header"});
    EXPECT_EQ(cell(head, "header info"), "66 6f 75 72");
}

TEST(per_path_report, one_row_a_path_with_every_column) {
    const auto lines = lines_for(simple_file()
                                     .name(u"REPORT~1.TXT", build::dos)
                                     .name(u"other.longextension", build::win32, reference(30, 2))
                                     .data("1234567", u"s|t"),
                                 {"-csvperpath", "-csv_separator", ",", "-no_whitespace"});
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              "MFT entry,seqnum,parent MFT,seqnum,SI mdate,mtime-UTC,SI adate,atime-UTC,SI cdate,ctime-UTC,SI "
              "bdate,btime-UTC,FN mdate,mtime-UTC,"
              "FN adate,atime-UTC,FN cdate,ctime-UTC,FN bdate,btime-UTC,type,ext,size,name,path,sym link,object ID,ADS "
              "metadata,Time warning,"
              "8.3 mdate,mtime-UTC,8.3 adate,atime-UTC,8.3 cdate,ctime-UTC,8.3 bdate,btime-UTC");
    // Rows come in order of the whole parent reference, its sequence number on top.
    EXPECT_EQ(cell(lines, "parent MFT", 1), "0x0000001e");
    EXPECT_EQ(cell(lines, "ext", 1), "longextension");
    EXPECT_EQ(cell(lines, "8.3 bdate", 1), "");
    EXPECT_EQ(cell(lines, "name", 2), "Report.TXT");
    EXPECT_EQ(cell(lines, "ADS metadata", 2), "s;t [sz:0x7]");  // kept: the shape's own pair, whatever the separator
    EXPECT_EQ(cell(lines, "8.3 bdate", 2), "01/01/2020");
    const auto padded =
        lines_for(record().std_info().name(u"x.longextension"), {"-csvperpath", "-hostname", "pc", "-pair_datetime"});
    EXPECT_NE(padded.at(1).find(" | longext | "), std::string::npos);
    EXPECT_NE(padded.at(1).find(" 01/01/2020 00:00:00.000 | "), std::string::npos);
    EXPECT_NE(padded.at(0).find(" | hostname | "), std::string::npos);
}

TEST(path_list, holds_files_with_whole_paths_only) {
    const auto paths = [](const record& made) {
        return lines_for(made, {"-filepath_only", "-action_include_clusterinfo"});
    };
    EXPECT_EQ(lines_for(simple_file().data("x", u"s"), {"-filepath_only"}), arguments{"\\Report.TXT"});
    EXPECT_EQ(paths(simple_file().data("x", u"s")), (arguments{"\\Report.TXT", "\\Report.TXT:s"}));
    EXPECT_EQ(paths(simple_file().directory()), arguments{});
    EXPECT_EQ(paths(record().std_info().name(u"kept|as;is", build::win32, reference(6, 1)).data("")),
              arguments{"\\kept|as;is"});
}

TEST(json_rows, an_object_has_every_column_of_the_row) {
    const auto lines = lines_for(simple_file().name(u"REPORT~1.TXT", build::dos, reference(5, 5), {.created = 1}),
                                 {"-jsonl", "-csvperpath", "-action_include_clusterinfo", "-filerecord_offset"});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(
        lines[0].starts_with("{\"datetime\":\"1601-01-01T00:00:00.0000001Z\",\"timestamp_desc\":\"Creation Time "
                             "(FN8.3)\",\"date\":\"\",\"time_utc\":\"\",\"macb\":\"fn8.3[...b]\""))
        << lines[0];
    EXPECT_EQ(lines[1],
              "{\"datetime\":\"2020-01-01T00:00:00.0000000Z\",\"timestamp_desc\":\"Content Modification Time (SI, FN, "
              "FN8.3); "
              "Last Access Time (SI, FN, FN8.3); Metadata Modification Time (SI, FN, FN8.3); Creation Time (SI, FN)\","
              "\"date\":\"01/01/2020\",\"time_utc\":\"00:00:00.000\",\"macb\":\"si:[macb]; fn:[macb]; fn8.3[mac.]\","
              "\"message\":\"[root]\\\\Report.TXT [8.3: REPORT~1.TXT] (file); filerecord: "
              "0x1c00\",\"mft_entry\":7,\"seqnum\":1,"
              "\"parent_mft\":5,\"parent_seqnum\":5,\"type\":\"file\",\"ext\":\"txt\",\"ref\":1,\"size_data\":4,"
              "\"data_type\":\"unnamed data\",\"other_info\":\"filerecord: 0x1c00\","
              "\"path_and_filename\":\"[root]\\\\Report.TXT [8.3: REPORT~1.TXT]\","
              "\"clusters_relevant_data\":\"<data in MFT entry>\"}");
}

TEST(json_rows, any_text_is_a_string_to_any_reader) {
    const auto lines = lines_for(
        record().std_info().name(u"a\"\x1F|\xD800,\xDC01é\U0001F600\xDBFF").data("x", u"\xDFFF\n"), {"-jsonl"});
    ASSERT_EQ(lines.size(), 1u);
    for (const char* expected :
         {"[root]\\\\a\\\"\\u001f|<U+D800>,<U+DC01>é\U0001F600<U+DBFF>\"", "[<U+DFFF>\\u000a : ads"})
        EXPECT_NE(lines[0].find(expected), std::string::npos) << lines[0];
    text_buffer bytes;
    append_json_text(bytes, "\xE9\xED\xA0");
    EXPECT_EQ(bytes.view(), "<U+DCE9><U+DCED><U+DCA0>");
}

TEST(text_cells, separators_and_line_ends_are_replaced_never_quoted) {
    const std::tuple<const char16_t*, arguments, const char*> cases[] = {
        {u"a,b", {"-csv"}, "[root]\\a b,"},
        {u"a\r\nb\nc\n\rd\re", {"-csv"}, "[root]\\a[CRLF]b[LF]c[LFCR]d\re,"},
        {u"a\rb", {"-csv"}, "[root]\\a[CR]b,"},
        {u"a|b", {}, "[root]\\a;b "},
        {u"a|b", {"-csv_separator", "tab"}, "[root]\\a|b "},
    };
    for (const auto& [name, given, shown] : cases) {
        const std::string row = lines_for(record().std_info().name(name), given).at(1);
        EXPECT_NE(row.find(shown), std::string::npos) << row;
    }
}

TEST(date_cells, absent_times_keep_their_columns) {
    const auto cells = cells_of(
        lines_for(record().name(u"n", build::win32, reference(5, 5), {.modified = 1}), {"-csvperpath"}).at(1), " | ");
    EXPECT_EQ(cells[4], std::string(10, ' '));
    EXPECT_EQ(cells[5], " " + std::string(12, ' '));
    EXPECT_EQ(cells[12], std::string(10, ' ')) << "ahead of 1970";
    EXPECT_EQ(cells[14] + cells[15], "01/01/2020 00:00:00.000");
}
