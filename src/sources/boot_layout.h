// Where the fields of the boot sectors of volumes lie: offsets count from the sector's first byte, the number behind
// each is its width in bytes.
// Used by partition discovery and by the volume's own geometry, so that both read one layout. Reads nothing itself.
#pragma once

#include <cstddef>
#include <cstdint>

// What all of them share.
struct boot_at {
    enum : std::size_t {
        oem_name = 3,              // 8  "NTFS" and four blanks, "EXFAT" and three, "MSDOS5.0"
        oem_size = 8,              //    of that name
        bytes_per_sector = 11,     // 2
        sectors_per_cluster = 13,  // 1
        size = 512,
    };
};

struct ntfs_boot_at {
    enum : std::size_t {
        total_sectors = 40,    // 8
        mft_cluster = 48,      // 8
        record_clusters = 64,  // 1  signed; -n: a record has 2^n bytes
        serial = 72,           // 4  its low half
    };
};

constexpr std::uint32_t most_plain_sectors = 128;           // per cluster; a larger byte stands for a power of two
constexpr std::uint32_t largest_cluster = 2 * 1024 * 1024;  // that Windows makes

// Of bytes that count down from 256 to say a power of two; 0 for one that no field can mean.
constexpr std::uint64_t power_of_boot_byte(std::uint32_t byte) {
    return byte > 256 - 32 ? std::uint64_t{1} << (256 - byte) : 0;
}

struct exfat_boot_at {
    enum : std::size_t {
        partition_start = 64,             // 8  sectors
        total_sectors = 72,               // 8
        serial = 100,                     // 4
        sector_size_shift = 108,          // 1
        sectors_per_cluster_shift = 109,  // 1
    };
};

struct fat_boot_at {
    enum : std::size_t {
        total_sectors = 32,  // 4
        serial_of_16 = 39,   // 4
        mark_of_16 = 57,     // 2  "16" of "FAT16"
        serial_of_32 = 67,   // 4
        mark_of_32 = 85,     // 2  "32" of "FAT32"
    };
};
