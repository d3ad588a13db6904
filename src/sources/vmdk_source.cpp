#include "sources/vmdk_source.h"

#include <algorithm>

bool vmdk_source::open(const std::vector<std::u16string>& paths) {
    const bool linked =
        std::all_of(paths.begin(), paths.end(), [this](const auto& path) { return chain.add(path); }) && chain.link();
    system_error = chain.system_error;
    if (linked) total_size = static_cast<std::int64_t>(chain.size());
    return linked;
}

std::uint64_t vmdk_source::first_partition() const {
    return chain.base->partition_offsets.empty() ? 0 : chain.base->partition_offsets.front();
}

bool vmdk_source::deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) {
    chain.log = log;
    const bool delivered = chain.read(buffer, offset, size);
    system_error = chain.system_error;
    return delivered;
}
