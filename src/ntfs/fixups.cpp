#include "ntfs/fixups.h"

#include "ntfs/layout.h"

namespace {

constexpr std::uint32_t protected_by_windows = 512;

// Hands to `visit` where each protected sector's last word lies, and where the sequence keeps what belongs there; ends
// when it answers false. True: all were visited.
template <class visitor>
bool visit_words(byte_view bytes, std::uint32_t sector_size, visitor visit) {
    const std::size_t offset = bytes.u16(record_at::fixup_offset);
    const std::size_t count = bytes.u16(record_at::fixup_count);
    const std::size_t stride = fixup_stride(bytes, sector_size);
    if (stride < 2) return true;
    for (std::size_t sector = 1; sector < count && sector * stride <= bytes.size; ++sector) {
        if (!visit(sector * stride - sizeof(std::uint16_t), offset + 2 * sector)) return false;
    }
    return true;
}

}  // namespace

std::uint32_t fixup_stride(byte_view bytes, std::uint32_t sector_size) {
    const std::uint16_t count = bytes.u16(record_at::fixup_count);
    if (count < 2) return sector_size;
    const std::uint64_t sectors = count - 1u;
    const bool by_512 = sectors * protected_by_windows == bytes.size && sectors * sector_size != bytes.size;
    return by_512 ? protected_by_windows : sector_size;
}

void apply_fixups(byte_span bytes, std::uint32_t sector_size) {
    const byte_view view(bytes);
    visit_words(bytes, sector_size, [&](std::size_t word, std::size_t kept) {
        bytes.put_u16(word, view.u16(kept));
        return true;
    });
}

bool is_torn(byte_view bytes, std::uint32_t sector_size) {
    const std::uint16_t number = bytes.u16(bytes.u16(record_at::fixup_offset));
    return !visit_words(bytes, sector_size, [&](std::size_t word, std::size_t) { return bytes.u16(word) == number; });
}
