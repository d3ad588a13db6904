// A volume or a whole drive of the host, read in whole sectors.
// Made by open_source, which takes what the system says of the device's place.
// Never writes.
#pragma once

#include <string>

#include "platform/devices.h"
#include "sources/byte_source.h"

// What the system says of a device.
struct device_facts {
    std::uint32_t bytes_per_sector = 0;  // what reads are aligned to
    std::uint32_t device_number = 0;
    std::int32_t partition_number = -1;  // -1: a whole drive, or not known
    std::uint64_t partition_offset = 0;  // bytes: where a volume starts on its disk
};

// How a device is opened, by the form of its name.
struct device_rules {
    bool random_access = false;
    bool needs_geometry = true;  // without: sectors of 512 bytes are assumed
    bool is_partition = true;    // asked for its place on its disk
};

struct device_source : byte_source {
    native_file handle;
    device_geometry geometry;
    device_facts facts;

    device_source() = default;
    ~device_source() override { close_file(handle); }
    // False: not opened; system_error says why.
    bool open(const std::u16string& path, const device_rules& rules);
    std::uint64_t size() const override;

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override;

private:
    bool learn_geometry();
    void learn_place();
    bool read_sectors(std::uint8_t* buffer, std::uint32_t size, std::uint64_t position);
};

// How a device read is widened to whole sectors.
struct sector_span {
    std::uint64_t position = 0;  // bytes, where the read begins
    std::uint64_t bytes = 0;     // what is read
    std::uint32_t head = 0;      // bytes ahead of those asked for
};
// False for a sector size of 0 and for a span of 4 GiB and more.
bool widen_to_sectors(std::uint64_t offset, std::uint32_t size, std::uint32_t bytes_per_sector, sector_span& span);
