// What the filter options leave in the rule tables: names, inodes, sizes and times.

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "front/filter_dates.h"
#include "front/walk_effects.h"
#include "platform/console.h"
#include "run/run_context.h"
#include "walk/filters.h"

namespace {

int add_names(mft_entries_ctx& ctx, const std::u16string& value, bool partial) {
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        bool made = false;
        filter_entry& entry = ctx.name_entries.insert(item, made);
        if (made) make_name_entry(entry, item, partial, partial ? entry_partial_name : entry_full_name);
    }
    return 0;
}

int add_inodes(mft_entries_ctx& ctx, flat_map<std::uint64_t, filter_entry>& table, const std::u16string& value,
               std::uint32_t kind) {
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        const std::size_t colon = item.find(u':');
        const std::u16string stream = colon == std::u16string::npos ? std::u16string() : item.substr(colon + 1);
        std::uint64_t inode = 0;
        if (parse_size(low_bytes(item.substr(0, colon)), inode)) {
            add_inode_entry(table, inode, stream, kind);
        } else {
            tell_no_number(ctx, "a filter by record number", item);
        }
    }
    return 0;
}

void tell_no_date(const mft_entries_ctx& ctx, const char* option, const std::u16string& value) {
    log_diag_text(ctx.log, "err: " + std::string(option) + ": no date, it has no effect: " + utf8_from_utf16(value));
}

}  // namespace

int take_start_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    parse_filter_date(low_bytes(value), "", ctx.time_start);
    if (ctx.time_start == 0) {
        write_standard_error("Error: invalid filter start time, defaulting to 0\n");
        tell_no_date(ctx, "-filter_start_time", value);
    }
    ctx.time_stop = ~std::uint64_t{0};
    return 0;
}

int take_stop_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_filter_date(low_bytes(value), "23:59:59", ctx.time_stop)) tell_no_date(ctx, "-filter_stop_time", value);
    return 0;
}

int take_wildcard(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.wildcards.push_back(compile_wildcard(value));
    return 0;
}

int take_extensions(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    split_lowered(ctx.extensions, value);
    for (std::u16string& extension : ctx.extensions) std::erase(extension, u'.');
    return 0;
}

int take_partial_names(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    return add_names(ctx, value, true);
}

int take_full_names(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    return add_names(ctx, value, false);
}

int take_directory_inodes(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    return add_inodes(ctx, ctx.dir_inodes, value, entry_directory);
}

int take_file_inodes(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    return add_inodes(ctx, ctx.selected_inodes, value, entry_file);
}
