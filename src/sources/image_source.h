// An image of a disk or a volume: one file of the host.
// Made by open_source.
// Does not lock the file and does not keep its size up to date.
#pragma once

#include <string>

#include "platform/files.h"
#include "sources/byte_source.h"

struct image_source : byte_source {
    native_file fd;

    // A file that cannot be opened makes a source without bytes; system_error says why.
    explicit image_source(const std::u16string& path);
    ~image_source() override { close_file(fd); }
    std::uint64_t next_data(std::uint64_t offset) override { return ::next_data(fd, offset); }

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override;
};
