// The run context: every setting, every rule table and the open source of one run.
// Made by the run driver, filled by the option passes, passed by reference to the stages.
// Plain data: it decides nothing. Scratch of walkers and reports lies with them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/diagnostic_log.h"
#include "base/flat_map.h"
#include "ntfs/record_source.h"
#include "run/filter_tables.h"
#include "sources/evidence.h"
#include "sources/source_choice.h"

// One term of -filter: name and value around the first ":", with what stood in place of a "*".
struct filter_term {
    struct part {
        std::string text;
        bool star_in_front = false, star_behind = false, any = false;
    };
    part name, value;
    bool matches_everything = false;
};

// What any tool of this kind needs: result formats, dates, output paths, generic options.
struct cmd_params {
    std::uint64_t run_start_time = 0;  // FILETIME, present time at construction
    std::string command_line;
    std::string tool_name;
    std::string version_text;
    std::string results_path;
    std::string results_dir;
    evidence_files evidence;  // what neither results nor log may lead to
    std::string username;
    std::string hostname;
    std::string source_type;
    flat_map<std::string, std::string> alias_paths;  // never read
    flat_map<std::string, std::string> aliases;      // never read
    std::string date_format;
    std::string time_format;
    char replace_from = '|';  // 0: nothing is replaced
    char replace_to = ';';
    std::string separator;
    bool no_whitespace = false;
    bool blank_before_time = true;
    bool hex_numbers = true;
    bool username_given = false, hostname_given = false;
    bool gzip_wanted = false, gzip_level_flag = false, zlib_wanted = false, zlibex_wanted = false;  // never read
    std::string zlibex_text;                                                                        // never read
    std::int32_t threads = 0;                                                                       // never read
    bool database_sink = false;
    bool results_dir_given = false;
    bool results_path_given = false;
    std::int32_t instance_number = -1;
    std::uint32_t cpu_count = 0;
    bool separate_files = false;
    std::uint32_t fragment_count = 0;  // never read
    bool format_xml = false, format_csv = false, format_l2t = false, format_csvgen = false;
    bool format_bodyfile = false, format_multiline = false, format_jsonl = false;
    bool verbose = true;  // never read
    bool show_progress = true;
    bool header_pending = true;
    bool pair_datetime = false;
    diagnostic_log diags_log;
    std::string diags_path;
    std::string run_header_text;
    bool profile_wanted = false;
    std::uint64_t profile_start = 0;  // seconds in the upper 32 bits, binary fraction in the lower; 0: not started
    std::string signal_name;
    std::vector<filter_term> generic_filter_terms;  // never read
    bool pipe_flag = false;                         // never read

    explicit cmd_params(std::uint64_t start_time);
    virtual ~cmd_params();
    cmd_params(const cmd_params&) = delete;
    cmd_params& operator=(const cmd_params&) = delete;

    // Defaults of every field above but the start time.
    void reset();
};

// What is particular to walking $MFT: settings that a reset sets back to the defaults written here.
struct mft_settings : named_sources {
    // Format flags and results.
    bool hash_output = false;
    bool csv_per_path = false;
    bool filepath_only = false;
    bool default_output = false;  // never read
    std::u16string results_path_wide;
    bool hexdump = false;  // never read
    bool hide_dos_fntimes = false;
    bool omit_cluster_info = true;
    std::u16string separator_wide;  // never read
    std::u16string progress_title;  // never read
    bool record_offset_wanted = false;

    // What is read of the source; how it was named is in named_sources.
    std::uint64_t volume_record_count = 0;  // never read
    std::uint64_t mft_start = 0;
    std::uint64_t mft_count = 0;      // 0: the walker fills it in
    bool selected_elsewhere = false;  // another instance walks selected_inodes
    bool close_source_after_walk = false;
    bool source_refused = false;  // told once, and not tried again
    std::string indx_file_path;

    // Filters.
    bool fetch_header = false;
    std::uint64_t head_start = 0;
    std::uint32_t head_length = 0;
    std::vector<std::u16string> extensions;
    std::vector<std::u16string> filter_dirs;
    std::vector<std::u16string> filter_dirs_recursive;  // never read
    std::vector<std::u16string> filter_files;
    flat_map<std::u16string, filter_entry> name_entries;
    flat_map<std::uint64_t, filter_entry> selected_inodes;
    flat_map<std::uint64_t, filter_entry> dir_inodes;
    std::uint64_t max_size = 0, min_size = 0;  // bytes; 0: absent
    std::vector<wildcard_pattern> wildcards;
    std::uint64_t time_start = 0, time_stop = 0;  // FILETIMEs; both 0: no time filter
    bool deleted_only = false;
    bool unalloc_phase = false;
    bool deleted_all = false;
    bool all_clusters = false;
    bool jp_flag = false, lnk_flag = false;  // never read
    bool find_mft = false;
    bool objid_wanted = false;                   // never read
    std::array<std::uint8_t, 16> objid_value{};  // never read
    bool and_logic = false;
    std::vector<std::uint8_t> filter_pattern_bytes;
    std::vector<filter_rule> rules;
    bool signature_filter = false;
    std::uint32_t signature_kind = 0;  // never read
    std::uint64_t scan_start = 0;      // never read
    std::uint64_t scan_size = 4096;    // never read

    // Extraction.
    bool copy_files = false;
    std::u16string copy_dir;
    bool copy_all_streams = false, copy_normal_data = false, copy_named_data = false;
    bool raw_copy = false;
    bool skip_sparse = false;
    bool copy_active = false;  // never read
    bool use_orig_ext = false;
    bool want_md5 = false, want_sha1 = false;
};

// The one object of a run. What a stage keeps for itself, the stage owns.
struct mft_entries_ctx : cmd_params, mft_settings, record_source {
    mft_entries_ctx();

    // Everything back to its default but record_size and sector_size.
    void reset();
};

// FILETIME of this moment, UTC, to the millisecond.
std::uint64_t present_time();
