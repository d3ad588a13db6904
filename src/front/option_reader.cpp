#include "front/option_reader.h"

#include <algorithm>
#include <string_view>

#include "base/filetime.h"
#include "base/numbers.h"
#include "base/text.h"
#include "front/cmd_params_pass.h"
#include "front/idle_options.h"
#include "front/scanners.h"
#include "front/script_file.h"
#include "front/walk_pass.h"
#include "platform/console.h"
#include "platform/host.h"
#include "report/result_stream.h"
#include "run/run_context.h"

namespace {

bool is_live_source(const mft_entries_ctx& ctx) { return ctx.drive_number != -1 || !ctx.live_volume_text.empty(); }

constexpr const char* missing_rights =
    "command prompt not running w/ admin privileges...\n"
    "[which is needed for examining live drives/partitions]\n"
    "need to restart cmd prompt using \"Run As Administrator\" option...\n"
    "\n";

// Options whose value is a source, whether or not a pass comes to take it.
constexpr std::string_view source_names[] = {"-script", "-partition", "-mftfile", "-image", "-vmdk", "-indxfile"};

bool names_source(std::string_view argument) {
    return std::any_of(std::begin(source_names), std::end(source_names),
                       [argument](std::string_view name) { return equals_ignoring_case(name, argument); });
}

// The value may be a list; it may be the path of one file with a separator of lists in its name all the same.
void protect_sources(evidence_files& evidence, const std::vector<std::u16string>& list) {
    std::vector<std::u16string> paths;
    for (std::size_t at = 0; at + 1 < list.size(); ++at) {
        if (!names_source(low_bytes(list[at]))) continue;
        split_list(paths, list[at + 1], "|,;");
        paths.push_back(list[at + 1]);
        for (const std::u16string& path : paths) protect(evidence, path);
    }
}

// Cut and written only now that it is known not to be evidence. Instances add to the log of the run that split, and so
// do options that failed: what the run would have read is not all known then, so nothing but a log is written to.
bool settle_log(mft_entries_ctx& ctx, bool options_are_read) {
    // The pass of cmd_params opened it, as this.
    auto* const stream = static_cast<uni::ofstream*>(ctx.diags_log.stream.get());
    file_identity log;
    if (stream == nullptr) return true;
    const bool may_be_written = stream->identify(log) && !is_evidence(ctx.evidence, log);
    if (may_be_written && (options_are_read || stream->holds_lines_of(log_line_mark))) {
        stream->release_shared(options_are_read && ctx.instance_number == -1);
        return true;
    }
    write_standard_error("prob opening file " + ctx.diags_path + " for output, aborting\n");
    ctx.diags_log.stream.reset();
    return false;
}

option_result read_passes(mft_entries_ctx& ctx, std::vector<std::string>& args, const std::string& version,
                          const std::string& source_type) {
    if (source_type.empty()) ctx.source_type = "NTFS$MFT";
    if (args.size() < 2) return options_invalid;
    ctx.future_limit = present_time() + filetime_per_hour;

    std::vector<std::u16string> list = widened(args);
    const std::string without_script = append_script(list, ctx.evidence);
    protect_sources(ctx.evidence, list);
    args = narrowed(list);
    const std::vector<std::string> given = args;
    take_hashfile(ctx, list);
    if (!parse_cmd_params(ctx, args)) return options_invalid;
    if (!without_script.empty()) log_diag_text(ctx.log, "err: the script is left out: " + without_script);
    ctx.version_text = version;

    list = widened(args);
    const int result = parse_walk_options(ctx, list);
    // The pass was at its end, and every option has been asked for: the source may be what is misspelt.
    if (result == 0 || result == no_source_given) tell_idle_options(ctx, given, narrowed(list));
    if (result != 0) return static_cast<option_result>(result);
    if (is_live_source(ctx) && !is_elevated_admin()) {
        write_standard_error(missing_rights);
        return options_read;
    }
    args = narrowed(list);
    return options_read;
}

}  // namespace

option_result parse_run_options(mft_entries_ctx& ctx, std::vector<std::string>& args, const std::string& version,
                                const std::string& source_type) {
    ctx.reset();
    const option_result result = read_passes(ctx, args, version, source_type);
    protect(ctx.evidence, ctx);
    const bool options_are_read = result == options_read || result == no_source_given;
    return settle_log(ctx, options_are_read) ? result : option_failed;
}
