#include "sources/image_source.h"

#include <algorithm>
#include <cstring>

image_source::image_source(const std::u16string& path) {
    if (open_for_reading(fd, path)) {
        total_size = std::max<std::int64_t>(file_size(fd), 0);
    } else {
        system_error = last_system_error();
    }
}

bool image_source::deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) {
    const std::uint32_t wanted = size;
    const std::uint64_t remaining = static_cast<std::uint64_t>(total_size) - offset;
    if (remaining < wanted) size = static_cast<std::uint32_t>(remaining);
    const std::int64_t came = ::read_at(fd, offset, buffer, size);
    system_error = came < 0 ? last_system_error() : 0;
    ended_early = came >= 0 && came < size;
    if (came < 0) return false;
    if (came < wanted) std::memset(buffer + came, 0, wanted - static_cast<std::size_t>(came));
    return true;
}
