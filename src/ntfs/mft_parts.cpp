#include "ntfs/mft_parts.h"

#include <algorithm>
#include <compare>
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

// Where a record has a part of $MFT's data.
struct part_place {
    std::uint64_t first_vcn = 0;
    std::uint16_t id = 0;
    std::uint32_t at = 0;  // in the record

    auto operator<=>(const part_place&) const = default;
};

void note_parts(byte_view record, std::vector<part_place>& parts) {
    parts.clear();
    for (attribute_cursor cursor(record, attributes_start(record), {}); cursor.valid(); cursor.next()) {
        const byte_view part = cursor.bytes();
        if (cursor.type() != type_data || part.u8(attribute_at::non_resident) == 0) continue;
        parts.push_back({part.u64(attribute_at::first_vcn), cursor.id(), static_cast<std::uint32_t>(cursor.at())});
    }
    std::sort(parts.begin(), parts.end());
}

class part_walk {
public:
    explicit part_walk(ntfs_volume& volume) : volume_(volume) {}

    void follow(byte_view entry) {
        const std::uint64_t inode = entry.u64(list_entry_at::reference) & inode_mask;
        const bool names_data =
            entry.u32(list_entry_at::type) == type_data && entry.u8(list_entry_at::name_length) == 0;
        if (!names_data || inode == 0 || !load(inode)) return;
        // The attribute that goes on where the runs known so far end.
        const part_place next{clusters_known(volume_), entry.u16(list_entry_at::attribute_id), 0};
        const auto found = std::lower_bound(parts_.begin(), parts_.end(), next);
        if (found == parts_.end() || found->first_vcn != next.first_vcn || found->id != next.id) return;
        add(byte_view(record_).part(found->at, record_.size()));
    }

private:
    // Neighbouring entries mostly name the same record: it is read once. Guard: all of them may ask for 64 MiB.
    bool load(std::uint64_t inode) {
        if (loaded_inode_ == inode) return usable_;
        if (read_bytes_ + volume_.record_alloc_size > record_cost_limit) return false;
        read_bytes_ += volume_.record_alloc_size;
        loaded_inode_ = inode;
        usable_ = read_record(volume_, inode, record_) && is_of_mft(record_);
        if (usable_) note_parts(record_, parts_);
        return usable_;
    }

    void add(byte_view part) {
        std::vector<described_run>& runs = volume_.mft_info.data_runs;
        const std::size_t known = runs.size();
        const byte_view pairs = part.part(part.u16(attribute_at::pairs_offset), part.size);
        decode_runs_with_text(pairs, runs, type_data, most_described_runs);
        place_records(volume_, known);
    }

    ntfs_volume& volume_;
    std::uint64_t loaded_inode_ = 0;  // 0: none, for record 0 is not asked
    bool usable_ = false;
    std::uint64_t read_bytes_ = 0;
    std::vector<std::uint8_t> record_;
    std::vector<part_place> parts_;  // its parts
};

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
    part_walk walk(volume);
    byte_view entry;
    for (std::size_t next = 0; next_list_entry(list, next, entry);) walk.follow(entry);
}
