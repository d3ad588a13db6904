#include "ntfs/mft_parts.h"

#include <vector>

#include "ntfs/attribute_cursor.h"
#include "ntfs/raw_record.h"
#include "ntfs/volume.h"

namespace {

constexpr std::uint32_t no_limit = 0xFFFF'FFFF;

std::uint64_t clusters_known(const ntfs_volume& volume) {
    return volume.mft_extents.empty() ? 0 : volume.mft_extents.back().end_vcn;
}

bool is_of_mft(byte_view record) {
    const std::uint64_t base = record.u64(record_at::base_reference);
    return (base & inode_mask) == 0 && base >> sequence_shift != 0;
}

// The attribute that goes on where the runs known so far end. False: the record has none with the entry's id.
bool find_next_part(const ntfs_volume& volume, byte_view record, std::uint16_t id, byte_view& part) {
    for (attribute_cursor cursor(record, attributes_start(record), {}); cursor.valid(); cursor.next()) {
        part = cursor.bytes();
        if (cursor.type() == type_data && cursor.id() == id && part.u8(attribute_at::non_resident) != 0 &&
            part.u64(attribute_at::first_vcn) == clusters_known(volume))
            return true;
    }
    return false;
}

void follow(ntfs_volume& volume, byte_view entry) {
    const std::uint64_t inode = entry.u64(list_entry_at::reference) & inode_mask;
    const bool names_data = entry.u32(list_entry_at::type) == type_data && entry.u8(list_entry_at::name_length) == 0;
    std::vector<std::uint8_t> record;
    byte_view part;
    if (!names_data || inode == 0 || !read_record(volume, inode, record) || !is_of_mft(record) ||
        !find_next_part(volume, record, entry.u16(list_entry_at::attribute_id), part))
        return;
    std::vector<described_run>& runs = volume.mft_info.data_runs;
    const std::size_t known = runs.size();
    const byte_view pairs = part.part(part.u16(attribute_at::pairs_offset), part.size);
    decode_runs_with_text(pairs, runs, type_data, most_described_runs);
    place_records(volume, known);
}

}  // namespace

void add_listed_mft_parts(ntfs_volume& volume) {
    const std::vector<described_run>& runs = volume.mft_info.data_runs;
    if (runs.empty() || runs.front().resident) return;
    const byte_view record(volume.mft_record);
    std::size_t at = attributes_start(record);
    attribute_list list;
    if (!find_attribute(record, at, type_attribute_list, no_limit) ||
        !read_attribute_list(volume, record.part(at, record.size), list))
        return;
    byte_view entry;
    for (std::size_t next = 0; next_list_entry(list, next, entry);) follow(volume, entry);
}
