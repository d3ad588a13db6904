#include "support/volume_builder.h"

#include <algorithm>
#include <cstring>

namespace build {

bytes pairs(const std::vector<run>& runs) {
    bytes out;
    std::int64_t lcn = 0;
    for (const run& each : runs) {
        const std::size_t at = out.size();
        const bool is_hole = each.lcn == hole;
        out.push_back(is_hole ? 0x04 : 0x84);
        poke_u32(out, at + 1, static_cast<std::uint32_t>(each.clusters));
        if (is_hole) continue;
        poke_u64(out, at + 5, static_cast<std::uint64_t>(each.lcn - lcn));
        lcn = each.lcn;
    }
    out.push_back(0);
    return out;
}

bytes content_of(const std::vector<piece>& pieces) {
    bytes out;
    for (const piece& each : pieces) {
        const auto first = static_cast<std::uint64_t>(each.cluster);
        for (std::size_t at = 0; at < each.count; ++at)
            out.push_back(each.cluster == hole ? std::uint8_t{0} : volume::fill_of(first + at / 1024));
    }
    return out;
}

volume::volume(std::uint32_t clusters, std::uint32_t cluster_size, std::uint64_t mft_cluster, std::uint16_t sector_size)
    : bytes_(std::size_t{clusters} * cluster_size), cluster_size_(cluster_size) {
    for (std::uint32_t cluster = 0; cluster < clusters; ++cluster)
        std::memset(bytes_.data() + std::size_t{cluster} * cluster_size, fill_of(cluster), cluster_size);
    std::fill_n(bytes_.begin(), 512, std::uint8_t{0});
    std::memcpy(bytes_.data() + 3, "NTFS    ", 8);
    poke_u16(bytes_, 11, sector_size);
    bytes_[13] = static_cast<std::uint8_t>(cluster_size / sector_size);
    poke_u64(bytes_, 40, bytes_.size() / sector_size - 1);
    poke_u64(bytes_, 48, mft_cluster);
    bytes_[64] = 0xF6;  // 1024 bytes
    poke_u16(bytes_, 510, 0xAA55);
}

volume& volume::put(std::uint64_t cluster, const bytes& content) {
    const std::uint64_t at = cluster * cluster_size_;
    if (at + content.size() <= bytes_.size()) std::copy(content.begin(), content.end(), bytes_.data() + at);
    return *this;
}

volume& volume::mft(const std::vector<run>& runs, const std::vector<bytes>& records, std::uint64_t declared) {
    const std::uint64_t size = declared != 0 ? declared : 1024 * (records.size() + 1);
    bytes stream = record().std_info().name(u"$MFT", both).non_resident(0x80, pairs(runs), size).on_disk();
    for (bytes each : records) {
        each.resize(1024);
        stream.insert(stream.end(), each.begin(), each.end());
    }
    std::size_t at = 0;
    for (const run& each : runs) {
        const auto held = static_cast<std::size_t>(each.clusters * cluster_size_);
        const std::size_t count = std::min(held, stream.size() - at);
        if (each.lcn != hole)
            put(static_cast<std::uint64_t>(each.lcn), bytes(stream.data() + at, stream.data() + at + count));
        at += count;
    }
    return *this;
}

}  // namespace build
