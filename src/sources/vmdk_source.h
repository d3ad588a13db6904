// Virtual disks as a source of bytes: a base and its snapshots, read as one disk.
// Made by open_source, and read like any other source.
// Looks for no parent that was not named: resolve does, while options are read.
#pragma once

#include <string>
#include <vector>

#include "sources/byte_source.h"
#include "sources/vmdk_chain.h"

struct vmdk_source : byte_source {
    vmdk_chain chain;

    // In any order. False: one cannot be opened, or they do not belong together; system_error says why.
    bool open(const std::vector<std::u16string>& paths);
    // Bytes; where the first partition begins of which the base disk tells, 0 if it tells of none.
    std::uint64_t first_partition() const;
    std::uint64_t next_data(std::uint64_t offset) override { return chain.next_data(offset); }

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override;
};
