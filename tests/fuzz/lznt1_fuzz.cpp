// Whatever the unit: its decoding ends and delivers no more than what remains of the stream. The first byte picks the
// flags, the next two what remains, in steps of 7.
#include "fuzz/target.h"
#include "ntfs/lznt1.h"

int run_input(const std::uint8_t* data, std::size_t size) {
    if (size < 3) return 0;
    const byte_view bytes(data, size);
    const std::uint64_t remaining = std::uint64_t{7} * bytes.u16(1);
    std::vector<std::uint8_t> out = {0x5A};
    const bool good = decode_compression_unit(bytes.part(3, size), remaining, bytes.u8(0), out);
    if (out.size() - 1 > remaining || out[0] != 0x5A) std::abort();
    if (good && size == 3) std::abort();
    return 0;
}
