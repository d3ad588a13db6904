// The volume whose $MFT is made: its tree as far as it has come, its clusters, and the attributes that files and
// directories have in common.
// Used by bench/make_mft.cpp and bench/system_files.h.
// Does not decide which record comes next, nor what a file holds.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "file_features.h"
#include "record_bytes.h"

namespace bench {

enum class tree_shape { usual, wide, deep };

struct directory {
    std::uint64_t number = 0;
    std::uint64_t salt = 0;
    std::uint64_t entries = 0;
    std::size_t parent = 0;
    std::size_t depth = 0;
    std::uint16_t sequence = 5;
    bool deleted = false;
    bool empty = false;
    bool known = false;  // to a reader that has come as far as the record being made
};

struct counts {
    std::uint64_t directories = 0, files = 0, deleted = 0, never_used = 0, hard_links = 0, short_names = 0, streams = 0;
    std::uint64_t attribute_lists = 0, extension_records = 0, climbed_ahead = 0, deepest = 0;
};

inline constexpr std::size_t root = 0;    // places among the directories: record 5,
inline constexpr std::size_t extend = 1;  // and record 11
inline constexpr std::size_t deepest_usual = 12;
inline constexpr std::size_t deepest_chain = 2000;
inline constexpr std::uint64_t widest = 100'000;

struct volume {
    std::uint64_t records = 0;
    tree_shape shape = tree_shape::usual;
    random_source dice;
    std::uint64_t next_cluster = 2;  // $Boot has the first two
    std::vector<directory> directories;
    std::array<std::vector<std::size_t>, deepest_usual> by_depth;  // those that may get directories
    std::vector<std::size_t> homes;                                // those that may get files
    std::map<std::uint64_t, std::size_t> ahead;                    // directories whose record is still to come
    std::vector<record_builder> extensions;                        // of the record just made, in order
    std::size_t home = root;
    std::uint64_t home_left = 0;
    std::uint64_t never_used_left = 0;
    counts made;

