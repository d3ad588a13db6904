#include "walk/acceptance.h"

#include "ntfs/attribute_cursor.h"
#include "ntfs/attribute_list.h"
#include "ntfs/record_kind.h"
#include "ntfs/record_read.h"
#include "run/run_context.h"
#include "walk/filters.h"
#include "walk/time_analysis.h"
#include "walk/walk_state.h"

namespace {

enum class pre_selection { none, passed, refused };

// Deleted state and record number, before anything is decoded. `refused` still lets a record in by another filter.
pre_selection pre_select(file_record& record, const mft_entries_ctx& ctx) {
    if (ctx.deleted_only) {
        record.matches[match_deleted].hit = !record.in_use();
        return record.matches[match_deleted].hit ? pre_selection::passed : pre_selection::refused;
    }
    if (ctx.selected_inodes.empty()) return pre_selection::none;
    const filter_entry* entry = ctx.selected_inodes.find(record.inode);
    record.matches[match_inode].hit = entry != nullptr && entry->whole;
    return record.matches[match_inode].hit ? pre_selection::passed : pre_selection::refused;
}

// The attribute loop. False: nothing decoded. `cut_by_budget` tells that it ended short of the record's own end.
bool decode_attributes(file_record& record, byte_view bytes, std::size_t first, mft_entries_ctx& ctx,
                       bool& cut_by_budget) {
    bool decoded = false;
    attribute_cursor cursor(bytes, first, {.longest = ctx.effective_record_size(), .budget = true});
    for (; cursor.valid(); cursor.next()) {
        bool is_list = false;
        if (!decode_attribute(record, ctx, bytes, cursor.at(), {}, is_list)) break;
        if (is_list) process_attribute_list(record, ctx, record.inode, bytes, cursor.at(), false);
        decoded = true;
    }
    cut_by_budget = cursor.cut_by_budget();
    settle_fragments(record, ctx.log);
    return decoded;
}

void note_directory(const file_record& record, const record_source& records, bool cut_by_budget, path_cache& paths) {
    if (!record.is_directory()) return;
    const bool is_baad = has_signature(record.header_view(), "BAAD");
    // A decode that the budget cut short, or of a record that a read refuses, is the walk's alone.
    const bool reads_alike = !cut_by_budget && !is_baad;
    add_directory_node(paths, record, records, reads_alike);
}

// A record that was never used ends where its attributes are to begin, and there is nothing to tell of it.
void log_nothing_decoded(const file_record& record, byte_view bytes, std::size_t first, const diagnostic_log* log) {
    if (bytes.u32(first) == type_end) return;
    log_diag(log, "err: record %llx: no attribute where they are to begin, at %zx",
             static_cast<unsigned long long>(record.inode), first);
}

// Steps behind the decode, as far as they can drop the record.
bool select_decoded(file_record& record, bool pre_passed, mft_entries_ctx& ctx, walk_state& state) {
    if ((ctx.time_start != 0 || ctx.time_stop != 0) && !evaluate_time_range(record, ctx)) return false;
    bool or_pass = false;
    if (evaluate_or_filters(record, ctx, state)) {
        or_pass = has_or_filters(ctx);
    } else if (ctx.and_logic || (!pre_passed && ctx.rules.empty())) {
        return false;
    }
    if (ctx.fetch_header && ctx.head_length != 0) {
        for (auto& item : record.attributes) fetch_attribute_head(item.value, ctx, ctx.head_start, ctx.head_length);
    }
    return evaluate_rules(record, ctx) || (!ctx.and_logic && (pre_passed || or_pass));
}

// Guard: a record can name many deep parents, and each has a text of its own. Those behind the limit are cut to a word.
void build_paths(file_record& record, mft_entries_ctx& ctx, path_cache& paths) {
    for (auto& item : record.parents) {
        std::string& path = item.value.path;
        if (record.costs.path_bytes < record_cost_limit) {
            build_path(path, parent_to_climb(item.key, ctx), ctx, paths);
            record.costs.path_bytes += path.size();
        } else {
            path = "[root]\\<path corrupted>\\";
            tell_record_limit(record, ctx.log, "its paths take more than 64 MiB");
        }
    }
}

}  // namespace

bool parse_file_record(file_record& record, byte_view bytes, std::uint64_t inode, mft_entries_ctx& ctx,
                       walk_state& state) {
    record.clear();
    record.source_text = ctx.source_text;
    const std::size_t first = fill_header_fields(record, inode, bytes);

    const pre_selection selection = pre_select(record, ctx);
    if (selection == pre_selection::refused && (ctx.and_logic || (ctx.rules.empty() && !has_or_filters(ctx))))
        return false;

    bool cut_by_budget = false;
    const bool has_room = first + 72 <= bytes.size && 2 * first <= bytes.size;
    if (!has_room || !decode_attributes(record, bytes, first, ctx, cut_by_budget)) {
        log_nothing_decoded(record, bytes, first, ctx.log);
        return false;
    }
    note_directory(record, ctx, cut_by_budget, state.paths);

    if (!select_decoded(record, selection == pre_selection::passed, ctx, state)) return false;
    analyze_record_times(record, state.torn);
    build_paths(record, ctx, state.paths);
    return true;
}
