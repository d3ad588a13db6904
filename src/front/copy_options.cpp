// What the options of copying files out leave in the settings.

#include "base/text.h"
#include "front/scanners.h"
#include "front/walk_effects.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "platform/paths.h"
#include "run/run_context.h"

namespace {

// A copy run writes the per-path report. False: the bare list was asked for with it.
bool set_copy_format(mft_entries_ctx& ctx) {
    const bool other_format = ctx.format_csv || ctx.format_l2t || ctx.format_bodyfile;
    if (other_format || !ctx.csv_per_path) {
        // A hash list has no place for copies, and would be picked ahead of the report that has one.
        ctx.format_csv = ctx.format_l2t = ctx.format_bodyfile = ctx.hash_output = false;
        ctx.csv_per_path = true;
        ctx.separator_wide = u',';
        ctx.replace_from = ',';
        ctx.replace_to = ' ';
    }
    const bool any_format = ctx.format_csvgen || ctx.format_xml || ctx.format_multiline;
    return !ctx.csv_per_path || !ctx.filepath_only || any_format;
}

bool set_copy_directory(mft_entries_ctx& ctx, const std::u16string& value) {
    ctx.copy_dir = make_absolute(trimmed(value));
    if (ctx.copy_dir.size() > 1 && is_host_separator(ctx.copy_dir.back())) ctx.copy_dir.pop_back();
    if (ctx.copy_dir.empty()) {
        write_standard_error("prob understanding destination of " + utf8_from_utf16(value) + " aborting\n,");
        return false;
    }
    if (create_directory_tree(ctx.copy_dir)) return true;
    write_standard_error("prob creating results directory, " + utf8_from_utf16(ctx.copy_dir) + "\n");
    return false;
}

void choose_streams(mft_entries_ctx& ctx, wide_list& list) {
    if (take_flag_wide("-all", list)) {
        ctx.copy_all_streams = true;
    } else if (take_flag_wide("-named_data", list)) {
        ctx.copy_named_data = true;
    } else {
        take_flag_wide("-normal_data", list);
        ctx.copy_normal_data = true;
    }
}

}  // namespace

int copy_files(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    if (!set_copy_format(ctx)) {
        log_diag_text(ctx.log, "err: -action_copy_files writes a report of its own, not that of -filepath_only");
        return -1;
    }
    if (!set_copy_directory(ctx, value)) return -1;
    ctx.copy_files = ctx.copy_active = true;
    choose_streams(ctx, list);
    return 0;
}
