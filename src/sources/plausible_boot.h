// Does a sector look like the boot sector of an NTFS volume, field by field?
// Called by the check of a volume's offset, where a thorough run trusts the volume more than a partition table.
// Reads nothing, and is stricter than the opening of a volume, which asks for the name alone.
#pragma once

#include <cstdint>

#include "base/bytes.h"

// Every field that a volume's geometry is made of has a value that Windows could have written. `sector` is the first
// 512 bytes; shorter ones are none.
bool is_plausible_ntfs_boot(byte_view sector);
// Bytes of the volume by its boot sector, for one that is plausible.
std::uint64_t ntfs_volume_bytes(byte_view sector);
