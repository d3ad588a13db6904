// One attribute on its way into a record's maps, and the steps that all types share.
// Called by the decoders of attributes alone: attributes.cpp files entries, attribute_values.cpp and reparse_points.cpp
// read values. Knows no type.
#pragma once

#include <string>
#include <string_view>

#include "ntfs/attributes.h"

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
    // The id, or what its place in a list stands for.
    std::uint32_t number() const { return source.number != 0 ? source.number : id; }
    attr_key key() const { return make_attr_key(number(), type); }
};

void read_attribute_name(std::u16string& name, const attribute_context& attribute);
// Raw bytes, runs, name, label and type, paid for by the record.
void fill_entry(attr_entry& entry, const attribute_context& attribute, std::string_view label);
// The new entry under `key`, filled, or null if the key is taken: the first stays.
attr_entry* insert_entry(const attribute_context& attribute, attr_key key, std::string_view label);
// For -diags: the attribute found its place in a map taken. With its name, be it a stream's or a file's.
void note_passed_over(const attribute_context& attribute);
void note_passed_over(const file_record& record, std::uint32_t type, std::uint32_t number, std::u16string_view name,
                      const diagnostic_log* log);

void take_standard_information(const attribute_context& attribute);
void take_file_name(const attribute_context& attribute);
void take_object_id(const attribute_context& attribute);
void take_volume_name(const attribute_context& attribute);
void take_volume_information(const attribute_context& attribute);
void take_reparse_point(const attribute_context& attribute);
