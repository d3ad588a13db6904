// Values of the attributes that have a map of their own in a record, and the texts made of them.

#include <algorithm>

#include "base/diagnostic_log.h"
#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/attribute_context.h"
#include "ntfs/record_source.h"

namespace {

void judge_name_times(name_entry& entry, std::uint64_t limit) {
    const std::uint64_t latest = std::max({entry.created, entry.modified, entry.mft_changed, entry.accessed});
    const std::uint64_t earliest = std::min({entry.created, entry.modified, entry.mft_changed, entry.accessed});
    entry.anomaly = latest > limit || earliest == 0;
    entry.anomaly_text = earliest == 0 ? "null" : latest > limit ? "future" : "";
}

void fill_name_entry(name_entry& entry, byte_view value, std::uint64_t future_limit) {
    value.copy(0, entry.raw.data(), entry.raw.size());
    const byte_view raw(entry.raw.data(), entry.raw.size());
    entry.parent = raw.u64(file_name_at::parent);
    entry.created = raw.u64(file_name_at::created);
    entry.modified = raw.u64(file_name_at::modified);
    entry.mft_changed = raw.u64(file_name_at::mft_changed);
    entry.accessed = raw.u64(file_name_at::accessed);
    entry.name_space = raw.u8(file_name_at::name_space);
    entry.is_dos = entry.name_space == name_dos;
    read_name(entry.name, value, file_name_at::name, raw.u8(file_name_at::name_length));
    judge_name_times(entry, future_limit);
}

void note_parent(file_record& record, const name_entry& entry) {
    bool made = false;
    parent_entry& parent = record.parents.insert(entry.parent, made);
    if (made) {
        parent.path.clear();
        parent.name = entry.name;
    }
    record.name_scratch = entry.name;
    lower_in_place(record.name_scratch);
    std::uint64_t& reference = record.lower_names.insert(record.name_scratch, made);
    if (made) reference = entry.parent;
}

// The map keeps the first name under a key; the parents still learn of the second. Apart, for it is rare and its entry
// is large.
[[gnu::cold, gnu::noinline]] void note_second_name(const attribute_context& attribute) {
    name_entry second;
    fill_name_entry(second, attribute.value(), attribute.records.future_limit);
    note_parent(attribute.record, second);
}

const char* volume_version_word(unsigned major, unsigned minor) {
    if (major == 1 && minor == 2) return " (WinNT)";
    if (major != 3) return "(Unk version)";
    if (minor == 0) return " (Win2k)";
    if (minor == 1) return " (WinXP)";
    return " (Windows)";
}

}  // namespace

void take_standard_information(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    bool made = false;
    si_entry& entry = attribute.record.std_infos.insert(attribute.id, made);
    if (!made) return note_passed_over(attribute);
    attribute.value().copy(0, entry.raw.data(), entry.raw.size());
    entry.length = attribute.value_length;
    const byte_view raw(entry.raw.data(), entry.raw.size());
    entry.created = raw.u64(standard_information_at::created);
    entry.modified = raw.u64(standard_information_at::modified);
    entry.mft_changed = raw.u64(standard_information_at::mft_changed);
    entry.accessed = raw.u64(standard_information_at::accessed);
    entry.anomaly = entry.created == 0 || entry.modified == 0 || entry.mft_changed == 0 || entry.accessed == 0;
    entry.anomaly_text = entry.anomaly ? "null" : "";
}

void take_file_name(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    const byte_view value = attribute.value();
    const std::uint8_t name_space = value.u8(file_name_at::name_space);
    const name_key key =
        make_name_key(attribute.number(), name_space, value.u64(file_name_at::parent), attribute.records.thorough);
    const bool is_path_name = name_space == name_posix || name_space == name_win32 || name_space == name_win32_and_dos;
    bool made = false;
    name_entry& stored = attribute.record.file_names.insert(key, made);
    if (made) {
        fill_name_entry(stored, value, attribute.records.future_limit);
        stored.indexed = (attribute.from_attribute.u8(attribute_at::resident_flags) & 1) != 0;
        if (is_path_name) note_parent(attribute.record, stored);
        return;
    }
    note_passed_over(attribute);
    if (is_path_name) note_second_name(attribute);
}

void take_object_id(const attribute_context& attribute) {
    if (attribute.value_offset == 0 || attribute.value_length < guid_at::size) return;
    bool made = false;
    objid_entry& object_id = attribute.record.object_ids.insert(attribute.id, made);
    if (made) {
        attribute.value().copy(0, object_id.bytes.data(), object_id.bytes.size());
        object_id.length = attribute.value_length;
        read_attribute_name(object_id.name, attribute);
    }
    attr_entry* entry = insert_entry(attribute, attribute.key(), "obj id");
    if (entry != nullptr) append_guid(entry->value_text, attribute.value());
}

// Kept: the value is never read. What is kept is the attribute's own name, which is normally empty.
void take_volume_name(const attribute_context& attribute) {
    bool made = false;
    std::u16string& name = attribute.record.volume_names.insert(attribute.key(), made);
    if (made) read_attribute_name(name, attribute);
    attr_entry* entry = insert_entry(attribute, attribute.key(), "vol name");
    if (entry == nullptr) return;
    append_utf8(entry->value_text, entry->name);
    entry->name.clear();
}

void take_volume_information(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    const byte_view value = attribute.value();
    bool made = false;
    volinfo_entry& info = attribute.record.volume_infos.insert(attribute.key(), made);
    if (made) {
        const std::uint8_t major = value.u8(volume_information_at::major);
        const std::uint8_t minor = value.u8(volume_information_at::minor);
        info.first = value.u64(volume_information_at::first);
        info.version = value.u32(volume_information_at::version);
        info.text = "ver: ";
        append_decimal(info.text, major);
        info.text += ':';
        append_decimal(info.text, minor);
        info.text += volume_version_word(major, minor);
    }
    attr_entry* entry = insert_entry(attribute, attribute.key(), "vol info");
    if (entry != nullptr) entry->value_text = info.text;
}

void append_guid(std::string& out, byte_view bytes) {
    append_hex(out, bytes.u32(guid_at::first), 8);
    out += '-';
    append_hex(out, bytes.u16(guid_at::second), 4);
    out += '-';
    append_hex(out, bytes.u16(guid_at::third), 4);
    for (std::size_t at = guid_at::bytes; at < guid_at::size; ++at) {
        if (at == guid_at::bytes || at == guid_at::last) out += '-';
        append_hex(out, bytes.u8(at), 2);
    }
}
