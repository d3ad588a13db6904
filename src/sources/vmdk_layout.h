// Where the fields of a sparse VMDK's header lie: offsets count from the file's first byte, the number behind each is
// its width in bytes. Used by the parser of virtual disks in place of naked numbers; holds no code. Places and sizes
// are told in sectors of 512 bytes; grain directory and grain tables are arrays of 32-bit sector numbers.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr std::uint32_t vmdk_magic = 0x564D444B;       // "KDMV"
constexpr std::uint32_t vmdk_text_magic = 0x69442023;  // "# Di": a descriptor in a file of its own
constexpr std::uint32_t vmdk_compressed = 1u << 16;    // among the flags: of every grain
constexpr std::uint32_t vmdk_sector = 512;             // bytes

struct vmdk_header_at {
    enum : std::size_t {
        magic = 0,               // 4
        flags = 8,               // 4
        capacity = 12,           // 8  sectors of the virtual disk
        grain_size = 20,         // 8
        descriptor_offset = 28,  // 8
        descriptor_size = 36,    // 8
        table_entries = 44,      // 4  per grain table
        directory_offset = 56,   // 8
        overhead = 64,           // 8  what lies ahead of the grains
        size = 512,
    };
};
