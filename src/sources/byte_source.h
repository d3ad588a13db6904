// Bytes by position: what an image file, a device, a chain of virtual disks or a piece of memory have in common.
// Read by source_reader and by partition discovery; tests bring sources of their own, which fail where they are told.
// Caches nothing, does not retry and words nothing: `system_error` says why the system refused.
#pragma once

#include <cstdint>
#include <vector>

struct diagnostic_log;

struct byte_source {
    std::int64_t total_size = 0;          // bytes; nothing from there on is read
    std::uint32_t system_error = 0;       // of the open or the last read, if the system refused it; 0: none
    const diagnostic_log* log = nullptr;  // learns what was lost in a read that went through; null: nobody asks
    bool ended_early = false;             // the last read met an end ahead of total_size: the source became shorter

    byte_source() = default;
    byte_source(const byte_source&) = delete;
    byte_source& operator=(const byte_source&) = delete;
    virtual ~byte_source() = default;

    // `size` bytes at `offset`. A source that knows its end shortens `size` to what lies before it; bytes that were not
    // delivered are zeros in `buffer`, up to the size asked for.
    // False: no bytes asked for, offset not inside the source, or refused by the system.
    bool read_at(void* buffer, std::uint32_t& size, std::int64_t offset);
    // Bytes; 0 when unknown.
    virtual std::uint64_t size() const { return static_cast<std::uint64_t>(total_size); }
    // The first position from `offset` on that may hold anything but zeros; the source's size where there is none. For
    // searches through whole disks: a source that cannot tell says `offset`.
    virtual std::uint64_t next_data(std::uint64_t offset) { return offset; }

protected:
    // The read itself: `size` is above 0 and `offset` below total_size.
    virtual bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) = 0;
};

// At most `count` bytes at `offset`: fewer at the end. False: none.
bool read_bytes(byte_source& source, std::vector<std::uint8_t>& bytes, std::uint64_t offset, std::uint32_t count);
