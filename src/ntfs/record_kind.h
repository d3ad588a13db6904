// What a file record or index block is by its first bytes, and how far its update sequence may reach to be taken for
// one. Called by the reads of records by number (record_read) and by position (volume). Looks at no byte behind the
// header's first eight and repairs nothing: fixups.h does.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/bytes.h"
#include "ntfs/layout.h"

enum class record_kind : std::uint8_t { none, file, index, bad };

// The highest offset and count of an update sequence that are taken.
struct fixup_limits {
    std::uint16_t offset, count;
};
constexpr fixup_limits no_fixup_limits{0xFFFF, 0xFFFF};
// The array begins inside or right behind the header; 8 sectors of 512 bytes and the check word.
constexpr fixup_limits file_fixup_limits{48, 9};

inline bool has_signature(byte_view bytes, std::string_view four) {
    return bytes.size >= four.size() && std::memcmp(bytes.data, four.data(), four.size()) == 0;
}

inline bool within(byte_view bytes, fixup_limits limits) {
    return bytes.u16(record_at::fixup_offset) <= limits.offset && bytes.u16(record_at::fixup_count) <= limits.count;
}

// "INDX" has no limits, those of "BAAD" are the caller's. `none` also for a signature outside of its limits.
inline record_kind classify_record(byte_view bytes, fixup_limits bad_limits) {
    if (has_signature(bytes, "FILE") && within(bytes, file_fixup_limits)) return record_kind::file;
    if (has_signature(bytes, "INDX")) return record_kind::index;
    if (has_signature(bytes, "BAAD") && within(bytes, bad_limits)) return record_kind::bad;
    return record_kind::none;
}
