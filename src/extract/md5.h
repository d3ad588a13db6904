// MD5 as RFC 1321 tells it, over bytes that come in pieces.
// Called by the stream reader of digests.h.
// Serves to name content, not to protect it: MD5 is long broken for that.
#pragma once

#include <array>
#include <cstdint>

#include "base/bytes.h"
#include "extract/message_blocks.h"

using md5_value = std::array<std::uint8_t, 16>;

struct md5_context {
    std::array<std::uint32_t, 4> state{};
    message_blocks message;

    md5_context() { init(); }
    void init();
    void update(byte_view bytes);
    // Ends the message; the context must be initialised before it is fed again.
    md5_value finish();
};
