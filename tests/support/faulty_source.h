// A disk in memory that fails where a test says so, read like an image or like a device.
// Used by unit tests and fuzz targets of everything that reads through a byte_source; without faults it is a plain
// disk.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "sources/device_source.h"
#include "support/record_builder.h"

struct faulty_source : byte_source {
    build::bytes content;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> bad;  // bytes from, to: a read that touches them is refused
    std::uint32_t sector_size = 0;     // of a device: reads widen to whole sectors, and none is shortened; 0: an image
    std::size_t shrunk_to = SIZE_MAX;  // bytes that are left of what there was at the open
    std::size_t reads = 0;
    std::size_t* reads_outlive = nullptr;  // the same count, for who closes the source

    explicit faulty_source(build::bytes bytes) : content(std::move(bytes)) {
        total_size = static_cast<std::int64_t>(content.size());
    }

protected:
    bool deliver(std::uint8_t* buffer, std::uint32_t& size, std::uint64_t offset) override {
        ++reads;
        if (reads_outlive != nullptr) ++*reads_outlive;
        sector_span span{offset, size};
        if (sector_size != 0 && !widen_to_sectors(offset, size, sector_size, span)) return false;
        const std::uint64_t end = span.position + span.bytes;
        const auto touches = [&](const auto& range) { return span.position < range.second && range.first < end; };
        constexpr std::uint32_t refused = 5;
        system_error = std::any_of(bad.begin(), bad.end(), touches) ? refused : 0;
        if (system_error != 0) return false;
        ended_early = offset + size > shrunk_to;
        const byte_view all = byte_view(content).part(0, shrunk_to);
        all.copy(static_cast<std::size_t>(offset), buffer, size);
        if (sector_size == 0)
            size = static_cast<std::uint32_t>(byte_view(content).part(static_cast<std::size_t>(offset), size).size);
        return true;
    }
};
