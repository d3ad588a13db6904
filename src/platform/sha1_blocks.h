// SHA-1 by the processor's own instructions, where it has them.
// Called by extract/sha1, which has the portable form.
// Depends on the processor, not on the system: one source serves both.
#pragma once

#include <cstddef>
#include <cstdint>

// Runs `count` blocks of 64 bytes into the five words of `state`.
using sha1_block_function = void (*)(std::uint32_t* state, const std::uint8_t* blocks, std::size_t count);

// Null if this processor has no such instructions.
sha1_block_function hardware_sha1_blocks();
