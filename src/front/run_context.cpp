#include "front/run_context.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "front/diagnostic_log.h"
#include "ntfs/volume.h"
#include "platform/host.h"
#include "report/report_scratch.h"
#include "sources/plain_file.h"
#include "walk/filters.h"
#include "walk/paths.h"
#include "walk/walk_scratch.h"

namespace {

constexpr std::uint64_t seconds_from_1601_to_1970 = 11'644'473'600;

void write_diag_line(const cmd_params& params, std::string_view text) {
    std::string line = "->";
    line += text;
    line += '\n';
    params.diags_log->stream << line;
}

}  // namespace

cmd_params::cmd_params(std::uint64_t start_time) : run_start_time(start_time) { cmd_params::reset(); }
cmd_params::~cmd_params() = default;

void cmd_params::reset() {
    for (std::string* text : {&command_line, &tool_name, &version_text, &results_path, &results_dir, &username,
                              &hostname, &source_type, &zlibex_text, &diags_path, &run_header_text, &signal_name}) {
        text->clear();
    }
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
    verbose = show_progress = header_pending = true;
    pair_datetime = diags_active = false;
    diags_log.reset();
    profile_wanted = false;
    profile_start = 0;
    generic_filter_terms.clear();
    pipe_flag = false;
}

mft_settings::mft_settings() = default;
mft_settings::~mft_settings() = default;
mft_settings& mft_settings::operator=(mft_settings&&) noexcept = default;

mft_entries_ctx::mft_entries_ctx() : cmd_params(present_time()) { reset(); }
mft_entries_ctx::~mft_entries_ctx() = default;

void mft_entries_ctx::reset() {
    cmd_params::reset();
    static_cast<mft_settings&>(*this) = {};
    mft_reader.reset();
    volume.reset();
    record_size_learned = false;
    paths = std::make_unique<path_cache>();
    walk_state = std::make_unique<walk_scratch>();
    report_state = std::make_unique<report_scratch>();
    results_failed = false;
}

std::uint64_t present_time() {
    const clock_reading now = read_clock();
    return ((static_cast<std::uint64_t>(now.seconds) + seconds_from_1601_to_1970) * 1000 + now.milliseconds) * 10'000;
}

void log_diag(const cmd_params& params, const char* format, ...) {
    if (!params.diags_active) return;
    // What the format's length and 255 bytes more cannot hold is cut.
    std::string text(std::strlen(format) + 255, '\0');
    std::va_list values;
    va_start(values, format);
    const int needed = std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    if (needed < 0) return;
    text.resize(std::strlen(text.c_str()));
    write_diag_line(params, text);
}

void log_diag_text(const cmd_params& params, const std::string& text) { write_diag_line(params, text); }
