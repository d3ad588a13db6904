// Directory indexes for tests: entries, nodes, roots and blocks as they lie on the disk.
// Used by unit tests of listings and lookups. Damage is a valid thing with a byte changed.
// Knows nothing of the reader: offsets are written here a second time, on purpose.
#pragma once

#include <algorithm>

#include "support/record_builder.h"

namespace build {

inline bytes index_entry(std::uint64_t reference, std::uint32_t flags = 0, std::uint16_t length = 0x60) {
    bytes out(length);
    poke_u64(out, 0, reference);
    poke_u32(out, 8, (reference == 0 ? 0u : 0x52u << 16) | length);
    poke_u32(out, 12, flags);
    return out;
}

// The entry that ends a node is added; `gap` bytes lie between the node's header and its entries.
inline bytes index_node(std::vector<bytes> entries, std::size_t gap = 0) {
    bytes out(16 + gap);
    poke_u32(out, 0, static_cast<std::uint32_t>(out.size()));
    entries.push_back(index_entry(0, 2, 16));
    for (const bytes& entry : entries) out = out + entry;
    poke_u32(out, 4, static_cast<std::uint32_t>(out.size()));
    return out;
}

inline bytes index_root(const std::vector<std::uint64_t>& children, std::uint32_t type = 0x30) {
    std::vector<bytes> entries;
    for (const std::uint64_t child : children) entries.push_back(index_entry(reference(child, 1)));
    bytes out = index_node(entries);
    out.insert(out.begin(), 16, 1);  // an index record size that is not 0
    poke_u32(out, 0, type);
    return out;
}

// 4096 bytes with an update sequence of 512-byte sectors; entries of 0x60 bytes lie across sector ends.
inline bytes index_block(const std::vector<bytes>& entries) {
    bytes out = index_node(entries, 24);
    out.insert(out.begin(), 24, 0);
    out.resize(4096);
    std::copy_n("INDX", 4, out.begin());
    poke_u32(out, 4, 9 << 16 | 40);
    for (std::ptrdiff_t k = 1; k < 9; ++k) {
        std::copy_n(out.begin() + 512 * k - 2, 2, out.begin() + 40 + 2 * k);
        out[static_cast<std::size_t>(512 * k - 2)] = 0xCD;
    }
    return out;
}

inline bytes index_block(std::uint64_t first_child, std::uint64_t count) {
    std::vector<bytes> entries;
    for (std::uint64_t child = 0; child < count; ++child) entries.push_back(index_entry(first_child + child));
    return index_block(entries);
}

// The value of a mount point, and of a symbolic link, whose path buffer `flags` precede: substitute and print name.
inline bytes reparse(std::u16string_view substitute, std::u16string_view print, const bytes& flags) {
    const bytes names = flags + utf16_bytes(substitute) + utf16_bytes(print);
    const auto first = static_cast<std::uint16_t>(2 * substitute.size());
    bytes value(16);
    poke_u16(value, 4, static_cast<std::uint16_t>(8 + names.size()));
    poke_u16(value, 10, first);
    poke_u16(value, 12, first);
    poke_u16(value, 14, static_cast<std::uint16_t>(2 * print.size()));
    return value + names;
}

// A directory whose root holds these children.
inline record directory(std::u16string_view name, const std::vector<std::uint64_t>& children,
                        std::uint64_t parent = 5) {
    return record()
        .directory()
        .std_info()
        .name(name, win32, reference(parent, 1))
        .resident(0x90, index_root(children), u"$I30");
}

}  // namespace build
