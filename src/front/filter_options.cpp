// Second part of the program's own pass: filters and actions, in the order of their calls.

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "front/filter_dates.h"
#include "run/run_context.h"
#include "front/scanners.h"
#include "front/walk_options.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "sources/host_paths.h"
#include "walk/filters.h"

namespace {

using wide_list = std::vector<std::u16string>;

// 0 to go on, -1 to end the pass: the option has said why.
using apply_option = int (*)(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

enum class option_form { flag, value, repeated_value };

struct walk_option {
    const char* name;
    option_form form;
    apply_option apply;
};

void split_lowered(wide_list& out, const std::u16string& value) { split_list(out, lowered(value), "|,;"); }

template <bool mft_settings::*... members>
int switch_on(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    ((ctx.*members = true), ...);
    return 0;
}

template <wide_list mft_settings::*target>
int keep_list(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    split_lowered(ctx.*target, value);
    return 0;
}

template <std::uint64_t mft_settings::*target>
int keep_size(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    parse_size(low_bytes(value), ctx.*target);
    return 0;
}

// --- copy-out --------------------------------------------------------------------------------------------------------

// A copy run writes the per-path report. False: the bare list was asked for with it.
bool set_copy_format(mft_entries_ctx& ctx) {
    const bool other_format = ctx.format_csv || ctx.format_l2t || ctx.format_bodyfile;
    if (other_format || !ctx.csv_per_path) {
        ctx.format_csv = ctx.format_l2t = ctx.format_bodyfile = false;
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

int copy_files(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    if (!set_copy_format(ctx) || !set_copy_directory(ctx, value)) return -1;
    ctx.copy_files = ctx.copy_active = true;
    choose_streams(ctx, list);
    return 0;
}

// --- times -----------------------------------------------------------------------------------------------------------

int start_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    parse_filter_date(low_bytes(value), "", ctx.time_start);
    if (ctx.time_start == 0) write_standard_error("Error: invalid filter start time, defaulting to 0\n");
    ctx.time_stop = ~std::uint64_t{0};
    return 0;
}

int stop_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    parse_filter_date(low_bytes(value), "23:59:59", ctx.time_stop);
    return 0;
}

// --- names and records -----------------------------------------------------------------------------------------------

int wildcard(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.wildcards.push_back(compile_wildcard(value));
    return 0;
}

int extensions(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    split_lowered(ctx.extensions, value);
    for (std::u16string& extension : ctx.extensions) std::erase(extension, u'.');
    return 0;
}

template <bool partial>
int names(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        bool made = false;
        filter_entry& entry = ctx.name_entries.insert(item, made);
        if (made) make_name_entry(entry, item, partial, partial ? entry_partial_name : entry_full_name);
    }
    return 0;
}

template <flat_map<std::uint64_t, filter_entry> mft_settings::*table, std::uint32_t kind>
int inodes(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        const std::size_t colon = item.find(u':');
        const std::u16string stream = colon == std::u16string::npos ? std::u16string() : item.substr(colon + 1);
        std::uint64_t inode = 0;
        if (parse_size(low_bytes(item.substr(0, colon)), inode)) add_inode_entry(ctx.*table, inode, stream, kind);
    }
    return 0;
}

// --- bytes -----------------------------------------------------------------------------------------------------------

// The items of a pattern; none when the text cannot be one.
std::vector<std::string> pattern_items(const std::string& text) {
    std::vector<std::string> items;
    for (const char delimiter : {' ', ',', ':'}) {
        if (text.find(delimiter) == std::string::npos) continue;
        split_on_char(text, delimiter, items, true);
        return items;
    }
    const bool single = text.size() == 2 || (text.size() < 5 && text.find('x') != std::string::npos);
    if (single) items.push_back(text);
    return items;
}

int pattern(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    std::vector<std::uint8_t> bytes;
    for (const std::string& item : pattern_items(lowered_ascii(low_bytes(value)))) {
        const std::size_t x = item.find('x');
        std::uint64_t byte = 0;
        parse_u64("x" + (x == std::string::npos ? item : item.substr(x + 1)), byte);
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    if (bytes.empty()) {
        write_standard_error("Error: -filter_pattern option specified invalid argument, aborting\n");
        return -1;
    }
    ctx.filter_pattern_bytes = bytes;
    ctx.signature_filter = true;
    std::u16string number;
    if (take_value_wide("-scanstart", number, list)) parse_u64(low_bytes(number), ctx.scan_start);
    if (take_value_wide("-scansize", number, list)) parse_u64(low_bytes(number), ctx.scan_size);
    ctx.rules.push_back(make_rule(rule_pattern));
    ctx.rules.back().pattern = bytes;
    return 0;
}

void want_head(mft_entries_ctx& ctx, std::uint32_t length) {
    if (ctx.head_length >= length) return;
    ctx.fetch_header = true;
    ctx.head_start = 0;
    ctx.head_length = length;
}

int signatures(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.signature_filter = true;
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        const signature_word* word = find_signature_word(item);
        if (word == nullptr) {
            write_standard_error("Error: -filter_sig option specified invalid option, aborting\n");
            continue;
        }
        ctx.signature_kind = static_cast<std::uint32_t>(word->kind);
        ctx.rules.push_back(make_rule(word->kind));
        want_head(ctx, word->head_length);
    }
    return 0;
}

