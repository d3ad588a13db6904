#include "walk/filters.h"

#include <algorithm>
#include <iterator>

#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/file_record.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "walk/walk_state.h"

namespace {

// The record passes by this kind; what matched is for the caller to write.
std::string& mark(file_record& record, match_kind kind) {
    record.matches[kind].hit = true;
    return record.matches[kind].text;
}

constexpr std::size_t smallest_sized_attribute = 72;  // kept: a shorter $DATA is not seen by the size filters

// --- size ------------------------------------------------------------------------------------------------------------

bool size_passes(file_record& record, const mft_entries_ctx& ctx) {
    bool any = false;
    for (const auto& item : record.attributes) {
        const attr_entry& attribute = item.value;
        if (!attribute.is_data || !attribute.name.empty() || attribute.raw.size() < smallest_sized_attribute) continue;
        const std::uint64_t size = attribute.data_size();
        if (ctx.min_size != 0 && ctx.min_size > size) return false;
        if (ctx.max_size != 0 && ctx.max_size < size) return false;
        any = true;
    }
    if (!any) return ctx.min_size == 0;
    record.matches[match_size].hit = record.matches[match_size_extra].hit = true;
    return true;
}

bool size_stage(file_record& record, mft_entries_ctx& ctx, walk_state&) {
    return (ctx.max_size != 0 || ctx.min_size != 0) && size_passes(record, ctx);
}

// --- wildcards -------------------------------------------------------------------------------------------------------

// The record's names in lower case: made when the first stage asks, once a record.
const std::vector<std::u16string>& lower_names(const file_record& record, filter_scratch& scratch) {
    if (scratch.names_ready) return scratch.names;
    scratch.names_ready = true;
    if (scratch.names.size() < record.file_names.size()) scratch.names.resize(record.file_names.size());
    auto name = scratch.names.begin();
    for (const auto& item : record.file_names) {
        *name = item.value.name;
        lower_in_place(*name++);
    }
    return scratch.names;
}

bool segments_match(const wildcard_pattern& pattern, std::string_view text, std::size_t at) {
    for (const wildcard_pattern::segment& segment : pattern.segments) {
        if (text.size() - at < segment.literal.size() + segment.gap) return false;
        if (segment.is_literal && text.compare(at, segment.literal.size(), segment.literal) != 0) return false;
        at += segment.literal.size() + segment.gap;
    }
    return true;
}

// A lower-cased name as the bytes that patterns are made of: every line feed as carriage return and line feed.
std::string_view pattern_bytes(const std::u16string& name, std::u16string& expanded) {
    const std::u16string* text = &name;
    if (name.find(u'\n') != std::u16string::npos) {
        expanded.clear();
        for (const char16_t unit : name) {
            if (unit == u'\n') expanded += u'\r';
            expanded += unit;
        }
        text = &expanded;
    }
    return {reinterpret_cast<const char*>(text->data()), 2 * text->size()};
}

// Unanchored: the pattern may stand anywhere, at odd bytes too. Only a place where its first literal stands can be one,
// so that is what is looked for. A first segment without literal is a gap ahead of it.
bool wildcard_matches(const wildcard_pattern& pattern, std::string_view name) {
    if (pattern.segments.empty() || name.size() < pattern.min_length) return false;
    const wildcard_pattern::segment& first = pattern.segments.front();
    const std::size_t lead = first.is_literal ? 0 : first.gap;
    const std::string& literal = first.is_literal ? first.literal : pattern.segments[1].literal;
    for (std::size_t at = name.find(literal, lead); at != std::string_view::npos; at = name.find(literal, at + 1)) {
        if (segments_match(pattern, name, at - lead)) return true;
    }
    return false;
}

bool wildcard_stage(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    if (ctx.wildcards.empty()) return false;
    const std::vector<std::u16string>& names = lower_names(record, state.filters);
    for (const wildcard_pattern& pattern : ctx.wildcards) {
        auto name = names.begin();
        for (const auto& item : record.file_names) {
            if (!wildcard_matches(pattern, pattern_bytes(*name++, state.filters.expanded))) continue;
            mark(record, match_wildcard) = utf8_from_utf16(item.value.name);
            return true;
        }
    }
    return false;
}

// --- names, directories, records, extensions -------------------------------------------------------------------------

bool is_hit(const std::u16string& name, const std::u16string& wanted, bool partial) {
    return name == wanted || (partial && name.find(wanted) != std::u16string::npos);
}

bool name_stage(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    if (ctx.name_entries.empty()) return false;
    const std::vector<std::u16string>& names = lower_names(record, state.filters);
    for (const auto& rule : ctx.name_entries) {
        for (std::size_t index = 0; index < record.file_names.size(); ++index) {
            if (!is_hit(names[index], rule.key, rule.value.partial)) continue;
            mark(record, match_name) = utf8_from_utf16(rule.key);
            return true;
        }
    }
    return false;
}

// The first attribute whose lower-cased name is among the streams; null if there is none.
const attr_entry* named_stream(const file_record& record, const filter_entry& entry, filter_scratch& scratch) {
    std::u16string& lower = scratch.lowered;
    for (const auto& item : record.attributes) {
        lower = item.value.name;
        lower_in_place(lower);
        if (std::binary_search(entry.streams.begin(), entry.streams.end(), lower)) return &item.value;
    }
    return nullptr;
}

void set_stream_text(std::string& text, std::uint64_t number, const attr_entry& attribute) {
    text.clear();
    append_decimal(text, number);
    text += ':';
    append_utf8(text, attribute.name);
}

std::string directory_text(const filter_entry& entry, std::uint64_t inode, mft_entries_ctx& ctx, path_cache& paths) {
    if (!entry.text.empty()) return utf8_from_utf16(entry.text);
    std::string text;
    if (build_path(text, inode, ctx, paths)) return text;
    text = "dir_inode(";
    append_decimal(text, inode);
    return text + ")";
}

bool directory_stage(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    if (ctx.dir_inodes.empty()) return false;
    for (const auto& item : record.parents) {
        const std::uint64_t inode = item.key & inode_mask;
        const filter_entry* entry = ctx.dir_inodes.find(inode);
        if (entry == nullptr) continue;
        if (entry->whole) {
            mark(record, match_directory) = directory_text(*entry, inode, ctx, state.paths);
            return true;
        }
        if (!entry->by_stream) continue;
        if (const attr_entry* attribute = named_stream(record, *entry, state.filters)) {
            // Kept: the hit counts as one by record number, and its text goes to the directory's field.
            mark(record, match_inode);
            set_stream_text(record.matches[match_directory].text, inode, *attribute);
            return true;
        }
    }
    return false;
}

bool inode_stage(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    const filter_entry* entry = ctx.selected_inodes.empty() ? nullptr : ctx.selected_inodes.find(record.inode);
    if (entry == nullptr) return false;
    if (entry->whole) {
        std::string& text = mark(record, match_inode);
        text.clear();
        append_decimal(text, record.inode);
        return true;
    }
    const attr_entry* attribute = entry->by_stream ? named_stream(record, *entry, state.filters) : nullptr;
    if (attribute == nullptr) return false;
    set_stream_text(mark(record, match_inode), record.inode, *attribute);
    return true;
}

// Only the record's first name that holds a "." is looked at.
bool extension_stage(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    if (ctx.extensions.empty()) return false;
    const std::vector<std::u16string>& names = lower_names(record, state.filters);
    const auto end = names.begin() + static_cast<std::ptrdiff_t>(record.file_names.size());
    const auto dotted = std::find_if(names.begin(), end, [](const auto& name) { return name.find(u'.') != name.npos; });
    if (dotted == end) return false;
    const std::u16string_view extension = std::u16string_view(*dotted).substr(dotted->rfind(u'.') + 1);
    const auto hit = std::find(ctx.extensions.begin(), ctx.extensions.end(), extension);
    if (hit == ctx.extensions.end()) return false;
    mark(record, match_extension) = utf8_from_utf16(*hit);
    return true;
}

constexpr bool (*or_stages[])(file_record& record, mft_entries_ctx& ctx, walk_state& state) = {
    size_stage, wildcard_stage, name_stage, directory_stage, inode_stage, extension_stage,
};

// The first rule that hits the head of a stream gives the record's text.
bool any_rule_hits(file_record& record, const mft_entries_ctx& ctx, const attr_entry& stream) {
    if (stream.head_bytes.empty()) return false;
    for (const filter_rule& rule : ctx.rules) {
        if (!rule.usable || !rule.match(rule, stream.head_bytes)) continue;
        mark(record, match_signature) = signature_text(rule.kind);
        return true;
    }
    return false;
}

bool last_data_hits(file_record& record, const mft_entries_ctx& ctx) {
    const attr_entry* last = nullptr;
    for (const auto& item : record.attributes) {
        if (item.value.is_data) last = &item.value;
    }
    return last != nullptr && any_rule_hits(record, ctx, *last);
}

bool any_data_hits(file_record& record, const mft_entries_ctx& ctx) {
    const auto hits = [&](const auto& item) { return item.value.is_data && any_rule_hits(record, ctx, item.value); };
    return std::any_of(record.attributes.begin(), record.attributes.end(), hits);
}

template <class entry>
bool any_time_inside(const entry& times, std::uint64_t start, std::uint64_t stop) {
    const auto inside = [start, stop](std::uint64_t time) { return time >= start && time <= stop; };
    return inside(times.created) || inside(times.modified) || inside(times.mft_changed) || inside(times.accessed);
}

// Kept: the head has the length asked for, also where the stream is shorter.
bool fetch_stream_head(attr_entry& attribute, const mft_entries_ctx& ctx, std::uint64_t start, std::uint32_t length) {
    if (ctx.volume == nullptr || attribute.runs.empty()) return false;
    ntfs_volume& volume = *ctx.volume;
    std::vector<std::uint8_t>& head = attribute.head_bytes;
    head.assign(length, 0);
    const std::uint64_t first_lcn = attribute.runs.front().lcn;
    bool came = false;
    if (start == 0 && length < volume.cluster_bytes() && !is_sparse_run(attribute.runs, 0)) {
        came = read_from_cluster(volume, first_lcn, head.data(), length);
    } else {
        stream_runs stream(attribute.runs);
        std::uint32_t flags = 0;
        came = read_stream(volume, stream, start, head.data(), length, flags);
    }
    if (came) return true;
    log_diag(ctx.log, "err: head of a stream unreadable at cluster %llx: %s",
             static_cast<unsigned long long>(first_lcn), read_error_text(volume).c_str());
    head.clear();
    return false;
}

}  // namespace

