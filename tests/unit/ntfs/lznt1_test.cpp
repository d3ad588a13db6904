#include "ntfs/lznt1.h"

#include <gtest/gtest.h>

#include <string_view>

#include "ntfs/streams.h"
#include "support/record_builder.h"

namespace {

using build::bytes, build::operator+;

constexpr std::uint32_t with_hole = read_was_made | read_had_hole;
constexpr std::size_t unit_size = 16 * 1024;
constexpr std::uint64_t plenty = 1 << 20;

bytes times(std::size_t count, std::uint8_t value) { return bytes(count, value); }
bytes text(std::string_view words) { return {words.begin(), words.end()}; }

// A unit that begins with `head`; zeros behind it unless the last byte is to be something.
bytes unit(bytes head, std::uint8_t last = 0) {
    head.resize(unit_size);
    head.back() = last;
    return head;
}

// A compressed chunk around its tokens.
bytes chunk(const bytes& tokens) {
    bytes header;
    build::poke_u16(header, 0, static_cast<std::uint16_t>(0xB000 | (tokens.size() - 1)));
    return header + tokens;
}

bytes padded(bytes head, std::size_t size = 4096) {
    head.resize(size);
    return head;
}

}  // namespace

// The example of the algorithm's published description.
TEST(lznt1, the_published_example) {
    const bytes packed = {0x38, 0xb0, 0x88, 0x46, 0x23, 0x20, 0x00, 0x20, 0x47, 0x20, 0x41, 0x00, 0x10, 0xa2, 0x47,
                          0x01, 0xa0, 0x45, 0x20, 0x44, 0x00, 0x08, 0x45, 0x01, 0x50, 0x79, 0x00, 0xc0, 0x45, 0x20,
                          0x05, 0x24, 0x13, 0x88, 0x05, 0xb4, 0x02, 0x4a, 0x44, 0xef, 0x03, 0x58, 0x02, 0x8c, 0x09,
                          0x16, 0x01, 0x48, 0x45, 0x00, 0xbe, 0x00, 0x9e, 0x00, 0x04, 0x01, 0x18, 0x90, 0x00};
    bytes out;
    EXPECT_TRUE(decode_compression_unit(packed, 142, with_hole, out));
    EXPECT_EQ(out,
              text("F# F# G A A G F# E D D E F# F# E E F# F# G A A G F# E D D E F# E D D E E F# D E F# G F# D E F# "
                   "G F# E D E A F# F# G A A G F# E D D E F# E D D") +
                  bytes(1));
}

TEST(lznt1, a_unit_is_stored_or_a_row_of_chunks) {
    const bytes abc = {0x00, 'a', 'b', 'c'};       // three plain bytes
    const bytes repeat = {0x02, 'x', 0xFC, 0x0F};  // "x", then 4095 of it
    const bytes ahead = {0x02, 'x', 0x00, 0x20};   // an offset of 3 after one byte
    const bytes long_abc = {0x00, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x00, 'i'};
    const bytes raw = bytes{0xFF, 0x3F} + times(4096, 7), odd = unit({0x05, 0x10}, 9);
    const bytes xs = chunk(repeat), many_x = times(4096, 'x'), padded_abc = padded(text("abc"));
    const struct {
        const char* what;
        bytes unit;
        std::uint64_t remaining;
        std::uint32_t flags;
        bool good;
        bytes out;
    } cases[] = {
        {"no hole: stored", unit(chunk(abc), 1), plenty, read_was_made, true, unit(chunk(abc), 1)},
        {"stored, up to what remains", unit(chunk(abc), 1), 5, read_was_made, true, chunk(abc)},
        {"a chunk decodes to 4096 bytes", unit(chunk(abc)), plenty, with_hole, true, padded_abc},
        {"a unit whose read nothing is known of has chunks", unit(chunk(abc)), plenty, 0, true, padded_abc},
        {"cut at what remains", unit(chunk(abc)), 2, with_hole, true, text("ab")},
        {"nothing remains: nothing can fail", unit(times(8, 1), 1), 0, with_hole, true, {}},
        {"a reference that overlaps itself", unit(xs), plenty, with_hole, true, many_x},
        {"a short chunk clears the one before", unit(xs + chunk(abc)), plenty, with_hole, true, many_x + padded_abc},
        {"a longer one leaves the rest", unit(xs + chunk(long_abc)), plenty, with_hole, true,
         many_x + text("abcdefghi") + times(4087, 'x')},
        {"a raw chunk, no hole", unit(raw + chunk(abc)), plenty, read_was_made, true, times(4096, 7) + padded_abc},
        {"a raw chunk cut by what remains", unit(raw), 10, with_hole, true, times(10, 7)},
        {"a zero header: on at 4096", unit(padded(chunk(abc)) + xs), plenty, with_hole, true, padded_abc + many_x},
        {"a zero header at a 4096, too", unit(bytes(4096) + chunk(abc)), plenty, with_hole, true, padded_abc},
        {"only a hole: zeros", unit({}), plenty, with_hole, true, bytes(unit_size)},
        {"only a hole, up to what remains", unit({}), 9, with_hole, true, bytes(9)},
        {"zeros of which nothing is known", unit({}), plenty, 0, true, {}},
        {"an odd header in front of zeros", unit({0x05, 0x10}), plenty, with_hole, false, {}},
        {"an odd header, then data: stored", odd, plenty, with_hole, true, odd},
        {"a bad reference in front of zeros", unit(chunk(ahead)), plenty, with_hole, false, {}},
        {"a bad reference, then data: stored", unit(chunk(ahead), 9), plenty, with_hole, true, unit(chunk(ahead), 9)},
        {"damage behind a good chunk", unit(xs + chunk(ahead)), plenty, with_hole, false, many_x},
        {"a reference cut in half ends the chunk", chunk({0x02, 'x', 0xFC}), plenty, with_hole, true, padded({'x'})},
        {"a chunk that runs off the unit", {0xFF, 0xBF, 0x00, 'a'}, plenty, with_hole, true, padded(text("a"))},
        {"a raw chunk that runs off the unit", {0xFF, 0x3F, 'a'}, 6, with_hole, true, padded(text("a"), 6)},
        {"no unit", {}, plenty, with_hole, false, {}},
    };
    for (const auto& c : cases) {
        bytes out;
        EXPECT_EQ(decode_compression_unit(c.unit, c.remaining, c.flags, out), c.good) << c.what;
        EXPECT_EQ(out, bytes(c.out.data(), c.out.data() + std::min<std::uint64_t>(c.out.size(), c.remaining)))
            << c.what;
    }
}

