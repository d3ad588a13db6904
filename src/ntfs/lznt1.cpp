#include "ntfs/lznt1.h"

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

#include "ntfs/streams.h"

namespace {

constexpr std::size_t chunk_size = 4096;  // decoded
constexpr std::uint16_t raw_chunk_mark = 0x3FFF;
constexpr std::uint16_t compressed_bit = 0x8000;
constexpr std::uint16_t length_mask = 0x0FFF;
constexpr std::size_t tail_probes[] = {0, 8, 0x200, 0x400};  // words of a unit's last chunk that are 0 in an empty one
constexpr std::size_t short_chunk = 9;  // bytes of a chunk that leaves no trace of the one before it

using chunk_bytes = std::array<std::uint8_t, chunk_size>;

byte_view tail_of(byte_view unit) {
    return unit.size <= chunk_size ? unit : unit.part(unit.size - chunk_size, chunk_size);
}

// True where the unit has no chunks to walk.
bool is_stored(byte_view unit, std::uint32_t flags) {
    if (unit.u16(0) == raw_chunk_mark) return false;
    if ((flags & unit_test_tail) != 0) {
        const byte_view tail = tail_of(unit);
        const bool looks_empty = std::all_of(std::begin(tail_probes), std::end(tail_probes),
                                             [tail](std::size_t at) { return tail.u64(at) == 0; });
        return !looks_empty || unit.size == chunk_size;
    }
    return (flags & read_was_made) != 0 && (flags & read_had_hole) == 0;
}

// What a decoded unit grows by, up to what remains of the stream.
struct unit_output {
    std::vector<std::uint8_t>& out;
    std::uint64_t remaining;

    // `count` bytes from `at`, zeros for those beyond the end.
    std::size_t deliver(byte_view bytes, std::size_t at, std::size_t count) {
        const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(remaining, count));
        out.resize(out.size() + taken);
        bytes.copy(at, out.data() + out.size() - taken, taken);
        remaining -= taken;
        return taken;
    }
};

// One back reference: the further the output has come, the more of the word's bits are offset and the fewer length.
// False: it points ahead of the chunk.
bool copy_back(std::uint16_t word, chunk_bytes& chunk, std::size_t& done) {
    const auto shift = static_cast<unsigned>(std::bit_width(done == 0 ? 0 : (done - 1) >> 4));
    const std::size_t offset = (static_cast<std::size_t>(word) >> (12 - shift)) + 1;
    const std::size_t length = (word & (length_mask >> shift)) + std::size_t{3};
    if (offset > done) return false;
    // Byte by byte: a reference may overlap what it makes.
    for (const std::size_t end = std::min(done + length, chunk_size); done < end; ++done)
        chunk[done] = chunk[done - offset];
    return true;
}

// Kept: a chunk that ends early leaves the rest of `chunk` as the one before it did.
bool decode_chunk(byte_view input, chunk_bytes& chunk) {
    if (input.size < short_chunk) chunk.fill(0);
    std::size_t done = 0;
    for (std::size_t at = 0; at < input.size && done < chunk_size;) {
        unsigned tokens = input.u8(at++);
        for (int token = 0; token < 8 && at < input.size && done < chunk_size; ++token, tokens >>= 1) {
            if ((tokens & 1) == 0) {
                chunk[done++] = input.u8(at++);
                continue;
            }
            if (input.size - at < 2) return true;
            if (!copy_back(input.u16(at), chunk, done)) return false;
            at += 2;
        }
    }
    return true;
}

// A unit that turns out to hold no chunks: taken as it is stored, unless its end says that it is not.
bool take_as_stored(byte_view unit, unit_output& output) {
    if (tail_of(unit).is_all_zero()) return false;
    output.deliver(unit, 0, unit.size);
    return true;
}

bool walk_chunks(byte_view unit, unit_output& output) {
    chunk_bytes chunk{};
    for (std::size_t at = 0; at < unit.size && output.remaining > 0;) {
        const std::uint16_t header = unit.u16(at);
        const std::size_t length = header & length_mask;
        if (header >= compressed_bit) {
            if (!decode_chunk(unit.part(at + 2, length + 1), chunk)) return take_as_stored(unit, output);
            output.deliver({chunk.data(), chunk.size()}, 0, chunk_size);
            at += length + 3;
        } else if (length == length_mask) {
            at += 2 + output.deliver(unit, at + 2, chunk_size);
        } else if (length == 0) {
            at = (at / chunk_size + 1) * chunk_size;
        } else {
            return take_as_stored(unit, output);
        }
    }
    return true;
}

}  // namespace

bool decode_compression_unit(byte_view unit, std::uint64_t remaining, std::uint32_t flags,
                             std::vector<std::uint8_t>& out) {
    if (unit.size == 0) return false;
    unit_output output{out, remaining};
    const bool is_hole = (flags & read_had_hole) != 0 && unit.is_all_zero();
    if (is_hole || is_stored(unit, flags)) {
        output.deliver(unit, 0, unit.size);
        return true;
    }
    return walk_chunks(unit, output);
}
