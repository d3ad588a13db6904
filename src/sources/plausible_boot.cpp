#include "sources/plausible_boot.h"

#include <bit>
#include <cstring>
#include <string_view>

#include "sources/boot_layout.h"

namespace {

constexpr std::string_view ntfs_name = "NTFS    ";
constexpr std::uint64_t smallest_sector = 512, largest_sector = 4096;
constexpr std::uint32_t most_record_clusters = 127;  // a larger byte stands for a power of two, in bytes
constexpr std::uint64_t smallest_record = 512, largest_record = 64 * 1024;
constexpr std::uint64_t sector_limit = std::uint64_t{1} << 52;

std::uint64_t sectors_per_cluster(byte_view sector) {
    const std::uint32_t byte = sector.u8(boot_at::sectors_per_cluster);
    if (byte > most_plain_sectors) return power_of_boot_byte(byte);
    return std::has_single_bit(byte) ? byte : 0;
}

std::uint64_t record_bytes(byte_view sector, std::uint64_t cluster) {
    const std::uint32_t byte = sector.u8(ntfs_boot_at::record_clusters);
    return byte > most_record_clusters ? power_of_boot_byte(byte) : byte * cluster;
}

bool within(std::uint64_t value, std::uint64_t least, std::uint64_t most) { return value >= least && value <= most; }

}  // namespace

bool is_plausible_ntfs_boot(byte_view sector) {
    const byte_view name = sector.part(boot_at::oem_name, boot_at::oem_size);
    if (sector.size < boot_at::size || std::memcmp(name.data, ntfs_name.data(), ntfs_name.size()) != 0) return false;
    const std::uint64_t sector_size = sector.u16(boot_at::bytes_per_sector);
    if (!std::has_single_bit(sector_size) || !within(sector_size, smallest_sector, largest_sector)) return false;
    const std::uint64_t in_cluster = sectors_per_cluster(sector), cluster = in_cluster * sector_size;
    if (!within(cluster, 1, largest_cluster)) return false;
    const std::uint64_t record = record_bytes(sector, cluster);
    if (!std::has_single_bit(record) || !within(record, smallest_record, largest_record)) return false;
    const std::uint64_t sectors = sector.u64(ntfs_boot_at::total_sectors);
    const std::uint64_t mft = sector.u64(ntfs_boot_at::mft_cluster);
    return sectors < sector_limit && mft != 0 && mft < sectors && mft * in_cluster < sectors;
}

std::uint64_t ntfs_volume_bytes(byte_view sector) {
    return sector.u64(ntfs_boot_at::total_sectors) * sector.u16(boot_at::bytes_per_sector);
}
