// A file of the host that is read by position: an extracted $MFT, and the program's own files.
// Called by the run driver's open step, record reads, script reading and the copy-out.
// Keeps no cache and no file position for positioned reads; every read goes to the system.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"

struct plain_file {
    native_file file;
    std::int64_t size = 0;  // bytes, learned at open
    bool writable = false;
    std::u16string path;
    bool is_open = false;
    bool binary = true;

    plain_file() = default;
    plain_file(const plain_file&) = delete;
    plain_file& operator=(const plain_file&) = delete;
    ~plain_file() { close(); }

    // Trailing separators are cut from the path; an open file is closed first. False: the system refused.
    bool open_read(const std::u16string& path_to_open);
    bool open_with(const std::u16string& path_to_open, bool for_writing, bool as_binary);
    // `count` bytes wanted at `offset`; `count` takes what came. False when closed, beyond the end, or refused.
    bool read_at(void* buffer, std::uint32_t& count, std::uint64_t offset);
    // The vector takes the smaller of `count` and what remains behind `offset`, and shrinks to what came.
    bool read_into(std::vector<std::uint8_t>& bytes, std::uint64_t count, std::uint64_t offset);
    std::int64_t file_size() const { return is_open ? size : 0; }
    void close();
    // For the program's own bytes: see claim_file.
    claim_outcome claim(const std::u16string& path_to_open);
};
