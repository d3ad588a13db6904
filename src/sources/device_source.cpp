#include "sources/device_source.h"

#include <cstring>
#include <new>

namespace {

constexpr std::uint32_t assumed_sector_size = 512;

}  // namespace

bool device_source::open(const std::u16string& path, const device_rules& rules) {
    if (!open_device(handle, path, rules.random_access)) {
        system_error = last_device_error();
        return false;
    }
    if (!learn_geometry()) {
        if (rules.needs_geometry) {
            close_file(handle);
            return false;
        }
        facts.bytes_per_sector = assumed_sector_size;
    }
    if (rules.is_partition) learn_place();
    return true;
}

bool device_source::learn_geometry() {
    if (!query_geometry(handle, geometry)) {
        system_error = last_device_error();
        return false;
    }
    total_size = geometry.total_size;
    facts.bytes_per_sector = geometry.bytes_per_sector;
    return true;
}

// A device whose place is not known is read all the same.
void device_source::learn_place() {
    partition_facts place;
    if (query_partition(handle, place)) {
        facts.partition_offset = place.start;
        facts.partition_number = place.number;
        total_size = place.length;
    }
    query_device_number(handle, facts.device_number);
}

std::uint64_t device_source::size() const {
    if (total_size != 0) return static_cast<std::uint64_t>(total_size);
    return std::uint64_t{geometry.bytes_per_sector} * geometry.sectors_per_track * geometry.tracks_per_cylinder *
           static_cast<std::uint64_t>(geometry.cylinders);
}

// Kept: a read that the system cuts short counts as a whole one.
bool device_source::read_sectors(std::uint8_t* buffer, std::uint32_t size, std::uint64_t position) {
    const std::int64_t came = read_device(handle, position, buffer, size);
    system_error = came < 0 ? last_device_error() : 0;
    if (came < 0) return false;
    if (came < size) std::memset(buffer + came, 0, size - static_cast<std::size_t>(came));
    return true;
}

bool device_source::deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) {
    sector_span span;
    if (!widen_to_sectors(offset, size, facts.bytes_per_sector, span)) return false;
    const auto bytes = static_cast<std::uint32_t>(span.bytes);
    if (span.head == 0 && bytes == size) return read_sectors(buffer, size, span.position);
    try {
        std::vector<std::uint8_t> whole(bytes);
        if (!read_sectors(whole.data(), bytes, span.position)) return false;
        std::memcpy(buffer, whole.data() + span.head, size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool widen_to_sectors(std::uint64_t offset, std::uint32_t size, std::uint32_t bytes_per_sector, sector_span& span) {
    if (bytes_per_sector == 0) return false;
    // Kept: the remainder is taken of the low 32 bits, which matters for sector sizes that are no power of two only.
    span.head = static_cast<std::uint32_t>(offset) % bytes_per_sector;
    span.position = offset - span.head;
    const std::uint64_t sectors = (std::uint64_t{size} + span.head + bytes_per_sector - 1) / bytes_per_sector;
    span.bytes = sectors * bytes_per_sector;
    return span.bytes <= UINT32_MAX;
}
