// Decoding of one NTFS compression unit: stored plainly, or as a row of LZNT1 chunks.
// Called by the read of compressed streams, unit by unit. All bytes are foreign.
// Reads no volume, and does not know where a unit lies or how many there are.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"

// Appends at most `remaining` bytes to `out`. `flags` are those of the read that brought the unit (read_flag).
// False: the unit is damaged, though `out` may hold what came before the damage.
bool decode_compression_unit(byte_view unit, std::uint64_t remaining, std::uint32_t flags,
                             std::vector<std::uint8_t>& out);
