// Runs of a non-resident attribute: the two mapping-pair decoders and the two shapes of a run.
// Called by attribute decoding (cluster_run, for reports) and by stream reads (stream_run).
// Does not read the volume and does not check that a cluster exists: the read does.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"

// The bytes of one mapping pair: a header byte, up to 15 length bytes, up to 15 offset bytes.
struct mapping_pair_bytes {
    std::array<std::uint8_t, 31> bytes{};
    std::uint8_t count = 0;
    std::uint8_t offset_width() const { return static_cast<std::uint8_t>(bytes[0] >> 4); }
};

// A run as reports see it.
struct cluster_run {
    std::uint64_t lcn = 0;  // absolute; a run without offset field keeps the running LCN (decode_runs) or is all ones
    std::uint64_t lcn_delta =
        0;  // magnitude of the offset field; 0: no offset (decode_runs), all ones (decode_runs_with_text)
    std::uint32_t clusters = 0;
    std::uint64_t start_vcn = 0;  // decode_runs only
    bool delta_negative = false;
    bool resident = false;  // carries resident bytes, no clusters
    std::vector<std::uint8_t> resident_bytes;
    std::uint32_t resident_length = 0;
    std::uint32_t attr_type = 0;
    std::string text;  // decode_runs_with_text only
    mapping_pair_bytes raw_pair;
    std::uint64_t pair_offset = 0;  // from the attribute's start
    std::array<std::uint8_t, 3> following_bytes{};
};

// A run as reads see it.
struct stream_run {
    std::uint64_t lcn = 0;  // 0 when sparse
    std::uint64_t vcn = 0;
    bool sparse = false;
    std::uint32_t clusters = 0;
};

// Runs of record 0, each with its text. `pairs` begins at the first header byte. False when that byte is 0.
// The bytes are foreign: a walk ends at a header byte of 0 or with the bytes.
bool decode_runs_with_text(byte_view pairs, std::vector<cluster_run>& runs, std::uint32_t attr_type);
// Runs of any other attribute. `attribute` begins at its header and may reach beyond its length, to the record's end:
// a list without its final 0 is decoded from whatever follows. False when the attribute's length field is 0.
bool decode_runs(byte_view attribute, std::vector<cluster_run>& runs);

// True for a hole. Kept: an offset field of value 0 counts as a hole in every run but the first.
bool is_sparse_run(const std::vector<cluster_run>& runs, std::size_t index);
void to_stream_runs(const std::vector<cluster_run>& runs, std::vector<stream_run>& out);
// Adds runs of a further fragment, in order of their first VCN; a start that is there already is dropped.
void merge_cluster_runs(std::vector<cluster_run>& target, const std::vector<cluster_run>& more);
