// First part of the program's own pass: report shapes, results path, ranges, and the sources that exclude each other.

#include "base/numbers.h"
#include "base/text.h"
#include "run/run_context.h"
#include "front/scanners.h"
#include "front/walk_options.h"
#include "ntfs/volume.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "platform/paths.h"

namespace {

using wide_list = std::vector<std::u16string>;

void set_pair(mft_entries_ctx& ctx, char from, char to) {
    ctx.replace_from = from;
    ctx.replace_to = to;
}

void clear_shapes(mft_entries_ctx& ctx) {
    ctx.hash_output = ctx.csv_per_path = ctx.filepath_only = ctx.default_output = false;
}

// One report shape on, every other off. Kept: the separator forced here is undone when the passes have ended; the
// replacement pair stays.
void choose_shape(mft_entries_ctx& ctx, bool mft_settings::*shape, char from, char to) {
    ctx.separator_wide = u'|';
    set_pair(ctx, from, to);
    ctx.format_l2t = ctx.format_bodyfile = false;
    clear_shapes(ctx);
    ctx.*shape = true;
}

void settle_formats(mft_entries_ctx& ctx) {
    if (ctx.format_csv || ctx.format_l2t || ctx.format_bodyfile) clear_shapes(ctx);
    if (!ctx.format_l2t && !ctx.format_bodyfile) return;
    ctx.no_whitespace = true;
    ctx.blank_before_time = false;
}

void place_results(mft_entries_ctx& ctx) {
    if (!ctx.results_path_given) return;
    ctx.results_path_wide = make_absolute(utf16_from_utf8(ctx.results_path));
    if (ctx.results_path_wide.empty()) write_standard_error("prob understanding destination of  aborting\n,");
}

// The device of a shadow copy: by its number, or by a path that holds the prefix.
std::u16string shadow_device(const std::u16string& value) {
    const std::u16string prefix = utf16_from_utf8(shadow_device_prefix(false));
    const std::size_t at = value.find(prefix);
    if (at == std::u16string::npos) return prefix + value;
    const std::size_t from = at + prefix.size();
    return prefix + value.substr(from, value.find(u'\\', from) - from);
}

// Opened for this test alone. Kept: in spite of its words the run goes on, and fails where the source is opened.
void test_live_volume(const mft_entries_ctx& ctx) {
    std::unique_ptr<ntfs_volume> volume;
    if (open_volume(live_choice(ctx.live_volume_text), volume, ctx.log)) return;
    write_standard_error("prob validating volume " + utf8_from_utf16(ctx.live_volume_text) +
                         " as a NTFS partition, aborting...\n");
}

// Exclude each other, in this order: one that is not reached is not even taken.
void take_first_source(mft_entries_ctx& ctx, wide_list& list) {
    std::u16string value;
    if (take_value_wide("-partition", value, list)) {
        ctx.live_volume_text = value;
        ctx.source_kind = kind_of_live_volume(value);
        test_live_volume(ctx);
    } else if (take_value_wide("-mftfile", value, list)) {
        ctx.mft_file_path = value;
        ctx.source_kind = kind_mft_file;
    } else if (take_value_wide("-vss", value, list)) {
        ctx.live_volume_text = shadow_device(value);
        ctx.source_kind = kind_device_path;
    }
}

}  // namespace

void parse_general_options(mft_entries_ctx& ctx, wide_list& list) {
    std::u16string value;
    if (take_flag_wide("-hide_dos_fntimes", list)) ctx.hide_dos_fntimes = true;
    ctx.separator_wide = utf16_from_utf8(ctx.separator);
    if (take_flag_wide("-default_output", list)) choose_shape(ctx, &mft_settings::default_output, '|', ';');
    if (take_flag_wide("-filepath_only", list)) choose_shape(ctx, &mft_settings::filepath_only, '\0', '\0');
    if (take_flag_wide("-csvperpath", list)) choose_shape(ctx, &mft_settings::csv_per_path, '|', ';');
    settle_formats(ctx);
    if (take_flag_wide("-verbose", list)) ctx.verbose = true;
    place_results(ctx);
    if (take_value_wide("-mftstart", value, list)) {
        parse_u64(low_bytes(value), ctx.mft_start);
        ctx.mft_count = 1;
    }
    if (take_value_wide("-mftrange", value, list)) parse_u64(low_bytes(value), ctx.mft_count);
    take_first_source(ctx, list);
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

int parse_walk_options(mft_entries_ctx& ctx, wide_list& list) {
    parse_general_options(ctx, list);
    const int result = parse_filter_options(ctx, list);
    return result != 0 ? result : parse_source_options(ctx, list);
}
