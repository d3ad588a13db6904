// Partitions of a disk: master boot record with its extended chain, GPT, or one bare volume.
// Called by the check of the volume's offset and, for a table held in memory, by virtual disks.
// Decides nothing: which partition is read is the user's choice. The bytes are foreign: every walk ends.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "base/bytes.h"

struct source_reader;

constexpr std::uint16_t guessed_type = 0x8000;  // bit of partition_entry::type: found outside of any table
constexpr std::uint16_t type_of_exfat = 0xFF07;

struct partition_entry {
    std::uint64_t start_sector = 0;  // in units of sector_size, like sector_count
    std::uint64_t sector_count = 0;
    std::uint16_t type = 0;  // type byte of the table, with or without guessed_type
    std::uint32_t sectors_per_cluster = 0;
    std::uint32_t sector_size = 512;  // bytes
    std::uint32_t serial = 0;
    bool from_boot_sector = false;
    bool from_gpt = false;
    std::array<std::uint8_t, 16> type_guid{};
    std::array<std::uint8_t, 16> partition_guid{};
    std::string name;  // of the GPT, UTF-8; "unalloc" for a gap
};
// In the order of the tables: primary entries, then those of the extended chain; a guess stands in front.
using partition_list = std::deque<partition_entry>;

// What the tables are read from: an open source, or bytes that stand for the beginning of one.
struct disk_bytes {
    source_reader* reader = nullptr;
    byte_view memory;

    disk_bytes(source_reader& source) : reader(&source) {}  // NOLINT: implicit
    disk_bytes(byte_view bytes) : memory(bytes) {}          // NOLINT: implicit

    bool is_open() const;
    std::uint64_t size() const;
    // The first position from `offset` on that may hold anything but zeros.
    std::uint64_t next_data(std::uint64_t offset) const;
    // At most `count` bytes at `offset`: fewer at the end. False: none.
    bool read(std::vector<std::uint8_t>& bytes, std::uint64_t offset, std::uint32_t count) const;
};

// Fills `list`; true when it is not empty. `deep`: where the first sectors carry no mark, every following one is looked
// at until one begins an extended chain.
bool read_partition_table(disk_bytes disk, partition_list& list, bool deep);
// The same over a piece of memory, which never leads to a GPT.
bool read_partition_table_from_memory(byte_view bytes, partition_list& list, bool deep);
// Partitions of a GPT, in table order, and the gaps between them as entries of type 0. The signature and the sums of
// the header are not looked at. False: unreadable, or no more than an empty list.
bool read_gpt(disk_bytes disk, partition_list& list);

// What the boot sector of an NTFS, exFAT or FAT volume says goes into `entry`. False leaves it alone.
bool fill_from_boot_sector(partition_entry& entry, byte_view sector);
bool is_ntfs_boot(byte_view sector);
bool is_ntfs_at(disk_bytes disk, std::uint64_t offset);
// For shifts that boot sectors hold: beyond the width nothing is left.
std::uint32_t power_of_two(std::uint8_t shift);
// "ntfs", "fat32", ...; "unkn" for a type without a name.
std::string type_name(std::uint16_t type);
