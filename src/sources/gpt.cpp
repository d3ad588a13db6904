#include "sources/byte_source.h"
#include "sources/disk_layout.h"
#include "sources/partitions.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace {

constexpr std::uint32_t read_size = 32768;
constexpr std::uint32_t sector_sizes[] = {512, 1024, 2048, 4096, 8192, 16384};
// Guards against a table that claims more than any disk has: 2^32 entries of 2^32 bytes would never be through.
constexpr std::uint32_t most_entries = 65536;
constexpr std::uint32_t largest_entry = 1024 * 1024;

struct gpt_place {
    std::uint32_t sector_size = 0;
    std::uint64_t entries = 0;  // bytes, from the start of the disk
    std::uint32_t entry_count = 0;
    std::uint32_t entry_size = 0;
};

bool find_sector_size(byte_view first_bytes, std::uint32_t& sector_size) {
    const auto* const found = std::find_if(std::begin(sector_sizes), std::end(sector_sizes), [&](std::uint32_t size) {
        return first_bytes.u16(size - sizeof boot_mark) == boot_mark;
    });
    if (found == std::end(sector_sizes)) return false;
    sector_size = *found;
    return true;
}

bool read_header(byte_source& disk, gpt_place& place) {
    std::vector<std::uint8_t> bytes;
    if (!read_bytes(disk, bytes, 0, read_size) || !find_sector_size(bytes, place.sector_size)) return false;
    if (!read_bytes(disk, bytes, place.sector_size, read_size)) return false;
    const byte_view header = byte_view(bytes).part(0, gpt_header_at::size);
    // Kept: the only test. A header with a wrong signature is read like any other.
    if (header.u64(gpt_header_at::current_lba) != 1) return false;
    place.entries = header.u64(gpt_header_at::entries_lba) * place.sector_size;
    place.entry_count = header.u32(gpt_header_at::entry_count);
    place.entry_size = header.u32(gpt_header_at::entry_size);
    return place.entry_count <= most_entries && place.entry_size <= largest_entry;
}

std::string entry_name(byte_view entry) {
    std::u16string name;
    for (std::size_t at = gpt_entry_at::name; at < gpt_entry_at::size && entry.u16(at) != 0; at += 2) {
        name.push_back(entry.u16(at));
    }
    return utf8_from_utf16(name);
}

// An entry without a type is a free place in the table.
void add_entry(partition_list& list, byte_view bytes, std::uint32_t sector_size) {
    partition_entry entry;
    bytes.copy(gpt_entry_at::type_guid, entry.type_guid.data(), entry.type_guid.size());
    if (entry.type_guid == decltype(entry.type_guid){}) return;
    bytes.copy(gpt_entry_at::partition_guid, entry.partition_guid.data(), entry.partition_guid.size());
    entry.start_sector = bytes.u64(gpt_entry_at::first_lba);
    entry.sector_count = bytes.u64(gpt_entry_at::last_lba) - entry.start_sector + 1;
    entry.from_gpt = true;
    entry.sector_size = sector_size;
    entry.name = entry_name(bytes);
    list.push_back(std::move(entry));
}

bool read_entries(byte_source& disk, const gpt_place& place, partition_list& list) {
    const auto wanted = std::min<std::uint32_t>(place.entry_size, gpt_entry_at::size);
    std::vector<std::uint8_t> bytes;
    for (std::uint32_t index = 0; index < place.entry_count; ++index) {
        const std::uint64_t position = place.entries + std::uint64_t{index} * place.entry_size;
        if (!read_bytes(disk, bytes, position, wanted)) return false;
        add_entry(list, bytes, place.sector_size);
    }
    return true;
}

void name_type_by_boot_sector(partition_entry& entry, byte_view sector) {
    const std::uint8_t per_cluster = sector.u8(boot_at::sectors_per_cluster);
    entry.sectors_per_cluster = per_cluster;
    entry.type = type_gpt;
    if (!is_ntfs_boot(sector)) return;
    entry.type = per_cluster != 0 ? std::uint16_t{type_ntfs} : type_of_exfat;
    if (per_cluster != 0) return;
    entry.sectors_per_cluster = power_of_two(sector.u8(exfat_boot_at::sectors_per_cluster_shift));
}

bool read_boot_sectors(byte_source& disk, partition_list& list) {
    std::vector<std::uint8_t> sector;
    for (partition_entry& entry : list) {
        if (!read_bytes(disk, sector, entry.start_sector * entry.sector_size, entry.sector_size)) return false;
        name_type_by_boot_sector(entry, sector);
    }
    return true;
}

void add_gap(partition_list& list, std::uint64_t first, std::uint64_t end, std::uint32_t sector_size) {
    partition_entry gap;
    gap.start_sector = first;
    gap.sector_count = static_cast<std::uint32_t>(end - first);
    gap.sector_size = sector_size;
    gap.from_gpt = true;
    gap.name = "unalloc";
    list.push_back(std::move(gap));
}

void fill_gaps(partition_list& list, std::uint64_t disk_size, std::uint32_t sector_size) {
    const partition_list partitions = std::exchange(list, {});
    std::uint64_t next_free = 0;
    for (const partition_entry& entry : partitions) {
        if (entry.start_sector > next_free) add_gap(list, next_free, entry.start_sector, sector_size);
        list.push_back(entry);
        next_free = entry.start_sector + entry.sector_count;
    }
    const std::uint64_t end = disk_size / sector_size;
    if (next_free < end) add_gap(list, next_free, end, sector_size);
}

}  // namespace

bool read_gpt(byte_source& disk, partition_list& list) {
    list.clear();
    gpt_place place;
    if (!read_header(disk, place)) return false;
    if (!read_entries(disk, place, list)) return false;
    if (!read_boot_sectors(disk, list)) return false;
    fill_gaps(list, disk.size(), place.sector_size);
    return !list.empty();
}
