// The one way by which bytes of a volume are read: an image file, an open volume, a physical drive or virtual disks.
// Made by the volume object and, for one call, by partition discovery; each read goes to the system, nothing is cached.
// Does not write, does not retry and words nothing: a caller says what a false means, `system_error` says why.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "sources/vmdk_chain.h"

enum reader_kind : std::int32_t {
    kind_file = 0,
    kind_volume = 1,
    kind_device_path = 2,
    kind_physical_drive = 3,
    kind_vmdk = 4,
    kind_none = 6,
};

struct source_reader {
    std::unique_ptr<vmdk_chain> chain;  // of virtual disks
    std::u16string device_path;         // as handed to the system
    std::uint32_t device_number = 0;
    reader_kind kind = kind_none;
    std::int32_t partition_number = -1;  // -1: a whole drive, or not known
    bool is_open = false;                // see the constructors
    native_file handle;                  // of a device
    native_file fd;                      // of an image
    std::string image_name;              // UTF-8 of image_path
    std::u16string image_path;
    std::int64_t total_size = 0;  // bytes
    std::int64_t cylinders = 0;
    std::uint32_t media_type = 0;
    std::uint32_t tracks_per_cylinder = 0;
    std::uint32_t sectors_per_track = 0;
    std::uint32_t bytes_per_sector = 0;  // what device reads are aligned to
    std::uint64_t partition_offset = 0;  // bytes: where a volume starts on its disk, as far as the system says
    std::uint32_t system_error = 0;      // of the last open or read that the system refused; 0: none

    source_reader() = default;
    // An image. Like the next one it claims to be open for every path that is not empty: kept, so that a missing image
    // shows itself at the first read, in the words of whoever reads.
    explicit source_reader(const std::u16string& path);
    // `as`: kind_file, kind_volume, kind_device_path or kind_physical_drive; any other stays closed.
    source_reader(const std::u16string& path, reader_kind as);
    // A whole drive by its number. 25 and above are not tried; is_open tells whether it could be opened.
    explicit source_reader(std::uint64_t drive_number);
    // A base disk and its snapshots, in any order. is_open tells whether all could be opened and belong together.
    explicit source_reader(const std::vector<std::u16string>& vmdk_paths);
    source_reader(const source_reader&) = delete;
    source_reader& operator=(const source_reader&) = delete;
    ~source_reader() { close(); }

    // `size` bytes at `offset` from the start of the source. An image shortens `size` to what lies before its end.
    // Bytes that the system did not deliver are zeros in `buffer`, up to the size asked for.
    // False: closed, no bytes asked for, offset not inside the source, or refused by the system.
    bool read_at(void* buffer, std::uint32_t& size, std::int64_t offset);
    // Bytes; 0 when closed or unknown.
    std::uint64_t size() const;
    // For searches through whole disks: the first position from `offset` on that may hold anything but zeros.
    std::uint64_t next_data(std::uint64_t offset) const;
    void close();
};

// How a device read is widened to whole sectors.
struct sector_span {
    std::uint64_t position = 0;  // bytes, where the read begins
    std::uint64_t bytes = 0;     // what is read
    std::uint32_t head = 0;      // bytes ahead of those asked for
};
// False for a sector size of 0 and for a span of 4 GiB and more.
bool widen_to_sectors(std::int64_t offset, std::uint32_t size, std::uint32_t bytes_per_sector, sector_span& span);
