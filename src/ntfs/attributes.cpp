#include "ntfs/attributes.h"

#include <algorithm>
#include <iterator>

#include "base/numbers.h"
#include "base/text.h"
#include "base/diagnostic_log.h"
#include "ntfs/record_source.h"

namespace {

constexpr std::uint64_t key_of_other_types = inode_mask;  // the low 48 bits all ones

// One attribute on its way into the record's maps.
struct attribute_context {
    file_record& record;
    const record_source& records;
    byte_view record_bytes;
    byte_view from_attribute;  // to the record's end
    attribute_source source;
    std::uint32_t type = 0;
    std::uint16_t id = 0;
    std::uint16_t value_offset = 0;  // read as if resident, whatever the attribute is
    std::uint32_t value_length = 0;

    bool non_resident() const { return from_attribute.u8(attribute_at::non_resident) != 0; }
    bool has_value() const { return value_offset != 0 && value_length != 0; }
    // From the value's first byte to the record's end: what a lying length reaches.
    byte_view value() const { return from_attribute.part(value_offset, from_attribute.size); }
    attr_key key() const { return (static_cast<attr_key>(id) << 48) | type; }
};

void read_attribute_name(std::u16string& name, const attribute_context& attribute) {
    name.clear();
    const byte_view bytes = attribute.from_attribute;
    const std::size_t length = bytes.u8(attribute_at::name_length);
    const std::size_t offset = bytes.u16(attribute_at::name_offset);
    // Kept: the length counts units here and bytes below, so a name may reach past the record and is cut there.
    if (length == 0 || offset == 0 || offset + length > bytes.size) return;
    read_name(name, bytes, offset, length);
}

void fill_entry(attr_entry& entry, const attribute_context& attribute, std::string_view label) {
    make_attr_entry(entry, attribute.from_attribute);
    read_attribute_name(entry.name, attribute);
    entry.label = label;
    entry.type = attribute.type;
}

void mark_data(attr_entry& entry) {
    if (entry.type != type_data) return;
    entry.is_data = true;
    entry.is_named_data = !entry.name.empty();
    if (entry.is_named_data) entry.label = "ads";
}

bool same_stream(const attr_entry& left, const attr_entry& right) {
    return left.type == right.type && left.name == right.name && left.non_resident() && right.non_resident();
}

std::uint64_t first_vcn_of(const attr_entry& entry) { return byte_view(entry.raw).u64(attribute_at::first_vcn); }

// A continuation that a list delivers joins the part it continues, whatever the attribute ids: each record numbers its
// own. The part keeps its raw bytes, for it alone carries the sizes. True if there is one.
bool join_earlier_part(file_record& record, attr_entry& fragment) {
    for (auto& item : record.attributes) {
        if (!same_stream(item.value, fragment) || first_vcn_of(item.value) >= first_vcn_of(fragment)) continue;
        merge_cluster_runs(item.value.runs, fragment.runs);
        return true;
    }
    return false;
}

// The entry to fill under `key`, or null if the key is taken: the first stays.
attr_entry* new_entry(file_record& record, attr_key key) {
    bool made = false;
    attr_entry& entry = record.attributes.insert(key, made);
    return made ? &entry : nullptr;
}

// For entries that are only ever inserted.
attr_entry* insert_entry(const attribute_context& attribute, attr_key key, std::string_view label) {
    attr_entry* entry = new_entry(attribute.record, key);
    if (entry != nullptr) fill_entry(*entry, attribute, label);
    return entry;
}

// Inserts an entry, or joins the attribute to the fragment of the same stream that is there, or parks it.
// Null unless it inserted.
attr_entry* file_entry(const attribute_context& attribute, attr_key key, std::string_view label) {
    file_record& record = attribute.record;
    const bool continues = attribute.source.through_list && attribute.non_resident() &&
                           attribute.from_attribute.u64(attribute_at::first_vcn) != 0;
    attr_entry* const stored = record.attributes.find(key);
    if (!continues && stored == nullptr) return insert_entry(attribute, key, label);
    attr_entry fragment;
    fill_entry(fragment, attribute, label);
    if (!continues) {
        if (stored->name == fragment.name) merge_cluster_runs(stored->runs, fragment.runs);
    } else if (!join_earlier_part(record, fragment)) {
        mark_data(fragment);
        record.parked_fragments.emplace_back(key, std::move(fragment));
    }
    return nullptr;
}

void take_standard_information(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    bool made = false;
    si_entry& entry = attribute.record.std_infos.insert(attribute.id, made);
    if (!made) return;
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

void take_file_name(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    const byte_view value = attribute.value();
    const std::uint8_t name_space = value.u8(file_name_at::name_space);
    const auto id_and_space = static_cast<std::uint16_t>(attribute.id * 16u + name_space);
    const name_key key = (static_cast<name_key>(id_and_space) << 48) | (value.u64(file_name_at::parent) & inode_mask);
    const bool is_path_name = name_space == name_posix || name_space == name_win32 || name_space == name_win32_and_dos;
    bool made = false;
    name_entry& stored = attribute.record.file_names.insert(key, made);
    if (made) {
        fill_name_entry(stored, value, attribute.records.future_limit);
        stored.indexed = (attribute.from_attribute.u8(attribute_at::resident_flags) & 1) != 0;
        if (is_path_name) note_parent(attribute.record, stored);
    } else if (is_path_name) {
        // The map keeps the first under a key; the parents still learn of the second.
        name_entry second;
        fill_name_entry(second, value, attribute.records.future_limit);
        note_parent(attribute.record, second);
    }
}

void take_object_id(const attribute_context& attribute) {
    if (attribute.value_offset == 0 || attribute.value_length < 16) return;
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

void take_security_descriptor(const attribute_context& attribute) {
    const auto file = attribute.non_resident() ? file_entry : insert_entry;
    file(attribute, attribute.key(), "security descr");
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

const char* volume_version_word(unsigned major, unsigned minor) {
    if (major == 1 && minor == 2) return " (WinNT)";
    if (major != 3) return "(Unk version)";
    if (minor == 0) return " (Win2k)";
    if (minor == 1) return " (WinXP)";
    return " (Windows)";
}

void take_volume_information(const attribute_context& attribute) {
    if (!attribute.has_value()) return;
    const byte_view value = attribute.value();
    bool made = false;
    volinfo_entry& info = attribute.record.volume_infos.insert(attribute.key(), made);
    if (made) {
        info.first = value.u64(0);
        info.version = value.u32(8);
        info.text = "ver: ";
        append_decimal(info.text, value.u8(8));
        info.text += ':';
        append_decimal(info.text, value.u8(9));
        info.text += volume_version_word(value.u8(8), value.u8(9));
    }
    attr_entry* entry = insert_entry(attribute, attribute.key(), "vol info");
    if (entry != nullptr) entry->value_text = info.text;
}

// The text of a symbolic link or mount point. The tag is not looked at: the two layouts are told apart by stepping
// over zero units ahead of the substitute name, which is where a symbolic link has four bytes more.
// Kept: a relative link has a 1 there, which is not stepped over and spoils the offsets.
bool read_reparse_target(std::u16string& target, const attribute_context& attribute) {
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

void take_reparse_point(const attribute_context& attribute) {
    if (attribute.value_offset == 0 || attribute.value_length < 17) return;
    std::u16string target;
    if (!read_reparse_target(target, attribute)) return;
    bool made = false;
    std::u16string& stored = attribute.record.reparse_targets.insert(attribute.key(), made);
    if (made) stored = target;
    attr_entry* entry = insert_entry(attribute, attribute.key(), "reparse point");
    if (entry != nullptr) append_utf8(entry->value_text, target);
}

// Types that are filed by their label, raw bytes and runs alone. The first group keeps its type in the key.
struct plain_type {
    std::uint32_t type;
    bool type_in_key;
    std::string_view label;
};

constexpr plain_type plain_types[] = {
    {type_data, true, "unnamed data"},
    {type_index_root, true, "indx root"},
    {type_index_allocation, true, "indx alloc"},
    {type_bitmap, true, "bitmap"},
    {type_logged_utility_stream, true, "logged stream"},
    {type_ea_information, false, "extended attribs info"},
    {type_ea, false, "extended attribs"},
    {type_property_set, false, "property set"},
    {0, false, "unk"},  // any other
};

const plain_type& plain_type_of(std::uint32_t type) {
    constexpr const plain_type* other = std::end(plain_types) - 1;
    return *std::find_if(std::begin(plain_types), other,
                         [type](const plain_type& entry) { return entry.type == type; });
}

void note_index_root(const attribute_context& attribute) {
    if (attribute.non_resident() || !attribute.has_value()) return;
    read_attribute_name(attribute.record.name_scratch, attribute);
    bool made = false;
    index_root_entry& root = attribute.record.index_roots.insert(attribute.record.name_scratch, made);
    if (!made) return;
    root.name = attribute.record.name_scratch;
    attribute.value().copy(0, root.head.data(), root.head.size());
}

void take_plain_attribute(const attribute_context& attribute) {
    const plain_type& kind = plain_type_of(attribute.type);
    const attr_key key = kind.type_in_key ? attribute.key() : attribute.key() | key_of_other_types;
    if (attribute.type == type_index_root) note_index_root(attribute);
    const bool copy_value = attribute.source.want_resident_copy && !attribute.non_resident() && attribute.has_value();
    attr_entry* entry = copy_value ? insert_entry(attribute, key, kind.label) : file_entry(attribute, key, kind.label);
    if (entry == nullptr) return;
    if (copy_value) {
        const byte_view value = attribute.from_attribute.part(attribute.value_offset, attribute.value_length);
        entry->resident_value.assign(value.data, value.data + value.size);
    }
    mark_data(*entry);
}

}  // namespace

void read_name(std::u16string& name, byte_view bytes, std::size_t offset, std::size_t count) {
    const byte_view there = bytes.part(offset, 2 * count);
    name.resize(there.size / 2);
    there.copy(0, name.data(), 2 * name.size());
    const std::size_t end = find_nul(name);
    if (end < name.size()) name.resize(end);
}

void append_guid(std::string& out, byte_view bytes) {
    append_hex(out, bytes.u32(0), 8);
    out += '-';
    append_hex(out, bytes.u16(4), 4);
    out += '-';
    append_hex(out, bytes.u16(6), 4);
    for (std::size_t at = 8; at < 16; ++at) {
        if (at == 8 || at == 10) out += '-';
        append_hex(out, bytes.u8(at), 2);
    }
}

void make_attr_entry(attr_entry& entry, byte_view attribute) {
    entry.clear();
    const std::uint32_t length = attribute.u32(attribute_at::length);
    if (length < 1) return;
    const byte_view raw = attribute.part(0, length);
    entry.raw.assign(raw.data, raw.data + raw.size);
    if (entry.non_resident()) decode_runs(attribute, entry.runs);
}

void settle_fragments(file_record& record) {
    auto& parked = record.parked_fragments;
    if (parked.empty()) return;
    std::stable_sort(parked.begin(), parked.end(), [](const auto& left, const auto& right) {
        return first_vcn_of(left.second) < first_vcn_of(right.second);
    });
    for (auto& [key, fragment] : parked) {
        if (join_earlier_part(record, fragment)) continue;
        bool made = false;
        attr_entry& entry = record.attributes.insert(key, made);
        if (made) {
            entry = std::move(fragment);
        } else if (entry.name == fragment.name) {
            merge_cluster_runs(entry.runs, fragment.runs);
        }
    }
    parked.clear();
}

bool decode_attribute(file_record& record, const record_source& records, byte_view record_bytes, std::size_t at,
                      attribute_source source, bool& is_list) {
    is_list = false;
    if (at >= record_bytes.size) return false;
    const byte_view from_attribute = record_bytes.part(at, record_bytes.size);
    const std::uint32_t length = from_attribute.u32(attribute_at::length);
    if (length == 0 || length > from_attribute.size) return false;

    const attribute_context attribute{record,
                                      records,
                                      record_bytes,
                                      from_attribute,
                                      source,
                                      from_attribute.u32(attribute_at::type),
                                      from_attribute.u16(attribute_at::id),
                                      from_attribute.u16(attribute_at::value_offset),
                                      from_attribute.u32(attribute_at::value_length)};
    switch (attribute.type) {
        case type_standard_information: take_standard_information(attribute); break;
        case type_attribute_list: is_list = true; break;
        case type_file_name: take_file_name(attribute); break;
        case type_object_id: take_object_id(attribute); break;
        case type_security_descriptor: take_security_descriptor(attribute); break;
        case type_volume_name: take_volume_name(attribute); break;
        case type_volume_information: take_volume_information(attribute); break;
        case type_reparse_point: take_reparse_point(attribute); break;
        default: take_plain_attribute(attribute); break;
    }
    return true;
}
