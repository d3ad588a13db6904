#include "sources/vmdk_disk.h"

#include <algorithm>
#include <cstring>

#include "sources/vmdk_layout.h"

bool vmdk_disk::map(std::uint64_t offset, std::uint64_t& file_offset) const {
    if (!valid) return false;
    const auto directory_index = static_cast<std::uint32_t>(offset / table_span);
    if (directory_index >= table_places.size()) return false;
    const std::uint32_t place = table_places[directory_index];
    if (place == no_table) return false;
    const std::uint32_t sector = grains[std::uint64_t{place} * table_entries + offset % table_span / grain_bytes];
    if (sector == 0) return false;
    file_offset = offset % grain_bytes + std::uint64_t{sector} * vmdk_sector;
    return true;
}

bool vmdk_disk::read_grains(void* buffer, std::uint64_t offset, std::uint32_t& size) {
    std::uint64_t position = 0;
    if (size == 0 || !map(offset, position) || position >= file_size) return false;
    size = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, file_size - position));
    auto* const to = static_cast<std::uint8_t*>(buffer);
    for (std::uint32_t done = 0; done < size;) {
        if (done > 0 && !map(offset + done, position)) return false;
        const std::uint64_t to_grain_end = grain_bytes - (offset + done) % grain_bytes;
        const auto piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(size - done, to_grain_end));
        const std::int64_t came = read_at(file, position, to + done, piece);
        if (came < 0) system_error = last_system_error();
        if (came <= 0) return false;
        std::memset(to + done + came, 0, piece - static_cast<std::size_t>(came));
        done += piece;
    }
    return true;
}

std::uint64_t vmdk_disk::next_data(std::uint64_t offset) const {
    if (!valid || offset / table_span >= table_places.size()) return UINT64_MAX;
    std::uint64_t position = 0;
    if (map(offset, position) && position < file_size) return offset;
    const bool whole_table = table_places[offset / table_span] == no_table;
    const std::uint64_t stretch = whole_table ? table_span : grain_bytes;
    return (offset / stretch + 1) * stretch;
}