TEST(lznt1, the_end_of_a_unit_tells_whether_it_is_stored_when_that_is_asked) {
    const bytes packed = chunk({0x00, 'a', 'b', 'c'});
    const std::tuple<int, int, bool> cases[] = {{0, 0, false},    {0, 1, true},   {15, 1, true},    {0x207, 1, true},
                                                {0x400, 1, true}, {16, 1, false}, {0x300, 1, false}};
    for (const auto& [at, value, stored] : cases) {
        bytes whole = unit(packed);
        whole[unit_size - 4096 + static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(value);
        bytes out;
        EXPECT_TRUE(decode_compression_unit(whole, plenty, unit_test_tail, out)) << at;
        EXPECT_EQ(out == whole, stored) << at;
    }
    bytes out;
    EXPECT_TRUE(decode_compression_unit(padded(packed), plenty, unit_test_tail, out));
    EXPECT_EQ(out, padded(packed)) << "a unit of 4096 bytes is its own end";
}

// Where the output passes 16, 32, 64 ... bytes, a bit of the word goes from length to offset.
TEST(lznt1, the_bits_of_a_reference_shift_with_the_output) {
    for (unsigned shift = 0; shift <= 7; ++shift) {
        for (const std::size_t done : {std::size_t{16} << shift, (std::size_t{16} << shift) + 1}) {
            bytes tokens;
            for (std::size_t at = 0; at < done; ++at) {
                if (at % 8 == 0) tokens.push_back(0);
                tokens.push_back(static_cast<std::uint8_t>(1 + at % 251));
            }
            if (done % 8 == 0)
                tokens.push_back(1);
            else
                tokens[done / 8 * 9] = static_cast<std::uint8_t>(1 << (done % 8));
            // Back to the chunk's first byte, and one ahead of it.
            const unsigned bits = 12 - (done > (std::size_t{16} << shift) ? shift + 1 : shift);
            for (const std::size_t beyond : {std::size_t{0}, std::size_t{1}}) {
                if (((done - 1 + beyond) << bits) > 0xFFFF) continue;
                const auto word = static_cast<std::uint16_t>(((done - 1 + beyond) << bits) | 1);  // four bytes
                bytes packed = tokens, out;
                build::poke_u16(packed, packed.size(), word);
                ASSERT_EQ(decode_compression_unit(unit(chunk(packed)), plenty, with_hole, out), beyond == 0) << done;
                if (beyond != 0) continue;
                EXPECT_EQ(bytes(&out[done], &out[done] + 5), (bytes{1, 2, 3, 4, 0})) << done;
            }
        }
    }
}