bool has_or_filters(const mft_entries_ctx& ctx) {
    return !ctx.extensions.empty() || !ctx.name_entries.empty() || !ctx.filter_dirs.empty() ||
           !ctx.dir_inodes.empty() || !ctx.selected_inodes.empty() || !ctx.wildcards.empty() || ctx.max_size > 0 ||
           ctx.min_size > 0;
}

bool evaluate_or_filters(file_record& record, mft_entries_ctx& ctx, walk_state& state) {
    if (!has_or_filters(ctx)) return true;
    state.filters.names_ready = false;
    return std::any_of(std::begin(or_stages), std::end(or_stages),
                       [&](const auto stage) { return stage(record, ctx, state); });
}

bool evaluate_rules(file_record& record, const mft_entries_ctx& ctx) {
    // Every rule tests bytes of a volume's streams. Without a volume they are ignored, and pass.
    if (ctx.rules.empty() || ctx.volume == nullptr) return true;
    // Kept: of several streams, named or not, the last in map order alone is looked at, so that a download's mark of
    // its origin hides the program that it marks. A thorough run asks each of them.
    return ctx.thorough ? any_data_hits(record, ctx) : last_data_hits(record, ctx);
}

bool evaluate_time_range(file_record& record, const mft_entries_ctx& ctx) {
    const auto inside = [&ctx](const auto& item) { return any_time_inside(item.value, ctx.time_start, ctx.time_stop); };
    record.matches[match_time].hit = std::any_of(record.std_infos.begin(), record.std_infos.end(), inside) ||
                                     std::any_of(record.file_names.begin(), record.file_names.end(), inside);
    return record.matches[match_time].hit;
}

bool fetch_attribute_head(attr_entry& attribute, const mft_entries_ctx& ctx, std::uint64_t start,
                          std::uint32_t length) {
    attribute.head_bytes.clear();
    if (attribute.raw.empty() || length < 1) return false;
    if (attribute.non_resident()) return fetch_stream_head(attribute, ctx, start, length);
    const byte_view raw(attribute.raw);
    const byte_view value = raw.part(raw.u16(attribute_at::value_offset), std::min(length, attribute.value_length()));
    attribute.head_bytes.assign(value.data, value.data + value.size);
    return true;
}
