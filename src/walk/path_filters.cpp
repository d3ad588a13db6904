#include "walk/path_filters.h"

#include <algorithm>
#include <map>
#include <new>

#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/path_lookup.h"
#include "ntfs/subtree.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "walk/filters.h"

namespace {

constexpr std::uint32_t depth_of_all = 99;
constexpr std::u16string_view root_text = u"[root]";

// An item of -filter_dir: "path", "path*", "path*N" or "path*?".
struct directory_item {
    std::u16string path;
    std::uint32_t depth = 0;  // levels below the directory
};

// Leading digits, none of which is 0. More levels than 32 bits can count are as many as those can.
std::uint32_t depth_of(std::u16string_view text) {
    std::uint64_t depth = 0;
    for (const char16_t unit : text) {
        if (unit < u'0' || unit > u'9') break;
        depth = std::min<std::uint64_t>(10 * depth + (unit - u'0'), ~std::uint32_t{0});
    }
    return static_cast<std::uint32_t>(depth);
}

directory_item read_item(const std::u16string& text) {
    const std::size_t star = text.find(u'*');
    if (star == std::u16string::npos) return {text, 0};
    const std::u16string_view behind = std::u16string_view(text).substr(star + 1);
    if (behind.empty()) return {text.substr(0, star), 1};
    return {text.substr(0, star), behind.front() == u'?' ? depth_of_all : depth_of(behind)};
}

// Entries by record number. Whole subtrees come, of several items in any order: a tree takes them, and the table of the
// filter, a sorted vector, is filled from it once.
using directory_entries = std::map<std::uint64_t, filter_entry>;

void add_directory(directory_entries& entries, std::uint64_t inode, const std::u16string& text) {
    const auto [place, made] = entries.try_emplace(inode);
    if (made) make_filter_entry(place->second, inode, text, entry_directory);
    // A drive's colon is no stream's: the directory is selected as it is.
    place->second.whole = true;
}

void add_subtree(directory_entries& entries, mft_entries_ctx& ctx, const path_target& found, std::uint32_t depth) {
    std::string levels;
    append_decimal(levels, depth);
    const std::u16string text = found.path + u"\\*" + utf16_from_utf8(levels);
    const bool has_drive = found.path.size() > 1 && found.path[1] == u':';
    const std::u16string base(has_drive ? std::u16string_view(found.path).substr(0, 2) : root_text);
    subtree_map directories;
    if (!expand_subtree(directories, found.inode, std::int64_t{depth} - 1, *ctx.volume, base, ctx.log)) {
        log_diag_text(ctx.log, "err: not expanded, the directory alone counts: " + utf8_from_utf16(text));
        return add_directory(entries, found.inode, text);
    }
    for (const auto& [inode, path] : directories) add_directory(entries, inode, path);
}

void resolve_directory(directory_entries& entries, mft_entries_ctx& ctx, const std::u16string& text) {
    const directory_item item = read_item(text);
    path_target found;
    if (!lookup_path(found, ctx, item.path, true)) return;
    if (found.path == u"\\") found.path = root_text;
    if (item.depth > 0) return add_subtree(entries, ctx, found, item.depth);
    add_directory(entries, found.inode, found.path);
}

void resolve_directories(mft_entries_ctx& ctx) {
    if (ctx.filter_dirs.empty()) return;
    directory_entries entries;
    for (auto& item : ctx.dir_inodes) entries.emplace(item.key, item.value);
    for (const std::u16string& text : ctx.filter_dirs) resolve_directory(entries, ctx, text);
    ctx.dir_inodes.clear();
    bool made = false;
    for (auto& [inode, entry] : entries) ctx.dir_inodes.insert(inode, made) = std::move(entry);
}

void resolve_file(mft_entries_ctx& ctx, const std::u16string& item) {
    std::size_t colon = item.rfind(u':');
    if (colon == item.find(u":\\")) colon = std::u16string::npos;
    const std::u16string stream = colon == std::u16string::npos ? u"" : item.substr(colon + 1);
    path_target found;
    if (lookup_path(found, ctx, item.substr(0, colon), false)) {
        add_inode_entry(ctx.selected_inodes, found.inode, stream, entry_file);
    } else {
        log_diag_text(ctx.log, "err: no such file, filter ignored: " + utf8_from_utf16(item));
    }
}

}  // namespace

void resolve_path_filters(mft_entries_ctx& ctx) {
    try {
        resolve_directories(ctx);
        for (const std::u16string& item : ctx.filter_files) resolve_file(ctx, item);
    } catch (const std::bad_alloc&) {
        log_diag(ctx.log, "err: out of memory, filters by path are incomplete");
    }
}
