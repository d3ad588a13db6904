// $REPARSE_POINT: where a symbolic link or a mount point leads, in the two ways in which that is read.

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/attribute_context.h"
#include "ntfs/record_source.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"

namespace {

// What NTFS lets a value have.
constexpr std::uint64_t longest_value = 16 * 1024;

// By default the tag is not looked at, and the value is what lies in the record: the two layouts are told apart by
// stepping over zero units ahead of the substitute name, which is where a symbolic link has four bytes more. Kept: a
// relative link has a 1 there, which is not stepped over and spoils the offsets.
bool read_by_zero_units(std::u16string& target, const attribute_context& attribute) {
    if (attribute.value_offset == 0 || attribute.value_length <= reparse_at::path_buffer) return false;
    const byte_view value = attribute.value();
    const std::uint64_t record_size = attribute.record_bytes.size;
    const std::uint16_t data_length = value.u16(reparse_at::data_length);
    const std::uint16_t substitute_length = value.u16(reparse_at::substitute_length);
    if (data_length == 0 || record_size < 1ull + data_length + attribute.value_offset) return false;
    if (substitute_length == 0 || substitute_length >= record_size) return false;
    std::size_t substitute =
        static_cast<std::size_t>(reparse_at::path_buffer) + value.u16(reparse_at::substitute_offset);
    std::size_t print = static_cast<std::size_t>(reparse_at::path_buffer) + value.u16(reparse_at::print_offset);
    while (value.u16(substitute) == 0) {
        // Guard: beyond the record every unit reads as zero; such an attribute is ignored.
        if (substitute >= value.size) return false;
        substitute += 2;
        print += 2;
    }
    const std::uint16_t print_length = value.u16(reparse_at::print_length);
    if (print_length != 0) {
        read_name(target, value, print, print_length / 2);
    } else {
        read_name(target, value, substitute, substitute_length / 2);
    }
    return true;
}

// --- by its tag ------------------------------------------------------------------------------------------------------

bool read_clusters_of_value(std::vector<std::uint8_t>& bytes, const attribute_context& attribute) {
    ntfs_volume* const volume = attribute.records.volume.get();
    if (volume == nullptr || attribute.from_attribute.u64(attribute_at::first_vcn) != 0) return false;
    attr_entry entry;
    fill_entry(entry, attribute, {});
    stream_runs stream(entry.runs);
    const std::uint64_t size = std::min(stream_size(entry, volume->cluster_bytes()), longest_value);
    return pay_for_read(attribute.record, attribute.records.log, static_cast<std::uint32_t>(size),
                        "its attribute lists and reparse points ask for more than 64 MiB") &&
           read_plain_stream(*volume, sink_into(bytes), stream, extent_of(*volume, entry, size));
}

// The value as its attribute holds it, in the record or, into `bytes`, out of clusters. Empty: none that can be read.
byte_view whole_value(std::vector<std::uint8_t>& bytes, const attribute_context& attribute) {
    if (attribute.non_resident()) return read_clusters_of_value(bytes, attribute) ? byte_view(bytes) : byte_view();
    if (!attribute.has_value()) return {};
    const byte_view own = attribute.from_attribute.part(0, attribute.from_attribute.u32(attribute_at::length));
    return own.part(attribute.value_offset, attribute.value_length);
}

// One of the two names: its offset in the path buffer and its length, in bytes, stand at these places of the value.
std::u16string name_at(byte_view value, std::size_t path_buffer, std::size_t offset_at, std::size_t length_at) {
    std::u16string name;
    read_name(name, value, path_buffer + value.u16(offset_at), value.u16(length_at) / 2u);
    return name;
}

// Where a link of either kind leads: as it is shown, or as the system follows it. Empty under any other tag.
std::u16string link_text(byte_view value) {
    constexpr std::u16string_view system_prefix = u"\\??\\";
    const std::uint32_t tag = value.u32(reparse_at::tag);
    if (tag != tag_symbolic_link && tag != tag_mount_point) return {};
    const std::size_t path_buffer = tag == tag_symbolic_link ? reparse_at::link_path_buffer : reparse_at::path_buffer;
    std::u16string text = name_at(value, path_buffer, reparse_at::print_offset, reparse_at::print_length);
    if (!text.empty()) return text;
    text = name_at(value, path_buffer, reparse_at::substitute_offset, reparse_at::substitute_length);
    return text.starts_with(system_prefix) ? text.substr(system_prefix.size()) : text;
}

bool read_by_tag(std::u16string& target, const attribute_context& attribute) {
    std::vector<std::uint8_t> bytes;
    const byte_view value = whole_value(bytes, attribute);
    if (value.size < reparse_at::header_size) return false;
    target = link_text(value);
    const std::uint32_t tag = value.u32(reparse_at::tag);
    reparse_link& link = attribute.record.link;
    if (!target.empty() && !link.found) {
        link.found = true;
        link.relative = tag == tag_symbolic_link && (value.u32(reparse_at::link_flags) & 1) != 0;
        link.text = target;
    }
    if (!target.empty()) return true;
    std::string text = "tag 0x";
    append_hex(text, tag, 8);
    target = utf16_from_utf8(text);
    return true;
}

}  // namespace

void take_reparse_point(const attribute_context& attribute) {
    file_record& record = attribute.record;
    std::u16string target;
    const std::size_t held = record.costs.held_bytes;
    const auto read = attribute.records.thorough ? read_by_tag : read_by_zero_units;
    if (!read(target, attribute)) return;
    bool made = false;
    std::u16string& stored = record.reparse_targets.insert(attribute.key(), made);
    if (made) stored = target;
    // Reading the value has paid for its runs: where they come to stand in an entry, that pays.
    if (record.attributes.find(attribute.key()) == nullptr) record.costs.held_bytes = held;
    attr_entry* entry = insert_entry(attribute, attribute.key(), "reparse point");
    if (entry != nullptr) append_utf8(entry->value_text, target);
}
