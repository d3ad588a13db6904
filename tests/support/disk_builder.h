// Disks for tests: partition tables and the boot sectors of volumes, written field by field, and files to read them
// from. Used by unit tests and to seed the fuzz corpora. A builder writes what is valid; a test then damages it. Knows
// nothing of the reader: offsets are written here a second time, on purpose.
#pragma once

#include <initializer_list>

#include "base/text.h"
#include "support/program_run.h"
#include "support/record_builder.h"

namespace build {

struct slot {
    std::uint8_t type;
    std::uint32_t start, count;
};

struct gpt_partition {
    std::uint64_t first, last;
    std::u16string name = u"data";
};

class disk {
public:
    explicit disk(std::size_t sectors, std::size_t sector_size = 512)
        : bytes_(sectors * sector_size), size_(sector_size) {}

    // Slots and the mark, which stands at the end of the sector.
    disk& table(std::size_t sector, std::initializer_list<slot> slots);
    disk& gpt(std::initializer_list<gpt_partition> partitions, std::uint32_t entry_size = 128);
    disk& ntfs(std::size_t sector, std::uint64_t total_sectors, std::uint8_t per_cluster = 8);
    disk& exfat(std::size_t sector, std::uint64_t start, std::uint64_t total_sectors);
    disk& fat32(std::size_t sector, std::uint32_t total_sectors) { return fat(sector, total_sectors, "FAT32   ", 82); }
    disk& fat16(std::size_t sector, std::uint32_t total_sectors) { return fat(sector, total_sectors, "FAT16   ", 54); }
    disk& mark(std::size_t sector) { return poke_u16(bytes_, (sector + 1) * size_ - 2, 0xAA55), *this; }
    disk& byte(std::size_t at, std::uint8_t value) { return bytes_[at] = value, *this; }
    disk& u32(std::size_t at, std::uint32_t value) { return poke_u32(bytes_, at, value), *this; }

    const bytes& all() const { return bytes_; }

private:
    disk& fat(std::size_t sector, std::uint32_t total_sectors, std::string_view name, std::size_t name_at);
    disk& text(std::size_t at, std::string_view value) {
        return std::copy(value.begin(), value.end(), bytes_.data() + at), *this;
    }

    bytes bytes_;
    std::size_t size_;
};

struct disk_file {
    explicit disk_file(const bytes& content) : file(content) {}
    std::u16string path() const { return utf16_from_utf8(file.path()); }

    temporary_file file;
};

}  // namespace build
