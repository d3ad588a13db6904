// Bounds-checked little-endian view of foreign bytes.
// Every decoder of on-disk structures reads through it; nothing else does pointer arithmetic on foreign data.
// It owns nothing and never fails: a field beyond the end reads as 0, which most on-disk lists take as their end. The
// few places that change such bytes write through byte_span.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

static_assert(std::endian::native == std::endian::little, "fields are copied as they lie on disk");

struct byte_view {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;

    byte_view() = default;
    byte_view(const std::uint8_t* bytes, std::size_t count) : data(bytes), size(count) {}
    byte_view(const std::vector<std::uint8_t>& bytes) : data(bytes.data()), size(bytes.size()) {}  // NOLINT: implicit

    std::uint8_t u8(std::size_t offset) const { return offset < size ? data[offset] : std::uint8_t{0}; }
    std::uint16_t u16(std::size_t offset) const { return field<std::uint16_t>(offset); }
    std::uint32_t u32(std::size_t offset) const { return field<std::uint32_t>(offset); }
    std::uint64_t u64(std::size_t offset) const { return field<std::uint64_t>(offset); }

    // True for no bytes too.
    bool is_all_zero() const { return size == 0 || (data[0] == 0 && std::memcmp(data, data + 1, size - 1) == 0); }

    // At most `count` bytes from `offset`: shorter at the end, empty beyond it.
    byte_view part(std::size_t offset, std::size_t count) const {
        if (offset >= size) return {};
        return {data + offset, std::min(count, size - offset)};
    }

    // Fills `count` bytes of `target`: what is there, then zeros.
    void copy(std::size_t offset, void* target, std::size_t count) const {
        const byte_view there = part(offset, count);
        if (there.size > 0) std::memcpy(target, there.data, there.size);
        if (there.size < count) std::memset(static_cast<std::uint8_t*>(target) + there.size, 0, count - there.size);
    }

    template <class number>
    number field(std::size_t offset) const {
        number value = 0;
        // Subtract, never add: offset + sizeof may wrap, and offset comes from the disk.
        if (size < sizeof value || offset > size - sizeof value) return 0;
        std::memcpy(&value, data + offset, sizeof value);
        return value;
    }
};

// The same bytes where they may be changed. What would lie beyond the end is not written.
struct byte_span {
    std::uint8_t* data = nullptr;
    std::size_t size = 0;

    byte_span() = default;
    byte_span(std::uint8_t* bytes, std::size_t count) : data(bytes), size(count) {}
    byte_span(std::vector<std::uint8_t>& bytes) : data(bytes.data()), size(bytes.size()) {}  // NOLINT: implicit
    operator byte_view() const { return {data, size}; }                                      // NOLINT: implicit

    // At most `count` bytes from `offset`, as of a byte_view.
    byte_span part(std::size_t offset, std::size_t count) const {
        if (offset >= size) return {};
        return {data + offset, std::min(count, size - offset)};
    }

    void put_u16(std::size_t offset, std::uint16_t value) const {
        if (size < sizeof value || offset > size - sizeof value) return;
        std::memcpy(data + offset, &value, sizeof value);
    }
    void put(std::size_t offset, byte_view bytes) const {
        const byte_span there = part(offset, bytes.size);
        if (there.size > 0) std::memcpy(there.data, bytes.data, there.size);
    }
    void fill_zero() const {
        if (size > 0) std::memset(data, 0, size);
    }
};
