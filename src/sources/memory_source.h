// Bytes in memory as a source.
// Made for a piece of a virtual disk that is looked at for partitions, and by tests for their disks.
// Copies nothing: the bytes stay the caller's, and must stay where they are for as long as the source lives.
#pragma once

#include "base/bytes.h"
#include "sources/byte_source.h"

struct memory_source : byte_source {
    byte_view bytes;

    explicit memory_source(byte_view content) : bytes(content) { total_size = static_cast<std::int64_t>(content.size); }

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override {
        const auto at = static_cast<std::size_t>(offset);
        bytes.copy(at, buffer, size);
        size = static_cast<std::uint32_t>(bytes.part(at, size).size);
        return true;
    }
};
