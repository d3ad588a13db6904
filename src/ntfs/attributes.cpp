#include "ntfs/attributes.h"

#include <algorithm>
#include <iterator>

#include "base/diagnostic_log.h"
#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/attribute_context.h"
#include "ntfs/record_source.h"

namespace {

// What an attribute takes in the maps beside its own bytes, generously.
constexpr std::size_t entry_cost = 512;
// A name stands in three maps; each of its bytes counts four times.
constexpr std::size_t name_bytes_cost = 4;

std::size_t cost_of(std::uint32_t type, std::size_t length) {
    return entry_cost + (type == type_file_name ? name_bytes_cost : 1) * length;
}

void mark_data(attr_entry& entry) {
    if (entry.type != type_data) return;
    entry.is_data = true;
    entry.is_named_data = !entry.name.empty();
    if (entry.is_named_data) entry.label = "ads";
}

std::uint64_t first_vcn_of(const attr_entry& entry) { return byte_view(entry.raw).u64(attribute_at::first_vcn); }

stream_identity identity_of(const attr_entry& entry) { return {entry.type, entry.name}; }

void note_part(file_record& record, attr_key key, const attr_entry& entry) {
    if (entry.non_resident()) record.parts.add(identity_of(entry), first_vcn_of(entry), key);
}

void join(file_record& record, attr_entry& part, const attr_entry& fragment) {
    part.runs.insert(part.runs.end(), fragment.runs.begin(), fragment.runs.end());
    part.runs_joined = record.any_joined = true;
}

// A continuation that a list delivers joins the part it continues, whatever the attribute ids: each record numbers its
// own. The part keeps its raw bytes, for it alone carries the sizes. True if there is one.
bool join_earlier_part(file_record& record, const attr_entry& fragment) {
    if (!record.parts.in_use) {
        record.parts.in_use = true;
        for (const auto& item : record.attributes) note_part(record, item.key, item.value);
    }
    attr_key key = 0;
    if (!record.parts.find_earlier(identity_of(fragment), first_vcn_of(fragment), key)) return false;
    join(record, *record.attributes.find(key), fragment);
    return true;
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
        if (stored->name == fragment.name) {
            join(record, *stored, fragment);
        } else {
            note_passed_over(attribute);
        }
    } else if (!join_earlier_part(record, fragment)) {
        mark_data(fragment);
        record.parked_fragments.emplace_back(key, std::move(fragment));
    }
    return nullptr;
}

void take_security_descriptor(const attribute_context& attribute) {
    const auto file = attribute.non_resident() ? file_entry : insert_entry;
    file(attribute, attribute.key(), "security descr");
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
    const attr_key key = kind.type_in_key ? attribute.key() : attribute.key() | attr_key_of_other_types;
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
    record_costs& costs = attribute.record.costs;
    const std::size_t room = (record_cost_limit - costs.held_bytes) / sizeof(cluster_run);
    make_attr_entry(entry, attribute.from_attribute, room);
    costs.held_bytes += entry.runs.size() * sizeof(cluster_run);
    if (entry.runs.size() == room)
        tell_record_limit(attribute.record, attribute.records.log, "its runs take more than 64 MiB");
    read_attribute_name(entry.name, attribute);
    entry.label = label;
    entry.type = attribute.type;
}

attr_entry* insert_entry(const attribute_context& attribute, attr_key key, std::string_view label) {
    bool made = false;
    attr_entry& entry = attribute.record.attributes.insert(key, made);
    if (!made) {
        note_passed_over(attribute);
        return nullptr;
    }
    fill_entry(entry, attribute, label);
    if (attribute.record.parts.in_use) note_part(attribute.record, key, entry);
    return &entry;
}

void note_passed_over(const file_record& record, std::uint32_t type, std::uint32_t number, std::u16string_view name,
                      const diagnostic_log* log) {
    if (!is_read(log)) return;
    std::string text = "info: record ";
    append_hex(text, record.inode);
    append_hex(text += ": attribute type ", type);
    append_hex(text += " id ", number);
    log_diag_text(log, text + " passed over, its place is taken: \"" + utf8_from_utf16(name) + "\"");
}

