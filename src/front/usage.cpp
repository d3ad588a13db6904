#include "front/usage.h"

#include <algorithm>
#include <span>

namespace {

struct usage_line {
    const char* line;
    const char* meaning;       // none: the line stands alone
    bool continues = false;    // belongs to the line above: further indented
    std::size_t sign_at = 42;  // characters ahead of the "="
};

constexpr std::size_t near_sign = 32;

constexpr usage_line mft_lines[] = {{"grelmoor -mftfile <name> [-opts]", "source is extract $MFT file"}};
constexpr usage_line image_lines[] = {{"grelmoor -image <file> [-offset <vol>]", "dd image"}};
constexpr usage_line vmdk_lines[] = {{"-vmdk \"disk1 | disk2 | ...\"", "VMWare VMDK disk(s)"}};
constexpr usage_line live_lines[] = {
    {"grelmoor -partition <drv letter> [opts]", nullptr},
    {"grelmoor -drivenum <#> [-offset <vol>]", "Disk# that is mounted"},
    {"grelmoor -vss <num>  [options]", "Volume Shadow parse"},
};
constexpr usage_line or_filter_lines[] = {
    {"-filter_ext \"ext1 | ext2 | ...\"", "extract using exts"},
    {"-filter_name \"name1 | name2 | ...\"", "extract using partial names"},
    {"-filter_fullname \"name1 | name2 | ...\"", "extract using full names"},
    {"-filter_dir \"dir1 | dir2 | ...\"", "extract using dirs"},
    {"-filter_file \"path/file1 | ...\"", "extract specified files"},
    {"-filter_dir_inode \"inode1 | inode2 ..\"", "extract using dir inodes"},
    {"-filter_inode \"inode1 | inode2 | ...\"", "extract specified inodes"},
    {"-filter_sig \"mz | hive | evt | sqlite\"", "extract using signatures"},
    {"-filter_max_size <size>", "extract if doesn't exceed size"},
};
constexpr usage_line and_filter_lines[] = {
    {"-filter_start_time <date time>", "format \"mm/dd/yyyy hh:mm:ss\""},
    {"-filter_stop_time <date time>", "format \"mm/dd/yyyy hh:mm:ss\""},
    {"-filter_deleted_files", "analyzes only filerecs in $MFT"},
    {"-filter_deleted_files_all", "analyzes both $MFT and unalloc"},
    {"-filter_unalloc_clusters", "analyze unallocated clusters"},
    {"-filter_all_clusters", "analyze $MFT & unalloc clusters"},
};
constexpr usage_line extraction_lines[] = {
    {"-action_copy_files <dir> [-raw]", "extract file into dir"},
    {"[-raw]", "incl slack & skip sparse clusters", true},
    {"[-skip_sparse_clusters]", "don't incl sparse clusters", true},
    {"-action_include_header", "extracts 0x20 bytes from file"},
    {"-action_include_clusterinfo", "show cluster info"},
};
constexpr usage_line format_lines[] = {
    {"-csv", "csv format, has most output"},
    {"-csvl2t", "log2timeline format"},
    {"-bodyfile", "bodyfile format"},
    {"-csvperpath", "only one csv entry/pathfile"},
    {"-hashfile  \"md5 | sha1\"", "output hashfile format"},
};
constexpr usage_line general_lines[] = {
    {"-out <results file>", "output results to this file"},
    {"-hide_dos_fntimes", "don't include dos 8.3 fn time"},
    {"-hostname <name>", "output hostname"},
    {"-base10", "use base10 vice hex"},
    {"-use_orig_ext", "only for [-action_copy_files]"},
    {"-script <file>", "use file to express options"},
    {"-mftstart <value> [-mftrange <value>]", "only process these inodes"},
    {"-filerecord_offset", "output the offset of the filerec"},
    {"-quiet", "supress progress during run"},
    {"-dateformat yyyy/mm/dd", "\"mm/dd/yyyy\" is the default"},
    {"-timeformat hh:mm:ss", "\"hh:mm:ss.xxx\" is the default"},
    {"-pair_datetime", "combine date/time into 1 field"},
    {"-no_whitespace", "remove whitespace between delims"},
    {"-csv_separator \"|\"", "use a pipe char for separator"},
};
constexpr usage_line instance_lines[] = {
    {"-cpu <#instances> -out <file>", "merge instances into 1 file"},
    {"[-tempdir <folder>]", "use this temp dir for file merge", true, near_sign},
    {"[-separate_files]", "don't merge; each instance is separate file", true, near_sign},
};

struct usage_section {
    const char* heading;
    std::span<const usage_line> lines;
};

constexpr usage_section sections[] = {
    {"Running 'grelmoor' on an extracted $MFT file", mft_lines},
    {"Running 'grelmoor' on a disk/partition image captured w/ a 'dd' type tool", image_lines},
    {"Running 'grelmoor' on a VMWare monolithic virtual volume", vmdk_lines},
    {"Running 'grelmoor' on a live volume", live_lines},
    {"Filter 'OR' logic options", or_filter_lines},
    {"Filter 'AND' logic options", and_filter_lines},
    {"Extraction options", extraction_lines},
    {"Results file format options", format_lines},
    {"General purpose options", general_lines},
    {"Experimental option [split processing into multiple instances]", instance_lines},
};

void append_usage_line(std::string& out, const usage_line& entry) {
    std::string text(entry.continues ? 9 : 2, ' ');
    text += entry.line;
    if (entry.meaning != nullptr) {
        text.resize(std::max(text.size() + 1, entry.sign_at), ' ');
        text.append("= ").append(entry.meaning);
    }
    out.append(text).append("\n");
}

}  // namespace

std::string usage_text() {
    std::string out(77, '-');
    out.append("\n\n").append(banner).append("\n\nusage:\n\n");
    for (const usage_section& section : sections) {
        out.append(" ").append(section.heading).append("\n");
        for (const usage_line& line : section.lines) append_usage_line(out, line);
        out += '\n';
    }
    return out;
}
