// The records ahead of the first file of a volume: its own tables, and the indexes below $Extend.
// Used by bench/make_mft.cpp for their numbers.
// Their streams have sizes and clusters, and nothing in them.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "made_volume.h"

namespace bench {

inline constexpr std::uint64_t first_user_record = 27;

struct system_file {
    std::u16string_view name;
    std::uint64_t size;  // 0: no stream, or one that add_system_content makes by itself
};
struct extend_file {
    std::u16string_view name, index;
};

inline constexpr system_file system_files[] = {
    {u"$MFT", 0},        {u"$MFTMirr", 4096}, {u"$LogFile", 64 << 20}, {u"$Volume", 0},
    {u"$AttrDef", 2560}, {u".", 0},           {u"$Bitmap", 0},         {u"$Boot", 0},
    {u"$BadClus", 0},    {u"$Secure", 0},     {u"$UpCase", 131'072},   {u"$Extend", 0},
};
inline constexpr extend_file extend_files[] = {
    {u"$Quota", u"$Q"},
    {u"$ObjId", u"$O"},
    {u"$Reparse", u"$R"},
};

inline void add_system_stream(volume& volume, record_builder& record, std::u16string_view name, std::uint64_t size,
                              std::size_t pieces) {
    stream_part part = allocate_stream(volume, (size + cluster_size - 1) / cluster_size, pieces);
    part.size = size;
    add_non_resident(record, data_stream, record.next_id, name, part);
}

inline void add_mft_streams(volume& volume, record_builder& record) {
    add_system_stream(volume, record, u"", volume.records * record_size, 3);
    const std::uint64_t in_use = (volume.records / 8 + 8) / 8 * 8;
    stream_part bitmap = allocate_stream(volume, (in_use + cluster_size - 1) / cluster_size, 1);
    bitmap.size = in_use;
    add_non_resident(record, index_bitmap, record.next_id, u"", bitmap);
}

inline void add_system_content(volume& volume, record_builder& record, std::uint64_t number) {
    const std::uint64_t clusters = volume.clusters();
    switch (number) {
        case 0: return add_mft_streams(volume, record);
        case 3:
            add_resident(record, volume_name, record.next_id, u"", {'b', 0, 'e', 0, 'n', 0, 'c', 0, 'h', 0});
            add_resident(record, volume_information, record.next_id, u"", {0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0});
            return add_resident(record, data_stream, record.next_id, u"", {});
        case 5:
        case 11: return add_index(volume, record, false);
        case 6: return add_system_stream(volume, record, u"", clusters / 8, 1);
        case 7:
            return add_non_resident(record, data_stream, record.next_id, u"", {{{0, 2, false}}, 0, 2 * cluster_size});
        case 8:
            add_resident(record, data_stream, record.next_id, u"", {});
            return add_non_resident(record, data_stream, record.next_id, u"$Bad",
                                    {{{0, clusters, true}}, 0, clusters * cluster_size});
        case 9:
            add_system_stream(volume, record, u"$SDS", 0x4'0000, 1);
            add_resident(record, index_root, record.next_id, u"$SDH", index_root_value(0, 0x12, false));
            return add_resident(record, index_root, record.next_id, u"$SII", index_root_value(0, 0x10, false));
        default: return add_system_stream(volume, record, u"", system_files[number].size, 1);
    }
}

// Records 12 to 15 are kept and have no name.
inline record_builder make_system_file(volume& volume, std::uint64_t number) {
    const auto sequence = static_cast<std::uint16_t>(number == 0 || number >= 16 ? 1 : number);
    const bool is_directory = number == 5 || number == 11;
    record_builder record = start_record(number, sequence, is_directory ? live_directory : live_file);
    const four_times times = all_at(first_day);
    add_resident(record, standard_information, 0, u"", standard_value(times, 0x06, number));
    const bool in_extend = number >= 24;
    const bool named = in_extend || number < std::size(system_files);
    const std::size_t parent = in_extend ? extend : root;
    const std::u16string_view name = in_extend ? extend_files[number - 24].name : system_files[number % 12].name;
    std::uint16_t links = 1;
    if (named) {
        const link only{parent, std::u16string(name), win32_and_dos};
        links = add_names(volume, record, {only}, times, is_directory ? 0x1000'0006 : 0x06);
    }
    if (in_extend) {
        add_resident(record, index_root, record.next_id, extend_files[number - 24].index,
                     index_root_value(0, 0x10, false));
    } else if (named) {
        add_system_content(volume, record, number);
    } else {
        add_resident(record, data_stream, record.next_id, u"", {});
    }
    if (number == 11) volume.directories[extend].known = true;
    finish_record(record, number, links);
    return record;
}

}  // namespace bench
