// Runs of a non-resident attribute: the two mapping-pair decoders and the two shapes of a run.
// Called by attribute decoding (cluster_run, for reports) and by stream reads (stream_run).
// Does not read the volume and does not check that a cluster exists: the read does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"

// A run as reports see it. A fragmented file has a million of them, so that a run takes 40 bytes: of its mapping pair
// only the place and the width of the offset field are kept, for the pair's bytes lie in the attribute's own.
struct cluster_run {
    std::uint64_t lcn = 0;  // absolute; a run without offset field keeps the running LCN (decode_runs) or is all ones
    std::uint64_t lcn_delta =
        0;  // magnitude of the offset field; 0: no offset (decode_runs), all ones (decode_runs_with_text)
    std::uint64_t start_vcn = 0;  // decode_runs only
    std::uint32_t clusters = 0;
    std::uint32_t attr_type = 0;
    std::uint32_t pair_offset = 0;  // from the attribute's start; decode_runs only
    std::uint8_t offset_width = 0;  // bytes of the pair's offset field
    bool delta_negative = false;
};

// A run of record 0, or the value of a resident attribute in its place.
struct described_run : cluster_run {
    std::string text;
    bool resident = false;  // carries resident bytes, no clusters
    std::uint32_t resident_length = 0;
    std::vector<std::uint8_t> resident_bytes;
};

// A run as reads see it.
struct stream_run {
    std::uint64_t lcn = 0;  // 0 when sparse
    std::uint64_t vcn = 0;
    bool sparse = false;
    std::uint32_t clusters = 0;
};

// Guard: what one record may cost in memory, whatever its lists of runs say.
constexpr std::size_t record_cost_limit = 64 * 1024 * 1024;
constexpr std::size_t most_runs = record_cost_limit / sizeof(cluster_run);
// Of $MFT, whatever its size. Their texts take more than the runs.
constexpr std::size_t most_described_runs = record_cost_limit / (2 * sizeof(described_run));

// Runs of record 0, each with its text. `pairs` begins at the first header byte. False when that byte is 0.
// The bytes are foreign: a walk ends at a header byte of 0 or with the bytes, or where `runs` has grown to `most`.
bool decode_runs_with_text(byte_view pairs, std::vector<described_run>& runs, std::uint32_t attr_type,
                           std::size_t most = most_runs);
// Runs of any other attribute. `attribute` begins at its header and may reach beyond its length, to the record's end:
// a list without its final 0 is decoded from whatever follows. Ends where `runs` has grown to `most`. False when the
// attribute's length field is 0.
bool decode_runs(byte_view attribute, std::vector<cluster_run>& runs, std::size_t most = most_runs);

// True for a hole. Kept: an offset field of value 0 counts as a hole in every run but the first.
bool is_sparse_run(const std::vector<cluster_run>& runs, std::size_t index);
void to_stream_runs(const std::vector<cluster_run>& runs, std::vector<stream_run>& out);
// Puts the runs of several parts, one list behind the other, in order of their first VCN; of those with the same start
// the first stays.
void join_runs(std::vector<cluster_run>& runs);
