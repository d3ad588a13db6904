// What is left to try when the system refuses a block of lines whole, as a full disk may.
// Called by every write of this folder; depends on no system.
// Writes nothing itself.
#pragma once

#include <cstddef>
#include <cstring>

// Bytes of the block's first line, its end included: lines that still fit are to be in the file. 0: it is one line.
inline std::size_t first_line_of(const char* block, std::size_t count) {
    const void* const feed = std::memchr(block, '\n', count);
    if (feed == nullptr) return 0;
    const auto size = static_cast<std::size_t>(static_cast<const char*>(feed) - block) + 1;
    return size < count ? size : 0;
}
