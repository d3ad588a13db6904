#include "report/record_text.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "ntfs/attributes.h"
#include "run/run_context.h"

namespace {

void append_run(text_buffer& out, const cluster_run& run, bool sparse) {
    out += "0x";
    append_hex(out, run.lcn, 8);
    if (run.clusters > 1) {
        out += " -> 0x";
        append_hex(out, run.lcn + run.clusters - 1, 8);
    }
    out += sparse ? " [sparse]; " : "; ";
}

// Put together in place: every row of a record without a stream of its own ends in one of these for each attribute.
void append_data_type(text_buffer& out, const attr_entry& attribute, std::uint64_t size, bool whole) {
    constexpr std::size_t constant_parts = 64;  // brackets, separators and digits
    const bool has_text = !attribute.non_resident() && !attribute.value_text.empty();
    char* at = out.room(constant_parts + most_utf8 * attribute.name.size() + attribute.label.size() +
                        attribute.value_text.size());
    const auto put = [&at](std::string_view text) { at = put_text(at, text); };
    put("[");
    if (!attribute.name.empty()) {
        bool complete = true;
        at = whole ? put_whole_utf8(at, attribute.name) : put_utf8(at, attribute.name, complete);
        put(" : ");
    }
    if (!attribute.label.empty()) {
        put(attribute.label);
        put(" : ");
    }
    put("sz: 0x");
    at = digits::put_hex(at, size, 4);
    if (has_text) {
        put(" : ");
        put(attribute.value_text);
    }
    put("]");
    out.set_end(at);
}

struct filter_hit {
    const char* word;
    match_kind kind;
};

constexpr filter_hit filter_hits[] = {
    {"type(", match_signature}, {"pattern(", match_wildcard}, {"dir(", match_directory},
    {"inode(", match_inode},    {"ext(", match_extension},    {"name(", match_name},
};

void append_hit(text_buffer& out, const filter_hit& hit, const file_record& record) {
    if (!record.matches[hit.kind].hit) return;
    append_item(out, hit.word);
    out += record.matches[hit.kind].text;
    out += ')';
}

}  // namespace

const char* record_type_word(const file_record& record, const mft_entries_ctx& ctx) {
    if (ctx.unalloc_phase) return "unalloc";
    if (!record.in_use()) return "del";
    return record.is_directory() ? "dir" : "file";
}

std::u16string_view extension_of(std::u16string_view name, bool leading_dot_counts) {
    const std::size_t dot = name.rfind(u'.');
    if (dot == std::u16string_view::npos || (dot == 0 && !leading_dot_counts)) return {};
    return name.substr(dot + 1);
}

void append_number_text(text_buffer& out, std::uint64_t value, std::size_t digits, const mft_entries_ctx& ctx) {
    if (!ctx.hex_numbers) {
        append_decimal(out, value);
        return;
    }
    out += "0x";
    append_hex(out, value, digits);
}

void append_name(text_buffer& out, std::u16string_view name, bool whole) {
    whole ? append_whole_utf8(out, name) : append_utf8(out, name);
}

void append_lowered(text_buffer& out, std::u16string_view name, std::u16string& wide, bool whole) {
    const auto is_ascii = [](char16_t unit) { return unit < 0x80; };
    if (std::all_of(name.begin(), name.end(), is_ascii)) {
        char* to = out.room(name.size());
        for (const char16_t unit : name) *to++ = static_cast<char>(lower_unit(unit));
        out.set_end(to);
        return;
    }
    wide.assign(name);
    lower_in_place(wide);
    append_name(out, wide, whole);
}

void append_reparse_targets(text_buffer& out, const file_record& record, bool whole) {
    bool first = true;
    for (const auto& item : record.reparse_targets) {
        if (!first) out += "; ";
        first = false;
        append_name(out, item.value, whole);
    }
}

void append_object_ids(text_buffer& out, const file_record& record) {
    for (const auto& item : record.object_ids) {
        const byte_view object_id(item.value.bytes.data(), guid_at::size);
        if (object_id.is_all_zero()) continue;
        if (!out.empty()) out += "; ";
        std::string text;
        append_guid(text, object_id);
        out += text;
    }
}

void append_cluster_text(text_buffer& out, const attr_entry& attribute) {
    if (!attribute.non_resident()) {
        if (!attribute.value_text.empty()) {
            out += attribute.value_text;
        } else {
            out += attribute.data_size() == 0 ? "null" : "<data in MFT entry>";
        }
        return;
    }
    for (std::size_t index = 0; index < attribute.runs.size(); ++index) {
        append_run(out, attribute.runs[index], is_sparse_run(attribute.runs, index));
    }
    if (!attribute.runs.empty()) out.cut(out.size() - 2);
}

void append_data_types(text_buffer& out, const file_record& record, bool whole) {
    for (const auto& item : record.attributes) {
        const std::uint64_t size = item.value.data_size();
        if (size == 0) continue;
        if (!out.empty()) out += "; ";
        append_data_type(out, item.value, size, whole);
    }
}

void append_filter_hits(text_buffer& out, const file_record& record) {
    for (const filter_hit& hit : filter_hits) append_hit(out, hit, record);
}

void append_first_filter_hit(text_buffer& out, const file_record& record) {
    // Kept: "type(" leads where all of them are shown, and comes last here.
    constexpr std::size_t count = std::size(filter_hits);
    for (std::size_t index = 1; index <= count && out.empty(); ++index)
        append_hit(out, filter_hits[index % count], record);
}

void append_item(text_buffer& out, std::string_view item) {
    if (!out.empty()) out += "; ";
    out += item;
}

bool has_stream_name(const attr_entry* attribute) { return attribute != nullptr && !attribute->name.empty(); }

std::uint64_t parent_number(const path_entry* path) { return path == nullptr ? root_inode : path->key & inode_mask; }

std::uint16_t parent_sequence(const path_entry* path) {
    return path == nullptr ? std::uint16_t{0} : static_cast<std::uint16_t>(path->key >> sequence_shift);
}
