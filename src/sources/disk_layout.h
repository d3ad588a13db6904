// Where the fields of partition tables lie: offsets count from the structure's first byte, the number behind each is
// its width in bytes. Used by partition discovery in place of naked numbers; holds no code. Boot sectors of volumes:
// boot_layout.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sources/boot_layout.h"

constexpr std::uint16_t boot_mark = 0xAA55;  // the last two bytes of a boot sector or of a partition table

// Master boot record and extended boot record: always within the first 512 bytes of the sector.
struct slot_table_at {
    enum : std::size_t { first_slot = 446, slot_size = 16, slot_count = 4, mark = 510, size = 512 };
};

struct slot_at {
    enum : std::size_t {
        type = 4,   // 1  partition_type
        start = 8,  // 4  sectors
        count = 12  // 4  sectors
    };
};

enum partition_type : std::uint8_t {
    type_empty = 0x00,
    type_extended = 0x05,
    type_fat16 = 0x06,
    type_ntfs = 0x07,
    type_fat32_lba = 0x0C,
    type_extended_lba = 0x0F,
    type_gpt = 0xEE,
};

// GPT header and entry.
struct gpt_header_at {
    enum : std::size_t {
        current_lba = 0x18,  // 8
        entries_lba = 0x48,  // 8
        entry_count = 0x50,  // 4
        entry_size = 0x54,   // 4  bytes
        size = 512,
    };
};

struct gpt_entry_at {
    enum : std::size_t {
        type_guid = 0x00,       // 16
        partition_guid = 0x10,  // 16
        first_lba = 0x20,       // 8
        last_lba = 0x28,        // 8
        name = 0x38,            // 72  UTF-16
        size = 128,             // what is known of an entry; a table may make room for more
    };
};