    std::uint64_t clusters() const { return 100'000 + records * 160; }
    // Behind it the records were never used, as behind the last file of a real $MFT.
    std::uint64_t first_unused() const { return records - records / 200; }
};

inline std::uint64_t creation_time(volume& volume, std::uint64_t number) {
    const double passed = static_cast<double>(number) / static_cast<double>(volume.records);
    const double days = passed * static_cast<double>(days_of_use);
    return first_day + static_cast<std::uint64_t>(days * static_cast<double>(ticks_per_day)) +
           volume.dice.below(30 * ticks_per_second);
}

inline cluster_run allocate(volume& volume, std::uint64_t clusters) {
    const cluster_run run{volume.next_cluster, clusters, false};
    volume.next_cluster += clusters + (volume.dice.permille(300) ? volume.dice.below(64) : 0);
    if (volume.next_cluster > volume.clusters()) give_up("the volume is full");
    return run;
}

// A stream of `clusters` in `pieces`, not all in rising order.
inline stream_part allocate_stream(volume& volume, std::uint64_t clusters, std::size_t pieces) {
    stream_part part;
    part.size = clusters * cluster_size - volume.dice.below(cluster_size);
    for (std::size_t left = pieces; left > 1 && clusters > left; --left) {
        const std::uint64_t taken = 1 + volume.dice.below(clusters / left);
        part.runs.push_back(allocate(volume, taken));
        volume.next_cluster += 1 + volume.dice.below(40);
        clusters -= taken;
    }
    part.runs.push_back(allocate(volume, clusters));
    if (part.runs.size() > 2) {
        std::swap(part.runs[0].lcn, part.runs[1].lcn);
        std::swap(part.runs[0].clusters, part.runs[1].clusters);
    }
    return part;
}

inline void append_times(byte_vector& value, const four_times& times) {
    for (const std::uint64_t time : {times.created, times.modified, times.changed, times.accessed}) append(value, time);
}

inline byte_vector standard_value(const four_times& times, std::uint32_t attributes, std::uint64_t number) {
    byte_vector value;
    append_times(value, times);
    append(value, attributes);
    value.resize(52);
    append<std::uint32_t>(value, static_cast<std::uint32_t>(256 + number % 61));  // security id
    append<std::uint64_t>(value, 0);
    append<std::uint64_t>(value, 0x1000'0000 + number * 96);  // journal position
    return value;
}

struct link {
    std::size_t parent = root;
    std::u16string name;
    name_space space = win32_and_dos;
};

inline byte_vector name_value(const volume& volume, const link& link, const four_times& times,
                              std::uint32_t attributes) {
    const directory& parent = volume.directories[link.parent];
    byte_vector value;
    append(value, reference(parent.number, parent.sequence));
    append_times(value, times);
    value.resize(56);  // sizes: brought up to date in the directory only
    append(value, attributes);
    append<std::uint32_t>(value, 0);
    append(value, static_cast<std::uint8_t>(link.name.size()));
    append(value, static_cast<std::uint8_t>(link.space));
    append_text(value, link.name);
    return value;
}

// What a reader does for this parent: it follows the references up and reads each directory that it has not met.
inline void note_climb(volume& volume, std::size_t place) {
    for (bool first = true; place != root; first = false) {
        directory& each = volume.directories[place];
        if (!each.known) ++volume.made.climbed_ahead;
        each.known = true;
        if (each.deleted && !first) return;  // a reference to it is out of date, and the climb ends
        place = each.parent;
    }
}

// The names of one record: the short twin stands first but has the later id, as the system writes them.
inline std::uint16_t add_names(volume& volume, record_builder& record, const std::vector<link>& links,
                               const four_times& times, std::uint32_t attributes) {
    std::uint16_t id = 2;
    for (const link& each : links) {
        const std::uint64_t ordinal = volume.directories[each.parent].entries++;
        note_climb(volume, each.parent);
        if (each.space == win32_name) {
            const link twin{each.parent, short_name_of(each.name, ordinal), dos_name};
            const auto twin_id = static_cast<std::uint16_t>(id + 1);
            add_resident(record, file_name, twin_id, u"", name_value(volume, twin, times, attributes));
            ++volume.made.short_names;
        }
        add_resident(record, file_name, id, u"", name_value(volume, each, times, attributes));
        id = static_cast<std::uint16_t>(id + (each.space == win32_name ? 2 : 1));
    }
    return static_cast<std::uint16_t>(id - 2);
}

inline link link_into(volume& volume, std::size_t parent, std::u16string name) {
    name_space space = win32_and_dos;
    if (!fits_8_3(name)) space = volume.dice.permille(120) ? posix_name : win32_name;
    return {parent, std::move(name), space};
}

inline byte_vector random_bytes(random_source& dice, std::size_t size) {
    byte_vector value(size);
    for (std::uint8_t& each : value) each = static_cast<std::uint8_t>(32 + dice.below(95));
    return value;
}

inline void add_object_id(volume& volume, record_builder& record) {
    add_resident(record, object_id, record.next_id, u"", random_bytes(volume.dice, 16));
}

inline void add_index(volume& volume, record_builder& record, bool empty) {
    add_resident(record, index_root, record.next_id, u"$I30", index_root_value(file_name, 1, !empty));
    if (empty) return;
    stream_part blocks = allocate_stream(volume, 1 + volume.dice.below(4), 1);
    const std::uint64_t count = blocks.runs.front().clusters;
    blocks.size = count * cluster_size;
    const auto id = record.next_id;
    add_non_resident(record, index_allocation, static_cast<std::uint16_t>(id + 1), u"$I30", blocks);
    byte_vector in_use(8);
    in_use[0] = static_cast<std::uint8_t>((1u << count) - 1);
    add_resident(record, index_bitmap, id, u"$I30", in_use);
}

}  // namespace bench
