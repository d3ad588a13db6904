#include "front/run_driver.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <ostream>
#include <sstream>

#include "base/text.h"
#include "front/not_offered.h"
#include "front/option_reader.h"
#include "front/run_header.h"
#include "front/scanners.h"
#include "front/script_file.h"
#include "front/split_run.h"
#include "front/usage.h"
#include "instances/instances.h"
#include "platform/console.h"
#include "platform/host.h"
#include "platform/host_paths.h"
#include "report/report_output.h"
#include "report/result_stream.h"
#include "report/results_file.h"
#include "run/run_context.h"
#include "walk/open_source.h"
#include "walk/phases.h"

namespace {

constexpr int failed = -1;

// What the driver holds for the length of a run.
struct run_state {
    std::vector<std::string> args;
    std::vector<std::string> child_args;  // before any pass took anything: what instances are started with
    std::string run_header;               // empty: none is wanted
    std::u16string merged_path;           // in the first instance of several: where its rows go
    uni::ofstream results_file;
    std::ostream* out = nullptr;
    std::unique_ptr<mft_entries_ctx> ctx;
};

bool asks_for_help(const std::vector<std::string>& args) {
    constexpr std::string_view words[] = {"-h", "-help", "/?", "--help"};
    const auto is_help = [&words](const std::string& entry) {
        return std::any_of(std::begin(words), std::end(words),
                           [&entry](std::string_view word) { return equals_ignoring_case(entry, word); });
    };
    return args.size() == 1 || std::any_of(args.begin(), args.end(), is_help);
}

// Seconds since 1900 in the upper half, their binary fraction in the lower.
std::uint64_t profile_clock() {
    constexpr std::uint64_t seconds_from_1900_to_1970 = 2'208'988'800;
    const clock_reading now = read_clock();
    const std::uint64_t fraction = (static_cast<std::uint64_t>(now.milliseconds) << 32) / 1000;
    return ((static_cast<std::uint64_t>(now.seconds) + seconds_from_1900_to_1970) << 32) | fraction;
}

void print_profile(const mft_entries_ctx& ctx) {
    if (!ctx.profile_wanted || ctx.profile_start == 0) return;
    const std::uint64_t now = profile_clock();
    const std::uint64_t passed = now > ctx.profile_start ? now - ctx.profile_start : ctx.profile_start - now;
    std::ostringstream text;
    text << std::ldexp(static_cast<double>(passed), -32) << " secs \n";
    write_standard_error(text.str());
}

// Results that another program reads begin with their own first line. The options have not been read yet.
bool wants_run_header(const std::vector<std::string>& args) {
    std::vector<std::u16string> list = widened(args);
    evidence_files unused;
    append_script(list, unused);
    return !take_flag_wide("-no_run_header", list) && !take_flag_wide("-jsonl", list);
}

void write_header_block(std::ostream& out, const std::string& header) {
    if (!header.empty()) (out << header + "\n").flush();
}

// The directories that the results file is to lie in.
bool make_results_directories(const mft_entries_ctx& ctx) {
    if (ctx.results_path_wide.empty() || create_directory_tree(directory_part(ctx.results_path_wide))) return true;
    write_standard_error("prob creating archive file: " + utf8_from_utf16(ctx.results_path_wide) + ", aborting\n");
    return false;
}

bool open_refused(const mft_entries_ctx& ctx, const std::u16string& path, const std::string& why) {
    const std::string name = utf8_from_utf16(path);
    log_diag_text(ctx.log, "err: cannot open " + name + " for output: " + why);
    write_standard_error("prob opening file " + name + " for output, aborting\n ");
    return false;
}

bool open_results(run_state& state) {
    const mft_entries_ctx& ctx = *state.ctx;
    uni::ofstream& file = state.results_file;
    std::string why;
    if (ctx.results_path_wide.empty()) return true;
    if (!open_results_file(file, ctx.results_path_wide, ctx.evidence, why))
        return open_refused(ctx, ctx.results_path_wide, why);
    write_header_block(file, state.run_header);
    state.out = &file;
    if (state.merged_path.empty()) return true;
    file.close();  // whole or not: no row goes there
    return open_shared_results(file, state.merged_path, ctx.evidence, why) || open_refused(ctx, state.merged_path, why);
}

// What went wrong with the results stream, if anything did.
int results_verdict(run_state& state, const report_output& results) {
    // A file may refuse at its end what it seemed to have taken.
    state.results_file.close();
    if (!results.failed && results.stream) return 0;
    const bool is_merged = !state.merged_path.empty();
    const std::u16string& path = is_merged ? state.merged_path : state.ctx->results_path_wide;
    write_standard_error("prob writing to output file: " + (path.empty() ? "standard output" : utf8_from_utf16(path)) +
                         "\n");
    return is_merged ? merged_file_refused : failed;
}

// False: memory ran out outside of any one record. Rows written so far stay; the walk is not at its end.
bool walk_to_the_end(report_output& results, mft_entries_ctx& ctx) {
    try {
        run_walks(results, ctx);
        return true;
    } catch (const std::bad_alloc&) {
        log_diag(ctx.log, "err: out of memory, the walk ends here");
        write_standard_error("out of memory, aborting\n");
        return false;
    }
}

int run_with_options(run_state& state) {
    mft_entries_ctx& ctx = *state.ctx;
    ctx.selected_elsewhere = is_later_instance();
    if (ctx.profile_wanted) ctx.profile_start = profile_clock();
    ctx.separator_wide = utf16_from_utf8(ctx.separator);
    if (!make_results_directories(ctx)) return failed;
    if (refuse_what_is_not_offered(ctx)) return failed;
    if (ctx.cpu_count > 1) {
        ctx.run_header_text = state.run_header;
        return run_split(ctx, state.args, std::move(state.child_args)) ? 0 : failed;
    }
    if (!open_results(state)) return failed;
    open_and_prepare(ctx);
    report_output results{*state.out, ctx.header_pending};
    const bool walked = walk_to_the_end(results, ctx);
    const int verdict = results_verdict(state, results);
    return walked || verdict != 0 ? verdict : failed;
}

int read_options_and_run(run_state& state) try {
    switch (parse_run_options(*state.ctx, state.args, version_text, "NTFS$MFT")) {
        case options_invalid: write_standard_error("invalid cmd options, aborting\n"); return failed;
        case option_failed: return failed;
        case options_read:
        case no_source_given: break;
    }
    return run_with_options(state);
} catch (const std::bad_alloc&) {
    write_standard_error("out of memory, aborting\n");
    return failed;
}

void end_run(run_state& state) {
    if (state.results_file.is_open()) state.results_file.close();
    print_profile(*state.ctx);
    if (!state.ctx->signal_name.empty()) signal_end_of_run(state.ctx->signal_name);
}

}  // namespace

int run(std::vector<std::string> args) {
    if (asks_for_help(args)) {
        write_standard_error(usage_text());
        return 0;
    }
    run_state state;
    state.merged_path = merged_path();
    state.args = args;
    state.child_args = std::move(args);
    if (wants_run_header(state.args)) state.run_header = build_run_header(state.args);
    state.out = &standard_output();
    write_header_block(*state.out, state.run_header);
    state.ctx.reset(new (std::nothrow) mft_entries_ctx);
    if (state.ctx == nullptr) return failed;
    const int exit_code = read_options_and_run(state);
    end_run(state);
    return exit_code;
}
