#include "front/run_driver.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <ostream>
#include <sstream>

#include "base/text.h"
#include "front/not_offered.h"
#include "front/option_reader.h"
#include "front/run_context.h"
#include "front/run_header.h"
#include "front/usage.h"
#include "platform/console.h"
#include "platform/host.h"
#include "platform/host_paths.h"
#include "report/result_stream.h"
#include "walk/filters.h"
#include "walk/open_source.h"
#include "walk/walkers.h"

namespace {

constexpr int failed = -1;

// What the driver holds for the length of a run.
struct run_state {
    std::vector<std::string> args;
    std::string run_header;
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

void write_header_block(std::ostream& out, const std::string& header) { (out << header + "\n").flush(); }

// The directories that the results file is to lie in.
bool make_results_directories(const mft_entries_ctx& ctx) {
    if (ctx.results_path_wide.empty() || create_directory_tree(directory_part(ctx.results_path_wide))) return true;
    write_standard_error("prob creating archive file: " + utf8_from_utf16(ctx.results_path_wide) + ", aborting\n");
    return false;
}

// Opens the results file and cuts it, once it is known to be no source. `why` says what is against it.
bool take_results_file(uni::ofstream& file, const mft_entries_ctx& ctx, std::string& why) {
    file.open_held(ctx.results_path_wide);
    file_identity target;
    if (!file || !file.identify(target)) {
        why = system_error_text(last_system_error());
        return false;
    }
    if (is_evidence(ctx.evidence, target)) {
        why = "it is a source";
        file.close();
        return false;
    }
    file.release();
    return true;
}

bool open_results(run_state& state) {
    const std::u16string& path = state.ctx->results_path_wide;
    if (path.empty()) return true;
    const std::string name = utf8_from_utf16(path);
    std::string why;
    if (!take_results_file(state.results_file, *state.ctx, why)) {
        log_diag(*state.ctx, "err: cannot open %s for output: %s", name.c_str(), why.c_str());
        write_standard_error("prob opening file " + name + " for output, aborting\n ");
        return false;
    }
    write_header_block(state.results_file, state.run_header);
    state.out = &state.results_file;
    return true;
}

bool only_inodes_are_selected(const mft_entries_ctx& ctx) {
    return ctx.dir_inodes.empty() && ctx.name_entries.empty() && ctx.extensions.empty() && ctx.wildcards.empty() &&
           !ctx.deleted_only && !ctx.deleted_all && ctx.rules.empty() && !ctx.selected_inodes.empty();
}

void run_walkers(run_state& state) {
    if (only_inodes_are_selected(*state.ctx)) {
        walk_mft_inodes(*state.out, *state.ctx);
    } else {
        walk_mft_sequence(*state.out, *state.ctx);
    }
}

// What went wrong with the results stream, if anything did.
int results_verdict(run_state& state) {
    // A file may refuse at its end what it seemed to have taken.
    state.results_file.close();
    if (!state.ctx->results_failed && *state.out) return 0;
    const std::u16string& path = state.ctx->results_path_wide;
    write_standard_error("prob writing to output file: " + (path.empty() ? "standard output" : utf8_from_utf16(path)) +
                         "\n");
    return failed;
}

// Splitting over instances has tests of its own ahead of it.
bool instances_can_run(const mft_entries_ctx& ctx) {
    if (ctx.results_path.empty()) {
        write_standard_error("Need to specify an output file to put the merged results in [-out <file>]\n");
        return false;
    }
    if (!ctx.deleted_all && !ctx.unalloc_phase && !ctx.all_clusters) return true;
    write_standard_error("The -cpu option only supports MFT analysis\n");
    return false;
}

int run_with_options(run_state& state) {
    mft_entries_ctx& ctx = *state.ctx;
    if (ctx.profile_wanted) ctx.profile_start = profile_clock();
    ctx.separator_wide = utf16_from_utf8(ctx.separator);
    if (!make_results_directories(ctx)) return failed;
    if (ctx.cpu_count > 1 && !instances_can_run(ctx)) return failed;
    if (refuse_what_is_not_offered(ctx) || !open_results(state)) return failed;
    open_and_prepare(ctx);
    run_walkers(state);
    return results_verdict(state);
}

int read_options_and_run(run_state& state) {
    switch (parse_run_options(*state.ctx, state.args, version_text, "NTFS$MFT")) {
        case options_invalid: write_standard_error("invalid cmd options, aborting\n"); return failed;
        case option_failed: return failed;
        case options_read:
        case no_source_given: break;
    }
    return run_with_options(state);
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
    state.args = std::move(args);
    state.run_header = build_run_header(state.args);
    state.out = &standard_output();
    write_header_block(*state.out, state.run_header);
    state.ctx.reset(new (std::nothrow) mft_entries_ctx);
    if (state.ctx == nullptr) return failed;
    const int exit_code = read_options_and_run(state);
    end_run(state);
    return exit_code;
}
