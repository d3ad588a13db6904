#include "sources/partitions.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "sources/disk_layout.h"
#include "sources/source_reader.h"

namespace {

struct named_type {
    std::uint8_t type;
    const char* name;
};

constexpr named_type type_names[] = {
    {0x00, "empty"},
    {0x01, "fat12"},
    {0x02, "xenix root"},
    {0x03, "xenix /usr"},
    {0x04, "fat16"},
    {0x05, "exten"},
    {0x06, "fat"},
    {0x07, "ntfs"},
    {0x08, "aix boot"},
    {0x09, "aix data"},
    {0x0A, "os/2 boot"},
    {0x0B, "fat32"},
    {0x0C, "fat32"},
    {0x0E, "dos fat16 LBA mapped"},
    {0x0F, "exten"},
    {0x11, "Hidden dos fat16"},
    {0x14, "Hidden dos fat16"},
    {0x16, "Hidden dos fat16"},
    {0x1B, "Hidden fat32"},
    {0x1C, "Hidden fat32"},
    {0x1E, "Hidden dos fat16"},
    {0x82, "linux swap"},
    {0x83, "linux"},
    {0x86, "fat16 volume set"},
    {0x87, "ntfs volume set"},
    {0x88, "linux partition table"},
    {0x8B, "fat32 fault tolerant"},
    {0x8C, "fat32 fault tolerant"},
    {0x8D, "fat12"},
    {0x8E, "linux Logical Volume Mgr"},
    {0x90, "hidden dos fat16"},
    {0x91, "hidden dos fat16"},
    {0x92, "hidden dos fat16"},
    {0x93, "hidden linux native"},
    {0x97, "hidden dos fat32"},
    {0x98, "hidden dos fat32"},
    {0xA0, "laptop hibernation partition"},
    {0xA1, "laptop hibernation partition"},
    {0xA6, "openbsd"},
    {0xEE, "gpt"},
};

// Where a boot sector says what; the widths differ, so each kind has its own step.
void fill_from_ntfs(partition_entry& entry, byte_view sector, bool without_table) {
    if (without_table) {
        entry.start_sector = 0;
        entry.from_boot_sector = true;
        entry.type = type_ntfs;
    }
    entry.sector_count = sector.u64(ntfs_boot_at::total_sectors);
    entry.sectors_per_cluster = sector.u8(boot_at::sectors_per_cluster);
    entry.sector_size = sector.u16(boot_at::bytes_per_sector);
    entry.serial = sector.u32(ntfs_boot_at::serial);
}

void fill_from_exfat(partition_entry& entry, byte_view sector, bool without_table) {
    if (without_table) {
        entry.start_sector = sector.u64(exfat_boot_at::partition_start);
        entry.sector_count = sector.u64(exfat_boot_at::total_sectors);
        entry.from_boot_sector = true;
    }
    entry.type = type_of_exfat;
    entry.sectors_per_cluster = power_of_two(sector.u8(exfat_boot_at::sectors_per_cluster_shift));
    entry.sector_size = power_of_two(sector.u8(exfat_boot_at::sector_size_shift));
    entry.serial = sector.u32(exfat_boot_at::serial);
}

void fill_from_fat(partition_entry& entry, byte_view sector, bool without_table, partition_type type,
                   std::size_t serial_at) {
    if (without_table) {
        entry.start_sector = 0;
        entry.sector_count = sector.u32(fat_boot_at::total_sectors);
        entry.type = type;
        entry.from_boot_sector = true;
    }
    entry.serial = sector.u32(serial_at);
    entry.sectors_per_cluster = sector.u8(boot_at::sectors_per_cluster);
    entry.sector_size = sector.u16(boot_at::bytes_per_sector);
}

bool has_text(byte_view bytes, std::size_t offset, std::string_view text) {
    const byte_view there = bytes.part(offset, text.size());
    return there.size == text.size() && std::memcmp(there.data, text.data(), text.size()) == 0;
}

}  // namespace

bool disk_bytes::is_open() const { return reader == nullptr || reader->is_open; }

std::uint64_t disk_bytes::size() const { return reader == nullptr ? memory.size : reader->size(); }

std::uint64_t disk_bytes::next_data(std::uint64_t offset) const {
    return reader == nullptr ? offset : reader->next_data(offset);
}

bool disk_bytes::read(std::vector<std::uint8_t>& bytes, std::uint64_t offset, std::uint32_t count) const {
    if (offset > INT64_MAX) return false;
    bytes.resize(count);
    if (reader != nullptr) {
        if (!reader->read_at(bytes.data(), count, static_cast<std::int64_t>(offset))) return false;
        bytes.resize(count);
        return true;
    }
    const byte_view there = memory.part(static_cast<std::size_t>(offset), count);
    bytes.assign(there.data, there.data + there.size);
    return there.size > 0;
}

bool is_ntfs_boot(byte_view sector) { return has_text(sector, boot_at::oem_name, "NTFS    "); }

bool is_ntfs_at(disk_bytes disk, std::uint64_t offset) {
    constexpr std::uint32_t enough = 36;
    std::vector<std::uint8_t> bytes;
    return disk.read(bytes, offset, enough) && is_ntfs_boot(bytes);
}

bool fill_from_boot_sector(partition_entry& entry, byte_view sector) {
    if (sector.size < boot_at::size) return false;
    const bool without_table = entry.start_sector == 0 && entry.sector_count == 0;
    if (is_ntfs_boot(sector)) {
        fill_from_ntfs(entry, sector, without_table);
        return true;
    }
    if (has_text(sector, boot_at::oem_name, "EXFAT   ")) {
        fill_from_exfat(entry, sector, without_table);
        return true;
    }
    if (!has_text(sector, boot_at::oem_name, "MSDOS5.0")) return false;
    if (has_text(sector, fat_boot_at::mark_of_32, "32")) {
        fill_from_fat(entry, sector, without_table, type_fat32_lba, fat_boot_at::serial_of_32);
        return true;
    }
    if (!has_text(sector, fat_boot_at::mark_of_16, "16")) return false;
    fill_from_fat(entry, sector, without_table, type_fat16, fat_boot_at::serial_of_16);
    return true;
}

std::uint32_t power_of_two(std::uint8_t shift) { return shift < 32 ? std::uint32_t{1} << shift : 0; }

std::string type_name(std::uint16_t type) {
    // The low byte decides, so that the type of an exFAT volume counts as 7.
    const auto low = static_cast<std::uint8_t>(type);
    const bool guessed = (type & guessed_type) != 0;
    if (guessed && low == type_ntfs) return "exfat";
    const auto* const known = std::find_if(std::begin(type_names), std::end(type_names),
                                           [low](const named_type& entry) { return entry.type == low; });
    std::string name = known == std::end(type_names) ? "unkn" : known->name;
    if (guessed) name += " [guess]";
    return name;
}
