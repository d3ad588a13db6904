#include "ntfs/fixups.h"

#include <cstring>

#include "base/bytes.h"
#include "ntfs/layout.h"

void apply_fixups(std::uint8_t* bytes, std::size_t size, std::uint32_t sector_size) {
    const byte_view view(bytes, size);
    const std::size_t offset = view.u16(record_at::fixup_offset);
    const std::size_t count = view.u16(record_at::fixup_count);
    if (count < 2 || sector_size < 2) return;
    const std::size_t sectors = size / sector_size;
    for (std::size_t sector = 1; sector < count && sector <= sectors; ++sector) {
        const std::uint16_t word = view.u16(offset + 2 * sector);
        std::memcpy(bytes + sector * sector_size - 2, &word, sizeof word);
    }
}
