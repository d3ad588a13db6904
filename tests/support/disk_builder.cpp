#include "support/disk_builder.h"

#include <algorithm>

namespace build {

disk& disk::table(std::size_t sector, std::initializer_list<slot> slots) {
    std::size_t at = sector * size_ + 446;
    for (const slot& each : slots) {
        byte(at + 4, each.type).u32(at + 8, each.start).u32(at + 12, each.count);
        at += 16;
    }
    return mark(sector);
}

disk& disk::gpt(std::initializer_list<gpt_partition> partitions, std::uint32_t entry_size) {
    table(0, {{0xEE, 1, static_cast<std::uint32_t>(bytes_.size() / size_ - 1)}}).text(size_, "EFI PART");
    u32(size_ + 24, 1).u32(size_ + 72, 2).u32(size_ + 84, entry_size);
    u32(size_ + 80, static_cast<std::uint32_t>(partitions.size()));
    std::size_t at = 2 * size_;
    for (const gpt_partition& each : partitions) {
        byte(at, 0xA2).byte(at + 16, 0x17);
        poke_u64(bytes_, at + 32, each.first);
        poke_u64(bytes_, at + 40, each.last);
        const bytes name = utf16_bytes(each.name);
        std::copy(name.begin(), name.end(), bytes_.data() + at + 56);
        at += entry_size;
    }
    return *this;
}

disk& disk::ntfs(std::size_t sector, std::uint64_t total_sectors, std::uint8_t per_cluster) {
    const std::size_t at = sector * size_;
    poke_u16(bytes_, at + 11, static_cast<std::uint16_t>(size_));
    poke_u64(bytes_, at + 40, total_sectors);
    return text(at + 3, "NTFS    ").byte(at + 13, per_cluster).u32(at + 72, 0x1234ABCD).mark(sector);
}

disk& disk::exfat(std::size_t sector, std::uint64_t start, std::uint64_t total_sectors) {
    const std::size_t at = sector * size_;
    poke_u64(bytes_, at + 64, start);
    poke_u64(bytes_, at + 72, total_sectors);
    return text(at + 3, "EXFAT   ").byte(at + 108, 9).byte(at + 109, 3).u32(at + 100, 0xE0FA7).mark(sector);
}

disk& disk::fat(std::size_t sector, std::uint32_t total_sectors, std::string_view name, std::size_t name_at) {
    const std::size_t at = sector * size_;
    poke_u16(bytes_, at + 11, static_cast<std::uint16_t>(size_));
    return text(at + 3, "MSDOS5.0").text(at + name_at, name).byte(at + 13, 8).u32(at + 32, total_sectors).mark(sector);
}

}  // namespace build
