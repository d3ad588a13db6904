#include "ntfs/stream_parts.h"

#include <iterator>

void stream_parts::add(const stream_identity& stream, std::uint64_t first_vcn, std::uint64_t key) {
    part_keys& parts = streams[stream];
    auto behind = parts.upper_bound(first_vcn);
    if (behind != parts.begin() && std::prev(behind)->second <= key) return;
    while (behind != parts.end() && behind->second >= key) behind = parts.erase(behind);
    parts[first_vcn] = key;
}

bool stream_parts::find_earlier(const stream_identity& stream, std::uint64_t first_vcn, std::uint64_t& key) const {
    const auto found = streams.find(stream);
    if (found == streams.end()) return false;
    const auto behind = found->second.lower_bound(first_vcn);
    if (behind == found->second.begin()) return false;
    key = std::prev(behind)->second;
    return true;
}

void stream_parts::clear() {
    if (in_use) streams.clear();
    in_use = false;
}
