#include "ntfs/runs.h"

#include <algorithm>
#include <cstdio>

#include "ntfs/layout.h"

namespace {

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// One mapping pair: header, length field, offset field. Fields may claim up to 15 bytes; what a 64-bit number cannot
// hold adds nothing.
struct mapping_pair {
    std::uint8_t header = 0;
    std::size_t length_width = 0, offset_width = 0;
    std::size_t at = 0;
    std::uint64_t offset = 0;  // as stored, unsigned
    bool negative = false;

    std::size_t bytes() const { return 1 + length_width + offset_width; }
    std::size_t length_at() const { return at + 1; }
    std::size_t offset_at() const { return at + 1 + length_width; }
    // Of the signed offset, in two's complement within the field's width.
    std::uint64_t magnitude() const {
        if (!negative) return offset;
        const std::uint64_t negated = 0 - offset;
        return offset_width < 8 ? negated & ~(all_ones << (8 * offset_width)) : negated;
    }
};

std::uint64_t field_of_width(byte_view bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t index = std::min<std::size_t>(width, 8); index-- > 0;) value = (value << 8) | bytes.u8(at + index);
    return value;
}

// False at a header of 0, which the end of the bytes reads as.
bool read_pair(byte_view pairs, std::size_t at, mapping_pair& pair) {
    pair.header = pairs.u8(at);
    if (pair.header == 0) return false;
    pair.at = at;
    pair.length_width = pair.header & 0x0F;
    pair.offset_width = pair.header >> 4;
    pair.offset = field_of_width(pairs, pair.offset_at(), pair.offset_width);
    pair.negative = pair.offset_width > 0 && (pairs.u8(pair.offset_at() + pair.offset_width - 1) & 0x80) != 0;
    return true;
}

// Kept: a length of more than four bytes wraps around within 32 bits.
std::uint32_t length_modulo_32_bits(byte_view pairs, const mapping_pair& pair) {
    std::uint32_t length = 0;
    for (std::size_t index = pair.length_width; index-- > 0;) {
        length |= static_cast<std::uint32_t>(pairs.u8(pair.length_at() + index)) << ((8 * index) % 32);
    }
    return length;
}

template <class... numbers>
void append_format(std::string& text, const char* format, numbers... values) {
    char piece[256];
    std::snprintf(piece, sizeof piece, format, static_cast<unsigned>(values)...);
    text += piece;
}

void describe_step(std::string& text, const mapping_pair& pair, std::uint64_t from, std::uint64_t to) {
    append_format(text, pair.negative ? "\tlcn: 0x%x - " : "\tlcn: 0x%x + ", from);
    append_format(text, "0x%x = ", pair.magnitude());
    append_format(text, "0x%x\n", to);
}

}  // namespace

bool decode_runs_with_text(byte_view pairs, std::vector<described_run>& runs, std::uint32_t attr_type,
                           std::size_t most) {
    mapping_pair pair;
    std::uint64_t lcn = 0;
    std::size_t at = 0;
    for (; runs.size() < most && read_pair(pairs, at, pair); at += pair.bytes()) {
        described_run& run = runs.emplace_back();
        run.clusters = length_modulo_32_bits(pairs, pair);
        run.attr_type = attr_type;
        run.offset_width = static_cast<std::uint8_t>(pair.offset_width);
        run.lcn_delta = all_ones;
        append_format(run.text, "\thdr: 0x%x, 0x%x byte length, 0x%x byte offset\n", pair.header, pair.length_width,
                      pair.offset_width);
        append_format(run.text, "\tnum clusters: 0x%x\n", run.clusters);
        run.lcn = all_ones;
        if (pair.offset_width == 0) continue;
        const std::uint64_t from = lcn;
        lcn = pair.negative ? lcn - pair.magnitude() : lcn + pair.magnitude();
        run.lcn = lcn;
        describe_step(run.text, pair, from, lcn);
    }
    return at > 0;
}

bool decode_runs(byte_view attribute, std::vector<cluster_run>& runs, std::size_t most) {
    if (attribute.u32(attribute_at::length) == 0) return false;
    const std::uint32_t type = attribute.u32(attribute_at::type);
    std::uint64_t vcn = attribute.u64(attribute_at::first_vcn);
    std::uint64_t lcn = 0;
    mapping_pair pair;
    for (std::size_t at = attribute.u16(attribute_at::pairs_offset);
         runs.size() < most && read_pair(attribute, at, pair); at += pair.bytes()) {
        // A pair without an offset leaves lcn alone: the next delta counts from the last real run.
        lcn = pair.negative ? lcn - pair.magnitude() : lcn + pair.magnitude();
        cluster_run& run = runs.emplace_back();
        run.lcn = lcn;
        run.lcn_delta = pair.magnitude();
        run.delta_negative = pair.negative;
        run.clusters = static_cast<std::uint32_t>(field_of_width(attribute, pair.length_at(), pair.length_width));
        run.start_vcn = vcn;
        run.attr_type = type;
        run.pair_offset = static_cast<std::uint32_t>(at);
        run.offset_width = static_cast<std::uint8_t>(pair.offset_width);
        vcn += run.clusters;
    }
    return true;
}

bool is_sparse_run(const std::vector<cluster_run>& runs, std::size_t index) {
    const cluster_run& run = runs[index];
    if (run.lcn_delta != 0) return false;
    return index != 0 || run.offset_width == 0;
}

void to_stream_runs(const std::vector<cluster_run>& runs, std::vector<stream_run>& out) {
    out.clear();
    out.reserve(runs.size());
    for (std::size_t index = 0; index < runs.size(); ++index) {
        const bool sparse = is_sparse_run(runs, index);
        out.push_back({sparse ? 0 : runs[index].lcn, runs[index].start_vcn, sparse, runs[index].clusters});
    }
}

void join_runs(std::vector<cluster_run>& runs) {
    const auto by_start = [](const cluster_run& left, const cluster_run& right) {
        return left.start_vcn < right.start_vcn;
    };
    const auto same_start = [](const cluster_run& left, const cluster_run& right) {
        return left.start_vcn == right.start_vcn;
    };
    // Parts mostly come in order.
    if (!std::is_sorted(runs.begin(), runs.end(), by_start)) std::stable_sort(runs.begin(), runs.end(), by_start);
    runs.erase(std::unique(runs.begin(), runs.end(), same_start), runs.end());
}
