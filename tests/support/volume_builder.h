// NTFS volumes for tests: a boot sector, clusters that know their number, and an $MFT wherever its runs put it.
// Used by unit tests and to seed the fuzz corpora. A builder writes what is valid; a test then damages it.
// Knows nothing of the reader: offsets and mapping pairs are written here a second time, on purpose.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "support/record_builder.h"

namespace build {

// One mapping pair: `lcn` is the absolute first cluster.
struct run {
    std::uint64_t clusters;
    std::int64_t lcn;
};
constexpr std::int64_t hole = -1;

// Bytes from the start of a cluster on, and of those behind it; of a hole: zeros.
struct piece {
    std::int64_t cluster;
    std::size_t count = 1024;
};
bytes content_of(const std::vector<piece>& pieces);

// Mapping pairs with fields of 4 and 8 bytes, their final 0 included.
bytes pairs(const std::vector<run>& runs);

class volume {
public:
    // Every cluster is filled with `fill_of` its number. $MFT begins at `mft_cluster`, as the boot sector says.
    volume(std::uint32_t clusters, std::uint32_t cluster_size = 1024, std::uint64_t mft_cluster = 4,
           std::uint16_t sector_size = 512);

    // Content that lies outside of the volume is left out.
    volume& put(std::uint64_t cluster, const bytes& content);
    // Record 0 with a non-resident $DATA of these runs at the $MFT's first cluster, and `records` behind it, in the
    // order of the runs. Empty items are zeros.
    volume& mft(const std::vector<run>& runs, const std::vector<bytes>& records = {}, std::uint64_t declared = 0);

    static std::uint8_t fill_of(std::uint64_t cluster) { return static_cast<std::uint8_t>(1 + cluster % 250); }
    const bytes& all() const { return bytes_; }

private:
    bytes bytes_;
    std::uint32_t cluster_size_;
};

}  // namespace build