void note_passed_over(const attribute_context& attribute) {
    if (!is_read(attribute.records.log)) return;
    std::u16string name;
    if (attribute.type == type_file_name) {
        const byte_view value = attribute.value();
        read_name(name, value, file_name_at::name, value.u8(file_name_at::name_length));
    } else {
        read_attribute_name(name, attribute);
    }
    note_passed_over(attribute.record, attribute.type, attribute.id, name, attribute.records.log);
}

bool pay_for_read(file_record& record, const diagnostic_log* log, std::uint32_t bytes, const char* what) {
    if (record.costs.read_bytes + bytes > record_cost_limit) {
        tell_record_limit(record, log, what);
        return false;
    }
    record.costs.read_bytes += bytes;
    return true;
}

void tell_record_limit(file_record& record, const diagnostic_log* log, const char* what) {
    if (record.costs.told) return;
    record.costs.told = true;
    log_diag(log, "err: record %llx is cut: %s", static_cast<unsigned long long>(record.inode), what);
}

void read_name(std::u16string& name, byte_view bytes, std::size_t offset, std::size_t count) {
    const byte_view there = bytes.part(offset, 2 * count);
    name.resize(there.size / 2);
    there.copy(0, name.data(), 2 * name.size());
    const std::size_t end = find_nul(name);
    if (end < name.size()) name.resize(end);
}

void make_attr_entry(attr_entry& entry, byte_view attribute, std::size_t most) {
    entry.clear();
    const std::uint32_t length = attribute.u32(attribute_at::length);
    if (length < 1) return;
    const byte_view raw = attribute.part(0, length);
    entry.raw.assign(raw.data, raw.data + raw.size);
    if (entry.non_resident()) decode_runs(attribute, entry.runs, most);
}

void settle_fragments(file_record& record, const diagnostic_log* log) {
    auto& parked = record.parked_fragments;
    if (parked.empty() && !record.any_joined) return;
    std::stable_sort(parked.begin(), parked.end(), [](const auto& left, const auto& right) {
        return first_vcn_of(left.second) < first_vcn_of(right.second);
    });
    for (auto& [key, fragment] : parked) {
        if (join_earlier_part(record, fragment)) continue;
        bool made = false;
        attr_entry& entry = record.attributes.insert(key, made);
        if (made) {
            entry = std::move(fragment);
            note_part(record, key, entry);
        } else if (entry.name == fragment.name) {
            join(record, entry, fragment);
        } else {
            note_passed_over(record, fragment.type, attr_number_of(key), fragment.name, log);
        }
    }
    parked.clear();
    for (auto& item : record.attributes) {
        if (item.value.runs_joined) join_runs(item.value.runs);
    }
}

bool decode_attribute(file_record& record, const record_source& records, byte_view record_bytes, std::size_t at,
                      attribute_source source, bool& is_list) {
    is_list = false;
    if (at >= record_bytes.size) return false;
    const byte_view from_attribute = record_bytes.part(at, record_bytes.size);
    const std::uint32_t length = from_attribute.u32(attribute_at::length);
    if (length == 0 || length > from_attribute.size) return false;

    const std::uint32_t type = from_attribute.u32(attribute_at::type);
    is_list = type == type_attribute_list;
    if (is_list) return true;
    if (record_cost_limit - record.costs.held_bytes < cost_of(type, length)) {
        tell_record_limit(record, records.log, "its attributes take more than 64 MiB");
        return true;
    }
    record.costs.held_bytes += cost_of(type, length);

    const attribute_context attribute{record,
                                      records,
                                      record_bytes,
                                      from_attribute,
                                      source,
                                      type,
                                      from_attribute.u16(attribute_at::id),
                                      from_attribute.u16(attribute_at::value_offset),
                                      from_attribute.u32(attribute_at::value_length)};
    switch (attribute.type) {
        case type_standard_information: take_standard_information(attribute); break;
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
