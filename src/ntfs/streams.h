// Reads of streams through their runs: any byte range, compressed streams unit by unit, whole attributes.
// Called by filters, path lookups, the free-cluster scan, digests and the copy-out.
// Does not decode runs (runs.h). The larger of a stream's real and initialised size counts as its length.
#pragma once

#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "ntfs/runs.h"

struct attr_entry;
struct diagnostic_log;
struct ntfs_volume;
struct plain_file;

// The in/out word of a stream read. The values are also those that decode_compression_unit takes.
enum read_flag : std::uint32_t {
    read_skips_holes = 0x01,  // in: leave out sparse clusters instead of delivering zeros
    read_had_hole = 0x02,     // out: a sparse cluster was delivered as zeros
    unit_test_tail = 0x04,    // to the unit decoder: whether a unit is stored plainly shows in its last bytes
    read_was_made = 0x08,     // out: always
    read_at_start = 0x10,     // out: began at a cluster number whose low 16 bits are 0
    read_one_unit = 0x20,     // out: as before, and ended 16 clusters on
};

constexpr std::uint32_t clusters_per_unit = 16;  // whatever an attribute says of its compression unit

// Where delivered bytes go. A false from `take` ends the read.
struct stream_sink {
    bool (*take)(void* target, byte_view bytes) = nullptr;
    void* target = nullptr;
};
stream_sink sink_into(std::vector<std::uint8_t>& bytes);
stream_sink sink_into(plain_file& file);  // behind what was written to it

// The runs of one stream, with the place where the last look-up ended.
struct stream_runs {
    std::vector<stream_run> runs;
    std::size_t passed = 0;  // no run ahead of this index holds passed_vcn, nor a higher number within passed_low
    std::uint64_t passed_vcn = 0;
    bool passed_low = false;  // it lies ahead of the first run's

    stream_runs() = default;
    explicit stream_runs(const std::vector<cluster_run>& decoded) { to_stream_runs(decoded, runs); }
};

// The first run in list order that holds `vcn`; `lcn` is 0 in a hole. Cheap for rising numbers.
bool lookup_vcn(stream_runs& stream, std::uint64_t vcn, std::size_t& index, std::uint64_t& lcn);
// Bytes that the runs hold.
std::uint64_t run_bytes(const std::vector<stream_run>& runs, std::uint32_t cluster_size, bool skip_holes);
// Bytes of a non-resident stream, as many as its runs hold.
std::uint64_t stream_size(const attr_entry& attribute, std::uint32_t cluster_size);
// Without its holes, and renumbered, so that they close up.
void drop_sparse_runs(stream_runs& stream);

// `size` bytes (below 2^31) of the stream from `byte_offset`; `size` takes what came. False: nothing came.
// Kept: where the runs end short of the range, the last cluster found is cut as if it were the range's last.
bool read_stream(ntfs_volume& volume, stream_runs& stream, std::uint64_t byte_offset, std::uint8_t* buffer,
                 std::uint32_t& size, std::uint32_t& flags);

// Attribute flags exactly "compressed", with a compression unit and a compressed size.
bool is_compressed_attribute(const attr_entry& attribute);
// True once `data_size` bytes of stream were read; a unit that cannot be read or decoded ends it early.
bool read_compressed_stream(ntfs_volume& volume, const stream_sink& sink, stream_runs& stream, std::uint64_t data_size,
                            std::uint64_t allocated_size);

// What a plain read delivers of a stream.
struct plain_extent {
    std::uint64_t data_size = 0;                // bytes
    std::uint64_t written = ~std::uint64_t{0};  // from here on zeros stand for what lies in the clusters
    bool is_index = false;                      // update sequences are applied
};
// Of a stream's first `data_size` bytes: by default all lie in the clusters, as the results expect. A thorough read
// ends at the initialised size: the file never held what follows, and it may be anybody's.
plain_extent extent_of(const ntfs_volume& volume, const attr_entry& attribute, std::uint64_t data_size);
// The bytes as they lie in the clusters, zeros for holes, in pieces of 16 clusters at most. False: a cluster could not
// be read, the runs ended short, or the sink refused.
bool read_plain_stream(ntfs_volume& volume, const stream_sink& sink, stream_runs& stream, plain_extent extent);

// What a resident attribute holds of its value: the copy that decoding kept, or else the bytes inside the attribute.
byte_view resident_bytes(const attr_entry& attribute);
// Update sequences of every whole index block in a piece of an index stream.
void fix_index_blocks(byte_span bytes, std::uint32_t sector_size);
// The whole attribute. True if all of it was delivered; nothing is without a volume.
bool read_attribute_data(ntfs_volume* volume, const attr_entry& attribute, const stream_sink& sink,
                         const diagnostic_log* log);