// Groups of hexadecimal digits, divided by single characters: 32, 16, 16, 16 and 48 bits. The first three lie in
// memory with their low byte first.
bool parse_object_id(std::string_view text, std::array<std::uint8_t, 16>& out) {
    constexpr std::size_t shortest = 22;
    if (text.size() < shortest) return false;
    constexpr std::size_t widths[] = {4, 2, 2, 2, 6};  // bytes
    std::size_t at = 0, target = 0;
    for (std::size_t group = 0; group < std::size(widths); ++group) {
        const std::string_view digits = text.substr(std::min(at, text.size()), 2 * widths[group]);
        const std::size_t count = std::min(digits.find_first_not_of("0123456789abcdefABCDEF"), digits.size());
        std::uint64_t value = 0;
        if (count == 0 || !parse_u64("x" + std::string(digits.substr(0, count)), value)) return false;
        for (std::size_t byte = 0; byte < widths[group]; ++byte) {
            const std::size_t shift = 8 * (group < 3 ? byte : widths[group] - 1 - byte);
            out[target++] = static_cast<std::uint8_t>(value >> shift);
        }
        at += count + 1;
    }
    return true;
}

int object_id(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_object_id(low_bytes(value), ctx.objid_value)) {
        write_standard_error("prob parsing " + utf8_from_utf16(value) + " as ObjID, aborting\n");
        return -1;
    }
    ctx.objid_wanted = true;
    return 0;
}

// --- reports ---------------------------------------------------------------------------------------------------------

int cluster_info(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    ctx.omit_cluster_info = false;
    return 0;
}

int header_bytes(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    ctx.fetch_header = true;
    ctx.head_length = 32;
    ctx.omit_cluster_info = false;
    return 0;
}

int dump_record(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.find_mft = ctx.fetch_header = true;
    parse_u64(low_bytes(value), ctx.mft_start);
    ctx.mft_count = 1;
    ctx.head_length = 2048;
    return 0;
}

int volume_offset(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    parse_u64(low_bytes(value), ctx.volume_offset);
    return 0;
}

using settings = mft_settings;
// In the order of the calls, which decides where two options write the same setting.
constexpr walk_option walk_options[] = {
    {"-raw", option_form::flag, switch_on<&settings::raw_copy>},
    {"-skip_sparse_clusters", option_form::flag, switch_on<&settings::skip_sparse>},
    {"-filter_deleted_files", option_form::flag, switch_on<&settings::deleted_only, &settings::and_logic>},
    {"-use_orig_ext", option_form::flag, switch_on<&settings::use_orig_ext>},
    {"-action_copy_files", option_form::value, copy_files},
    {"-filter_start_time", option_form::value, start_time},
    {"-filter_stop_time", option_form::value, stop_time},
    {"-filter_wildcard", option_form::repeated_value, wildcard},
    {"-filter_ext", option_form::value, extensions},
    {"-filter_fullname", option_form::value, names<false>},
    {"-filter_name", option_form::value, names<true>},
    {"-offset", option_form::value, volume_offset},
    {"-action_include_clusterinfo", option_form::flag, cluster_info},
    {"-action_include_header", option_form::flag, header_bytes},
    {"-hexdump", option_form::flag, switch_on<&settings::hexdump>},
    {"-filter_file", option_form::value, keep_list<&settings::filter_files>},
    {"-filter_dir_recurse", option_form::value, keep_list<&settings::filter_dirs_recursive>},
    {"-filter_dir", option_form::value, keep_list<&settings::filter_dirs>},
    {"-filter_file", option_form::value, keep_list<&settings::filter_files>},  // kept: a second one replaces the first
    {"-filter_dir_inode", option_form::value, inodes<&settings::dir_inodes, entry_directory>},
    {"-filter_inode", option_form::value, inodes<&settings::selected_inodes, entry_file>},
    {"-filerecord_offset", option_form::flag, switch_on<&settings::record_offset_wanted>},
    {"-filter_pattern", option_form::value, pattern},
    {"-filter_unalloc_clusters", option_form::flag, switch_on<&settings::unalloc_phase, &settings::and_logic>},
    {"-filter_all_clusters", option_form::flag, switch_on<&settings::all_clusters>},
    {"-filter_deleted_files_all", option_form::flag, switch_on<&settings::deleted_all>},
    {"-filter_AND_logic", option_form::flag, switch_on<&settings::and_logic>},
    {"-filter_sig", option_form::value, signatures},
    {"-find_objid", option_form::value, object_id},
    {"-filter_max_size", option_form::value, keep_size<&settings::max_size>},
    {"-filter_min_size", option_form::value, keep_size<&settings::min_size>},
    {"-find_mft", option_form::value, dump_record},
    {"-action_include_header_ex", option_form::value, switch_on<&settings::fetch_header>},
    {"-jp", option_form::flag, switch_on<&settings::jp_flag>},
    {"-lnk", option_form::flag, switch_on<&settings::lnk_flag>},
};

bool take_option(const walk_option& option, std::u16string& value, wide_list& list) {
    return option.form == option_form::flag ? take_flag_wide(option.name, list)
                                            : take_value_wide(option.name, value, list);
}

}  // namespace

int parse_filter_options(mft_entries_ctx& ctx, wide_list& list) {
    for (const walk_option& option : walk_options) {
        std::u16string value;
        while (take_option(option, value, list)) {
            const int result = option.apply(ctx, value, list);
            if (result != 0) return result;
            if (option.form != option_form::repeated_value) break;
        }
    }
    prepare_rules(ctx);
    return 0;
}
