// Volumes and whole drives of the host: open for shared reading, geometry, place on the disk, read.
// Called by device_source, which widens reads to whole sectors and keeps what is learned here, and by evidence.
// Never writes; words nothing: last_device_error says why the last call of this header was refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"

struct device_geometry {
    std::int64_t total_size = 0;  // bytes
    std::int64_t cylinders = 0;   // 0 where the system knows of none, like the next three
    std::uint32_t media_type = 0;
    std::uint32_t tracks_per_cylinder = 0;
    std::uint32_t sectors_per_track = 0;
    std::uint32_t bytes_per_sector = 0;
};

struct partition_facts {
    std::uint64_t start = 0;  // bytes, from the beginning of the disk
    std::int64_t length = 0;  // bytes
    std::int32_t number = 0;
};

bool host_has_shadow_copies();
// The system's name of the volume that a path of three characters or fewer names: "\\.\x:" for a drive letter; the
// path itself where there are no letters.
std::u16string letter_device_path(const std::u16string& path);
// The system's name of drive `number`, counted from 0; empty where there is no such drive. On Linux drives are counted
// in the order of order_drive_names.
std::u16string drive_device_path(std::uint32_t number);

// On Linux only block devices are opened.
bool open_device(native_file& device, const std::u16string& path, bool random_access);
bool query_geometry(const native_file& device, device_geometry& geometry);
// False also for a whole drive.
bool query_partition(const native_file& device, partition_facts& facts);
// The number of the drive that the device lies on.
bool query_device_number(const native_file& device, std::uint32_t& number);
// One read of `count` bytes at `position`, both whole sectors. Returns how many came; -1 when the system refused.
std::int64_t read_device(const native_file& device, std::uint64_t position, void* bytes, std::uint32_t count);
// Adds the files that hold the bytes of a device: what lies behind a loop device, directly or below a mapped one.
void identify_backing(const std::u16string& path, std::vector<file_identity>& found);
std::uint32_t last_device_error();
