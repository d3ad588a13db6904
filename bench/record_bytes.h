// One file record as bytes: header, attributes of both forms, mapping pairs, update sequence, values of a fixed form.
// Used by bench/make_mft.cpp alone.
// Knows nothing of trees or names, and nothing of the program, whose decoder it must not share.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace bench {

inline constexpr std::size_t record_size = 1024;
inline constexpr std::size_t sector_size = 512;
inline constexpr std::size_t fixup_at = 48;
inline constexpr std::size_t first_attribute_at = 56;
inline constexpr std::uint64_t cluster_size = 4096;

using byte_vector = std::vector<std::uint8_t>;

struct record_builder {
    std::array<std::uint8_t, record_size> bytes{};
    std::size_t used = first_attribute_at;
    std::uint16_t next_id = 0;
};

struct cluster_run {
    std::uint64_t lcn = 0;
    std::uint64_t clusters = 0;
    bool hole = false;
};

// A non-resident stream, or the part of one from `first_vcn` on: only the first part carries the sizes.
struct stream_part {
    std::vector<cluster_run> runs;
    std::uint64_t first_vcn = 0;
    std::uint64_t size = 0;
};

enum attribute_type : std::uint32_t {
    standard_information = 0x10,
    attribute_list = 0x20,
    file_name = 0x30,
    object_id = 0x40,
    volume_name = 0x60,
    volume_information = 0x70,
    data_stream = 0x80,
    index_root = 0x90,
    index_allocation = 0xA0,
    index_bitmap = 0xB0,
    reparse_point = 0xC0,
    logged_stream = 0x100,
};

enum record_flags : std::uint16_t { deleted_file = 0, live_file = 1, directory_bit = 2, live_directory = 3 };
enum name_space : std::uint8_t { posix_name = 0, win32_name = 1, dos_name = 2, win32_and_dos = 3 };

template <class number>
void put(std::uint8_t* to, number value) {
    for (std::size_t each = 0; each < sizeof value; ++each) to[each] = static_cast<std::uint8_t>(value >> (8 * each));
}

template <class number>
void append(byte_vector& to, number value) {
    to.resize(to.size() + sizeof value);
    put(to.data() + to.size() - sizeof value, value);
}

inline void append_text(byte_vector& to, std::u16string_view text) {
    for (const char16_t unit : text) append<std::uint16_t>(to, unit);
}

inline std::size_t aligned(std::size_t size) { return (size + 7) / 8 * 8; }

inline std::uint64_t reference(std::uint64_t number, std::uint16_t sequence) {
    return number | static_cast<std::uint64_t>(sequence) << 48;
}

