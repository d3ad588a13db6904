// What the options of report shapes and results leave in the settings.

#include "base/numbers.h"
#include "base/text.h"
#include "front/scanners.h"
#include "front/walk_effects.h"
#include "front/walk_pass.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "platform/paths.h"
#include "run/run_context.h"

namespace {

void set_pair(mft_entries_ctx& ctx, char from, char to) {
    ctx.replace_from = from;
    ctx.replace_to = to;
}

void clear_shapes(mft_entries_ctx& ctx) {
    ctx.hash_output = ctx.csv_per_path = ctx.filepath_only = ctx.default_output = false;
}

// One report shape on, every other off. Kept: the separator forced here is undone when the passes have ended; the
// replacement pair stays.
int choose_shape(mft_entries_ctx& ctx, bool mft_settings::*shape, char from, char to) {
    ctx.separator_wide = u'|';
    set_pair(ctx, from, to);
    ctx.format_l2t = ctx.format_bodyfile = false;
    clear_shapes(ctx);
    ctx.*shape = true;
    return 0;
}

}  // namespace

int take_separator(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    ctx.separator_wide = utf16_from_utf8(ctx.separator);
    return 0;
}

int choose_default_output(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    return choose_shape(ctx, &mft_settings::default_output, '|', ';');
}

int choose_path_list(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    return choose_shape(ctx, &mft_settings::filepath_only, '\0', '\0');
}

int choose_per_path(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    return choose_shape(ctx, &mft_settings::csv_per_path, '|', ';');
}

int settle_formats(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    if (ctx.format_csv || ctx.format_l2t || ctx.format_bodyfile || ctx.format_jsonl) clear_shapes(ctx);
    if (!ctx.format_l2t && !ctx.format_bodyfile) return 0;
    ctx.no_whitespace = true;
    ctx.blank_before_time = false;
    return 0;
}

int place_results(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    if (!ctx.results_path_given) return 0;
    ctx.results_path_wide = make_absolute(utf16_from_utf8(ctx.results_path));
    if (ctx.results_path_wide.empty()) write_standard_error("prob understanding destination of  aborting\n,");
    return 0;
}

int dump_record(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.find_mft = ctx.fetch_header = true;
    if (!parse_u64(low_bytes(value), ctx.mft_start))
        tell_no_number(ctx, "-find_mft", value, ctx.mft_start == 0 ? "taken as 0" : "-mftstart counts");
    ctx.mft_count = 1;
    ctx.head_length = 2048;
    return 0;
}

void take_hashfile(mft_entries_ctx& ctx, wide_list& list) {
    std::u16string value;
    if (!take_value_wide("-hashfile", value, list)) return;
    ctx.separator = '|';
    set_pair(ctx, '|', ';');
    ctx.no_whitespace = true;
    wide_list items;
    split_list(items, lowered(value), "|,;");
    for (const std::u16string& item : items) {
        if (item != u"md5" && item != u"sha1") continue;
        (item == u"md5" ? ctx.want_md5 : ctx.want_sha1) = true;
        ctx.hash_output = true;
        ctx.format_bodyfile = ctx.format_csv = ctx.format_l2t = false;
    }
}
