// One file of a virtual disk: a sparse VMDK with its descriptor inside, a base or a snapshot.
// Held by vmdk_chain, which asks its disks, newest first, where a byte lies.
// Knows no flat, split or compressed form, and says so in `fault` alone; the file is foreign, whatever its name says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"

struct vmdk_disk {
    std::u16string path;
    native_file file;
    std::uint64_t file_size = 0;     // bytes
    bool valid = false;              // everything below was read
    const char* fault = "";          // what speaks against it: its bytes may be read all the same
    std::uint32_t system_error = 0;  // of the last open or read that the system refused; 0: none

    // Values of the descriptor as they stand there, quotes included. A base's parent_cid is "ffffffff".
    std::string cid, parent_cid;
    std::string encoding, parent_hint;
    vmdk_disk* parent = nullptr;  // next older disk
    vmdk_disk* child = nullptr;   // next newer disk

    std::uint64_t capacity = 0;  // sectors
    std::uint64_t grain_bytes = 0;
    std::uint32_t table_entries = 0;
    std::uint64_t table_span = 0;  // bytes of virtual disk per grain table
    // For each entry of the grain directory the place of its table in `grains`, in tables; or no_table, for a table of
    // nothing but zeros: a disk of 1 TiB has 64 MiB of tables, and a new one is all zeros.
    std::vector<std::uint32_t> table_places;
    static constexpr std::uint32_t no_table = UINT32_MAX;
    std::uint32_t shared_place = no_table;  // of the one table that many entries may have in common
    std::vector<std::uint32_t> grains;      // sector numbers in the file; 0: not in this file
    // Where partitions begin, in bytes, as far as the first grain tells.
    std::vector<std::uint64_t> partition_offsets;

    vmdk_disk() = default;
    vmdk_disk(const vmdk_disk&) = delete;
    vmdk_disk& operator=(const vmdk_disk&) = delete;
    ~vmdk_disk() { close_file(file); }

    // Opens for reading and parses. False: refused by the system, or no such disk.
    bool open(const std::u16string& path_to_open);
    // Where the byte at `offset` of the virtual disk lies in this file. False: not in this file. The capacity is not
    // looked at, and the place may lie behind the file's end.
    bool map(std::uint64_t offset, std::uint64_t& file_offset) const;
    // `size` bytes at `offset` of the virtual disk; shortened where the first grain is cut by the file's end.
    // False: not all of them are in this file, or refused by the system.
    bool read_grains(void* buffer, std::uint64_t offset, std::uint32_t& size);
    // `offset` where this file holds the byte; else a place behind it up to which it holds none, all ones if there is
    // none at all from here on.
    std::uint64_t next_data(std::uint64_t offset) const;
    // Whether the table at `index` of the grain directory, if there is one, is the file's only one like it.
    bool has_own_table(std::uint64_t index) const {
        return index < table_places.size() && table_places[index] != no_table && table_places[index] != shared_place;
    }
};
