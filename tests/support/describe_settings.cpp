#include "support/describe_settings.h"

#include <utility>
#include <vector>

#include "base/numbers.h"
#include "base/text.h"
#include "run/run_context.h"
#include "walk/filters.h"

namespace {

using named_texts = std::vector<std::pair<const char*, std::string>>;

std::string hex_of(std::uint64_t value) {
    std::string text = "0x";
    append_hex(text, value);
    return text;
}

// Small numbers as people write them, large ones as bit patterns.
std::string text_of(std::uint64_t value) { return value < 1'000'000 ? std::to_string(value) : hex_of(value); }
std::string text_of(std::uint32_t value) { return text_of(std::uint64_t{value}); }
std::string text_of(std::int32_t value) { return std::to_string(value); }
std::string text_of(bool value) { return value ? "+" : "-"; }
std::string text_of(char value) { return value == 0 ? std::string("none") : std::string{'\'', value, '\''}; }
std::string text_of(const std::string& value) { return "'" + value + "'"; }
std::string text_of(const std::u16string& value) { return text_of(utf8_from_utf16(value)); }
std::string text_of(std::uint8_t value) {
    std::string text;
    append_hex(text, value, 2);
    return text;
}

std::string text_of(const filter_term::part& part) {
    if (part.any) return "any";
    std::string text = part.text;
    if (part.star_in_front) text = "*" + text;
    return part.star_behind ? text + "*" : text;
}
std::string text_of(const filter_term& term) {
    return term.matches_everything ? "all" : text_of(term.name) + ":" + text_of(term.value);
}
std::string text_of(const filter_rule& rule) { return std::to_string(rule.kind) + (rule.usable ? "" : "(not ready)"); }
std::string text_of(const wildcard_pattern& pattern) { return std::to_string(pattern.min_length) + "bytes"; }

std::string text_of(const filter_entry& entry) {
    std::string text = std::to_string(entry.kind);
    if (entry.partial) text += ",partial";
    if (entry.whole) text += ",whole";
    if (entry.has_stream) text += ",stream";
    for (const std::u16string& stream : entry.streams) text += "," + utf8_from_utf16(stream);
    return text;
}

// Of a list in brackets, of a map in braces.
template <class item>
std::string text_of(const std::vector<item>& items) {
    std::string text;
    for (const item& each : items) text += (text.empty() ? "" : ";") + text_of(each);
    return "[" + text + "]";
}
template <class key, class value>
std::string text_of(const flat_map<key, value>& entries) {
    std::string text;
    for (const auto& entry : entries)
        text += (text.empty() ? "" : ";") + text_of(entry.key) + "=" + text_of(entry.value);
    return "{" + text + "}";
}

// One name after the other, as many as a line holds.
// clang-format off
#define FIELD(name) {#name, text_of(ctx.name)}

named_texts texts_of(const mft_entries_ctx& ctx) {
    return {
        FIELD(version_text), FIELD(results_path), FIELD(results_dir), FIELD(username), FIELD(hostname), FIELD(source_type),
        FIELD(alias_paths), FIELD(aliases), FIELD(date_format), FIELD(time_format), FIELD(replace_from),
        FIELD(replace_to), FIELD(separator), FIELD(no_whitespace), FIELD(blank_before_time), FIELD(hex_numbers),
        FIELD(username_given), FIELD(hostname_given), FIELD(gzip_wanted), FIELD(gzip_level_flag), FIELD(zlib_wanted),
        FIELD(zlibex_wanted), FIELD(zlibex_text), FIELD(threads), FIELD(database_sink), FIELD(results_dir_given),
        FIELD(results_path_given), FIELD(instance_number), FIELD(cpu_count), FIELD(separate_files), FIELD(fragment_count),
        FIELD(format_xml), FIELD(format_csv), FIELD(format_l2t), FIELD(format_csvgen), FIELD(format_bodyfile),
        FIELD(format_multiline), FIELD(format_jsonl), FIELD(verbose), FIELD(show_progress), FIELD(header_pending), FIELD(pair_datetime),
        FIELD(diags_path), FIELD(run_header_text), FIELD(profile_wanted), FIELD(profile_start),
        FIELD(signal_name), FIELD(generic_filter_terms), FIELD(pipe_flag),
        FIELD(hash_output), FIELD(csv_per_path), FIELD(filepath_only), FIELD(default_output), FIELD(results_path_wide),
        FIELD(hexdump), FIELD(hide_dos_fntimes), FIELD(thorough), FIELD(omit_cluster_info), FIELD(separator_wide), FIELD(progress_title),
        FIELD(record_offset_wanted), FIELD(mft_start), FIELD(mft_count), FIELD(mft_file_path), FIELD(source_kind),
        FIELD(volume_offset), FIELD(image_path_disk), FIELD(image_path_volume), FIELD(live_volume_text),
        FIELD(drive_number), FIELD(vmdk_paths), FIELD(indx_file_path), FIELD(fetch_header), FIELD(head_start),
        FIELD(head_length), FIELD(extensions), FIELD(filter_dirs), FIELD(filter_dirs_recursive), FIELD(filter_files),
        FIELD(name_entries), FIELD(selected_inodes), FIELD(dir_inodes), FIELD(max_size), FIELD(min_size),
        FIELD(wildcards), FIELD(time_start), FIELD(time_stop), FIELD(deleted_only), FIELD(unalloc_phase),
        FIELD(deleted_all), FIELD(all_clusters), FIELD(jp_flag), FIELD(lnk_flag), FIELD(find_mft), FIELD(objid_wanted),
        {"objid_value", text_of(std::vector<std::uint8_t>(ctx.objid_value.begin(), ctx.objid_value.end()))}, FIELD(and_logic), FIELD(filter_pattern_bytes), FIELD(rules), FIELD(signature_filter),
        FIELD(signature_kind), FIELD(scan_start), FIELD(scan_size), FIELD(copy_files), FIELD(copy_dir),
        FIELD(copy_all_streams), FIELD(copy_normal_data), FIELD(copy_named_data), FIELD(raw_copy), FIELD(skip_sparse),
        FIELD(copy_active), FIELD(use_orig_ext), FIELD(want_md5), FIELD(want_sha1),
    };
}
// clang-format on

}  // namespace

std::string settings_beyond(const mft_entries_ctx& base, const mft_entries_ctx& ctx) {
    std::string out;
    const named_texts before = texts_of(base), after = texts_of(ctx);
    for (std::size_t index = 0; index < after.size(); ++index) {
        const auto& [name, text] = after[index];
        if (text == before[index].second) continue;
        if (!out.empty()) out += ' ';
        const bool flag = text == "+" || (text == "-" && before[index].second == "+");
        out += flag ? text + name : std::string(name) + "=" + text;
    }
    return out;
}