inline record_builder start_record(std::uint64_t number, std::uint16_t sequence, std::uint16_t flags,
                                   std::uint64_t base = 0) {
    record_builder record;
    std::uint8_t* at = record.bytes.data();
    std::memcpy(at, "FILE", 4);
    put<std::uint16_t>(at + 4, fixup_at);
    put<std::uint16_t>(at + 6, record_size / sector_size + 1);
    put<std::uint64_t>(at + 8, 0x40'0000 + number * 137);  // log sequence number
    put(at + 16, sequence);
    put<std::uint16_t>(at + 20, first_attribute_at);
    put(at + 22, flags);
    put<std::uint32_t>(at + 28, record_size);
    put(at + 32, base);
    put(at + 44, static_cast<std::uint32_t>(number));
    return record;
}

inline bool has_room(const record_builder& record, std::size_t bytes) { return record.used + bytes + 8 <= record_size; }

[[noreturn]] inline void give_up(const char* what) {
    std::fprintf(stderr, "make_mft: %s\n", what);
    std::exit(1);
}

// The header that both forms of an attribute share. Returns where the attribute begins.
std::uint8_t* add_header(record_builder& record, attribute_type type, std::size_t length, std::u16string_view name,
                         std::size_t name_at, std::uint16_t id) {
    if (!has_room(record, length)) give_up("an attribute does not fit into its record");
    std::uint8_t* at = record.bytes.data() + record.used;
    put<std::uint32_t>(at, type);
    put(at + 4, static_cast<std::uint32_t>(length));
    put(at + 9, static_cast<std::uint8_t>(name.size()));
    put(at + 10, static_cast<std::uint16_t>(name_at));
    put(at + 14, id);
    for (std::size_t each = 0; each < name.size(); ++each) put<std::uint16_t>(at + name_at + 2 * each, name[each]);
    record.used += length;
    if (id >= record.next_id) record.next_id = static_cast<std::uint16_t>(id + 1);
    return at;
}

inline std::size_t resident_length(std::size_t name_units, std::size_t value) {
    return aligned(24 + aligned(2 * name_units) + value);
}

inline void add_resident(record_builder& record, attribute_type type, std::uint16_t id, std::u16string_view name,
                         const byte_vector& value) {
    const std::size_t value_at = 24 + aligned(2 * name.size());
    std::uint8_t* at = add_header(record, type, resident_length(name.size(), value.size()), name, 24, id);
    put(at + 16, static_cast<std::uint32_t>(value.size()));
    put(at + 20, static_cast<std::uint16_t>(value_at));
    if (type == file_name) put<std::uint8_t>(at + 22, 1);  // indexed in its directory
    if (!value.empty()) std::memcpy(at + value_at, value.data(), value.size());
}

inline void append_field(byte_vector& pairs, std::uint64_t value, std::size_t width) {
    for (std::size_t each = 0; each < width; ++each) pairs.push_back(static_cast<std::uint8_t>(value >> (8 * each)));
}

// Bytes that a mapping pair's field needs: fields are signed.
inline std::size_t field_width(std::int64_t value) {
    std::size_t width = 1;
    while (value < -(std::int64_t{1} << (8 * width - 1)) || value >= std::int64_t{1} << (8 * width - 1)) ++width;
    return width;
}

inline byte_vector mapping_pairs(const std::vector<cluster_run>& runs) {
    byte_vector pairs;
    std::uint64_t previous = 0;
    for (const cluster_run& run : runs) {
        const auto delta = static_cast<std::int64_t>(run.lcn - previous);
        const std::size_t length_width = field_width(static_cast<std::int64_t>(run.clusters));
        const std::size_t delta_width = run.hole ? 0 : field_width(delta);
        pairs.push_back(static_cast<std::uint8_t>(delta_width << 4 | length_width));
        append_field(pairs, run.clusters, length_width);
        append_field(pairs, static_cast<std::uint64_t>(delta), delta_width);
        if (!run.hole) previous = run.lcn;
    }
    pairs.push_back(0);
    return pairs;
}

inline void add_non_resident(record_builder& record, attribute_type type, std::uint16_t id, std::u16string_view name,
                             const stream_part& part) {
    std::uint64_t clusters = 0, stored = 0;
    for (const cluster_run& run : part.runs) {
        clusters += run.clusters;
        if (!run.hole) stored += run.clusters;
    }
    const bool sparse = stored != clusters;
    const std::size_t name_at = sparse ? 72 : 64;
    const std::size_t pairs_at = name_at + aligned(2 * name.size());
    const byte_vector pairs = mapping_pairs(part.runs);
    std::uint8_t* at = add_header(record, type, aligned(pairs_at + pairs.size()), name, name_at, id);
    at[8] = 1;
    put(at + 16, part.first_vcn);
    put(at + 24, part.first_vcn + clusters - 1);
    put(at + 32, static_cast<std::uint16_t>(pairs_at));
    std::memcpy(at + pairs_at, pairs.data(), pairs.size());
    if (sparse) {
        put<std::uint16_t>(at + 12, 0x8000);
        put<std::uint16_t>(at + 34, 4);  // units of 16 clusters
        put(at + 64, stored * cluster_size);
    }
    if (part.first_vcn != 0) return;
    put(at + 40, (part.size + cluster_size - 1) / cluster_size * cluster_size);
    put(at + 48, part.size);
    put(at + 56, part.size);
}

// Ends the attributes and protects both sectors by the update sequence.
inline void finish_record(record_builder& record, std::uint64_t number, std::uint16_t links) {
    std::uint8_t* at = record.bytes.data();
    put<std::uint32_t>(at + record.used, 0xFFFF'FFFF);
    put(at + 18, links);
    put(at + 24, static_cast<std::uint32_t>(record.used + 8));
    put(at + 40, record.next_id);
    const auto check = static_cast<std::uint16_t>(1 + number % 0xFFFE);
    put(at + fixup_at, check);
    for (std::size_t sector = 1; sector <= record_size / sector_size; ++sector) {
        std::memcpy(at + fixup_at + 2 * sector, at + sector * sector_size - 2, 2);
        put(at + sector * sector_size - 2, check);
    }
}

// The root of an index: without entries, or grown into blocks of its own.
inline byte_vector index_root_value(std::uint32_t type, std::uint32_t collation, bool grown) {
    const std::uint32_t entry = grown ? 24 : 16;
    byte_vector value;
    for (const std::uint32_t field : {type, collation, 4096u, 1u, 16u, 16 + entry, 16 + entry, grown ? 1u : 0u})
        append(value, field);
    append<std::uint64_t>(value, 0);
    append<std::uint64_t>(value, entry | std::uint64_t{grown ? 3u : 2u} << 32);  // the last; grown: leads to a block
    if (grown) append<std::uint64_t>(value, 0);
    return value;
}

inline byte_vector mount_point() {
    const std::u16string_view inner = u"\\??\\C:\\Users\\Public\\Documents", shown = u"C:\\Users\\Public\\Documents";
    byte_vector value;
    append<std::uint32_t>(value, 0xA000'0003);
    append(value, static_cast<std::uint32_t>(8 + 2 * (inner.size() + shown.size() + 2)));
    append<std::uint16_t>(value, 0);
    append(value, static_cast<std::uint16_t>(2 * inner.size()));
    append(value, static_cast<std::uint16_t>(2 * inner.size() + 2));
    append(value, static_cast<std::uint16_t>(2 * shown.size()));
    append_text(value, inner);
    append<std::uint16_t>(value, 0);
    append_text(value, shown);
    append<std::uint16_t>(value, 0);
    return value;
}

inline void append_list_entry(byte_vector& list, attribute_type type, std::uint64_t vcn, std::uint64_t holder,
                              std::uint16_t id, std::u16string_view name = {}) {
    const std::size_t length = aligned(26 + 2 * name.size());
    const std::size_t end = list.size() + length;
    append<std::uint32_t>(list, type);
    append(list, static_cast<std::uint16_t>(length));
    append(list, static_cast<std::uint8_t>(name.size()));
    append<std::uint8_t>(list, 26);
    append(list, vcn);
    append(list, holder);
    append(list, id);
    append_text(list, name);
    list.resize(end);
}

// Moves what lies behind the first run `kept` into a part of its own.
inline stream_part split_off(stream_part& part, std::size_t kept) {
    stream_part rest;
    rest.runs.assign(part.runs.begin() + static_cast<std::ptrdiff_t>(kept), part.runs.end());
    part.runs.resize(kept);
    for (const cluster_run& run : part.runs) rest.first_vcn += run.clusters;
    return rest;
}

}  // namespace bench
