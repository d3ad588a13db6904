// Directory indexes for tests: entries, nodes, roots and blocks as they lie on the disk.
// Used by unit tests of listings and lookups. Damage is a valid thing with a byte changed.
// Knows nothing of the reader: offsets are written here a second time, on purpose.
#pragma once

#include <algorithm>
#include <string_view>

#include "support/record_builder.h"

namespace build {

inline bytes index_entry(std::uint64_t reference, std::uint16_t flags = 0, std::uint16_t length = 0x60) {
    bytes out(length);
    poke_u64(out, 0, reference);
    poke_u16(out, 8, length);
    poke_u16(out, 10, reference == 0 ? 0 : 0x52);
    poke_u16(out, 12, flags);
    return out;
}

// The entry that ends a node included.
inline bytes index_node(const std::vector<bytes>& entries) {
    bytes out(16);
    poke_u32(out, 0, 16);
    for (const bytes& entry : entries) out.insert(out.end(), entry.begin(), entry.end());
    const bytes last = index_entry(0, 2, 16);
    out.insert(out.end(), last.begin(), last.end());
    poke_u32(out, 4, static_cast<std::uint32_t>(out.size()));
    return out;
}

inline bytes index_node_of(const std::vector<std::uint64_t>& children) {
    std::vector<bytes> entries;
    for (const std::uint64_t child : children) entries.push_back(index_entry(reference(child, 1)));
    return index_node(entries);
}

inline bytes index_root(const bytes& node, std::uint32_t type = 0x30) {
    bytes out(16);
    poke_u32(out, 0, type);
    poke_u32(out, 8, 4096);
    out.insert(out.end(), node.begin(), node.end());
    return out;
}

// 4096 bytes, their update sequence in place.
inline bytes index_block(const bytes& node, std::size_t sector = 512) {
    bytes out(24 + 40);
    std::copy_n("INDX", 4, out.begin());
    const auto count = static_cast<std::uint16_t>(4096 / sector + 1);
    poke_u16(out, 4, 40);
    poke_u16(out, 6, count);
    std::copy(node.begin(), node.begin() + 16, out.begin() + 24);
    poke_u32(out, 24, 16 + 24);
    poke_u32(out, 28, static_cast<std::uint32_t>(node.size() + 24));
    out.insert(out.end(), node.begin() + 16, node.end());
    out.resize(4096);
    for (std::uint16_t k = 1; k < count; ++k) {
        std::copy_n(out.begin() + static_cast<std::ptrdiff_t>(k * sector - 2), 2, out.begin() + 40 + 2 * k);
        poke_u16(out, k * sector - 2, 0xABCD);
    }
    return out;
}

// A directory whose root holds these children.
inline record directory(std::u16string_view name, const std::vector<std::uint64_t>& children, std::uint64_t parent = 5) {
    record made;
    made.directory().std_info().name(name, win32, reference(parent, 1));
    return made.resident(0x90, index_root(index_node_of(children)), u"$I30");
}

}  // namespace build
