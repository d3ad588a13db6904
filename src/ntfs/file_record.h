// One decoded file record: what every report, filter and lookup reads.
// Filled by ntfs/record_read (internal reads) and walk/acceptance (the walk); owned by whoever reads records.
// Cleared in place before each use, never rebuilt, so that its storage is reused; decodes nothing itself.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/flat_map.h"
#include "ntfs/attribute_keys.h"
#include "ntfs/extension_records.h"
#include "ntfs/layout.h"
#include "ntfs/runs.h"
#include "ntfs/stream_parts.h"

struct si_entry {
    std::array<std::uint8_t, 72> raw{};  // copied whatever the value's length: the old form has 48
    std::uint32_t length = 0;            // of the value
    std::uint64_t created = 0, modified = 0, mft_changed = 0, accessed = 0;  // FILETIMEs
    bool anomaly = false;
    const char* anomaly_text = "";
};

struct name_entry {
    std::array<std::uint8_t, 68> raw{};                                      // first bytes of the value
    std::uint64_t parent = 0;                                                // whole reference
    std::uint64_t created = 0, modified = 0, mft_changed = 0, accessed = 0;  // FILETIMEs
    std::u16string name;                                                     // up to its first NUL
    std::uint8_t name_space = 0;
    bool is_dos = false;
    bool indexed = false;  // a flag of the attribute
    bool anomaly = false;
    const char* anomaly_text = "";
};

struct objid_entry {
    std::array<std::uint8_t, 64> bytes{};  // object, birth volume, birth object, domain
    std::uint32_t length = 0;              // of the value
    std::u16string name;                   // of the attribute
};

struct volinfo_entry {
    std::uint64_t first = 0;    // value bytes 0 to 7
    std::uint32_t version = 0;  // value bytes 8 to 11: major, minor, flags
    std::string text;
};

struct index_root_entry {
    std::u16string name;
    std::array<std::uint8_t, 16> head{};  // first bytes of the value
};

// One attribute as reports see it.
struct attr_entry {
    std::u16string name;     // from the attribute's header
    std::string_view label;  // word of the attribute's type
    std::uint32_t type = 0;
    std::vector<std::uint8_t> raw;  // whole attribute, header included
    std::string value_text;         // decoded value, where there is one
    std::vector<std::uint8_t> head_bytes;
    bool is_named_data = false;
    bool is_data = false;
    std::vector<cluster_run> runs;
    bool runs_joined = false;                  // of several parts: in order once settle_fragments has run
    std::vector<std::uint8_t> resident_value;  // only when asked for

    void clear();
    bool non_resident() const { return byte_view(raw).u8(attribute_at::non_resident) != 0; }
    std::uint32_t value_length() const { return byte_view(raw).u32(attribute_at::value_length); }
    // Resident: the value's length. Non-resident: the larger of real and initialised size.
    std::uint64_t data_size() const;
};

struct parent_entry {
    std::string path;     // UTF-8, of the parent, ends in a back slash; empty until built
    std::u16string name;  // of the record in that parent
};

// What one record has cost so far: attribute lists and runs can ask for anything.
struct record_costs {
    std::uint32_t list_bytes = 0;  // of attribute lists, followed
    std::uint64_t read_bytes = 0;  // of other records, read for them
    std::size_t held_bytes = 0;    // of what the maps hold
    std::size_t path_bytes = 0;    // of the texts of its parents' paths
    bool told = false;             // -diags knows that a limit was met
};

// The first link that a thorough decode met: what a lookup follows.
struct reparse_link {
    bool found = false;
    bool relative = false;  // to the directory that holds it, unless the text begins with a back slash
    std::u16string text;
};

// What an attribute list names: by default any attribute of the record that has the id.
struct list_target {
    std::uint64_t inode = 0;
    std::uint32_t type = 0;  // 0 by default, where it is not asked
    std::uint16_t id = 0;

    auto operator<=>(const list_target&) const = default;
};

// The stages of the walk's filters that a record can pass.
enum match_kind : std::size_t {
    match_signature,
    match_wildcard,
    match_directory,
    match_inode,
    match_extension,
    match_name,
    match_deleted,
    match_time,        // never read
    match_size,        // never read
    match_size_extra,  // never read, set with the other
    match_kinds,
};

struct filter_match {
    bool hit = false;
    std::string text;  // what matched, UTF-8
};

struct file_record {
    std::u16string_view source_text;  // the context's
    bool has_attribute_list = false;
    bool attribute_list_nonresident = false;
    bool time_warning = false;
    std::string time_warning_text;
    std::uint64_t inode = 0;
    std::uint16_t sequence = 0;
    std::array<std::uint8_t, record_at::header_size> header{};
    std::vector<std::uint8_t> raw;  // only read_and_decode_record keeps it
    bool is_extension = false;
    std::uint64_t base_reference = 0;  // whole reference
    flat_map<std::uint16_t, si_entry> std_infos;
    flat_map<name_key, name_entry> file_names;
    flat_map<std::uint16_t, objid_entry> object_ids;
    flat_map<attr_key, std::u16string> volume_names;
    flat_map<attr_key, volinfo_entry> volume_infos;
    flat_map<attr_key, std::u16string> reparse_targets;
    reparse_link link;
    flat_map<std::u16string, index_root_entry> index_roots;
    flat_map<attr_key, attr_entry> attributes;
    flat_map<std::uint64_t, parent_entry> parents;        // by whole parent reference; no DOS names
    flat_map<std::u16string, std::uint64_t> lower_names;  // lower-cased name to parent reference; no DOS names

    std::array<filter_match, match_kinds> matches;
    std::uint64_t record_offset = 0;  // inside $MFT, set by the walker

    // Continuations of streams that an attribute list delivered ahead of their first part: a record's list is read
    // before the attributes behind it. settle_fragments puts them in their place once all is decoded.
    std::vector<std::pair<attr_key, attr_entry>> parked_fragments;
    stream_parts parts;
    bool any_joined = false;  // some entry's runs are those of several parts

    record_costs costs;
    flat_map<list_target, bool> followed;  // what its lists delivered
    std::uint32_t last_number = 0;         // in a thorough run: of what they delivered last

    // Reused by decoding: a lower-cased name; the extension record that an attribute list led to last, and its
    // attributes by their ids.
    std::u16string name_scratch;
    std::vector<std::uint8_t> extension_bytes;
    std::vector<id_place> extension_ids;
    // Of names_in: all names by parent, in map order within each.
    mutable std::vector<const name_entry*> names_by_parent;

    file_record() = default;
    file_record(file_record&&) = default;  // no copies: what is reused points into the maps
    file_record& operator=(file_record&&) = default;

    void clear();
    byte_view header_view() const { return {header.data(), header.size()}; }
    std::uint16_t flags() const { return header_view().u16(record_at::flags); }
    std::uint16_t link_count() const { return header_view().u16(record_at::link_count); }
    bool in_use() const { return (flags() & record_in_use) != 0; }
    bool is_directory() const { return (flags() & record_is_directory) != 0; }
};

// All names of a record by their parents' whole references, in map order within each. Lasts until the record changes.
std::span<const name_entry* const> all_names(const file_record& record);
// Those in the directory of this reference. A record may have thousands of names and as many
// parents: whoever goes through both asks here.
std::span<const name_entry* const> names_in(const file_record& record, std::uint64_t parent);
