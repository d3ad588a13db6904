#include "ntfs/fixups.h"

#include "ntfs/layout.h"

namespace {

constexpr std::uint32_t protected_by_windows = 512;

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
    const std::size_t offset = view.u16(record_at::fixup_offset);
    const std::size_t count = view.u16(record_at::fixup_count);
    const std::size_t stride = fixup_stride(bytes, sector_size);
    if (count < 2 || stride < 2) return;
    for (std::size_t sector = 1; sector < count && sector * stride <= bytes.size; ++sector) {
        bytes.put_u16(sector * stride - sizeof(std::uint16_t), view.u16(offset + 2 * sector));
    }
}

bool is_torn(byte_view bytes, std::uint32_t sector_size) {
    const std::uint16_t number = bytes.u16(bytes.u16(record_at::fixup_offset));
    const std::size_t count = bytes.u16(record_at::fixup_count);
    const std::size_t stride = fixup_stride(bytes, sector_size);
    if (stride < 2) return false;
    for (std::size_t sector = 1; sector < count && sector * stride <= bytes.size; ++sector) {
        if (bytes.u16(sector * stride - sizeof(std::uint16_t)) != number) return true;
    }
    return false;
}
