#include "sources/byte_source.h"

bool byte_source::read_at(void* buffer, std::uint32_t& size, std::int64_t offset) {
    if (size == 0 || offset < 0 || offset >= total_size) return false;
    return deliver(static_cast<std::uint8_t*>(buffer), size, static_cast<std::uint64_t>(offset));
}

bool read_bytes(byte_source& source, std::vector<std::uint8_t>& bytes, std::uint64_t offset, std::uint32_t count) {
    if (offset > INT64_MAX) return false;
    bytes.resize(count);
    if (!source.read_at(bytes.data(), count, static_cast<std::int64_t>(offset))) return false;
    bytes.resize(count);
    return true;
}
