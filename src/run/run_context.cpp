#include "run/run_context.h"

#include "base/filetime.h"
#include "ntfs/volume.h"
#include "platform/host.h"
#include "sources/plain_file.h"

cmd_params::cmd_params(std::uint64_t start_time) : run_start_time(start_time) { cmd_params::reset(); }
cmd_params::~cmd_params() = default;

void cmd_params::reset() {
    for (std::string* text : {&command_line, &tool_name, &version_text, &results_path, &results_dir, &username,
                              &hostname, &source_type, &zlibex_text, &diags_path, &run_header_text, &signal_name}) {
        text->clear();
    }
    evidence = {};
    alias_paths.clear();
    aliases.clear();
    date_format = "mm/dd/yyyy";
    time_format = "hh:mm:ss.xxx";
    replace_from = '|';
    replace_to = ';';
    separator = " | ";
    no_whitespace = false;
    blank_before_time = hex_numbers = true;
    username_given = hostname_given = false;
    gzip_wanted = gzip_level_flag = zlib_wanted = zlibex_wanted = false;
    threads = 0;
    database_sink = results_dir_given = results_path_given = false;
    instance_number = -1;
    cpu_count = fragment_count = 0;
    separate_files = false;
    format_xml = format_csv = format_l2t = format_csvgen = format_bodyfile = format_multiline = false;
    format_jsonl = false;
    verbose = show_progress = header_pending = true;
    pair_datetime = false;
    diags_log.stream.reset();
    profile_wanted = false;
    profile_start = 0;
    generic_filter_terms.clear();
    pipe_flag = false;
}

mft_entries_ctx::mft_entries_ctx() : cmd_params(present_time()) {
    log = &diags_log;
    reset();
}

void mft_entries_ctx::reset() {
    cmd_params::reset();
    static_cast<mft_settings&>(*this) = {};
    mft_reader.reset();
    volume.reset();
    source_text.clear();
    record_size_learned = false;
    future_limit = 0;
    thorough = false;
}

std::uint64_t present_time() {
    const clock_reading now = read_clock();
    return filetime_of_1970 + static_cast<std::uint64_t>(now.seconds) * filetime_per_second +
           now.milliseconds * filetime_per_millisecond;
}
