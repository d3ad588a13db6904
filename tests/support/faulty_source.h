// A disk in memory that fails where a test says so.
// Used by unit tests and fuzz targets of everything that reads through a byte_source; without faults it is a plain
// disk.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "sources/byte_source.h"
#include "support/record_builder.h"

struct faulty_source : byte_source {
    build::bytes content;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> bad;  // bytes from, to: a read that touches them is refused
    std::size_t reads = 0;
    std::size_t* reads_outlive = nullptr;  // the same count, for who closes the source

    explicit faulty_source(build::bytes bytes) : content(std::move(bytes)) {
        total_size = static_cast<std::int64_t>(content.size());
    }

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override {
        ++reads;
        if (reads_outlive != nullptr) ++*reads_outlive;
        const std::uint64_t end = offset + size;
        const auto touches = [&](const auto& range) { return offset < range.second && range.first < end; };
        constexpr std::uint32_t refused = 5;
        system_error = std::any_of(bad.begin(), bad.end(), touches) ? refused : 0;
        if (system_error != 0) return false;
        const byte_view all(content);
        all.copy(static_cast<std::size_t>(offset), buffer, size);
        size = static_cast<std::uint32_t>(all.part(static_cast<std::size_t>(offset), size).size);
        return true;
    }
};
