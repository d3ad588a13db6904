#include "ntfs/streams.h"

#include <algorithm>

#include "base/diagnostic_log.h"
#include "ntfs/file_record.h"
#include "ntfs/fixups.h"
#include "ntfs/lznt1.h"
#include "ntfs/record_source.h"
#include "ntfs/volume.h"
#include "sources/plain_file.h"

namespace {

bool append_to_vector(void* target, byte_view bytes) {
    auto& out = *static_cast<std::vector<std::uint8_t>*>(target);
    out.insert(out.end(), bytes.data, bytes.data + bytes.size);
    return true;
}

bool append_to_file(void* target, byte_view bytes) {
    return write_next(static_cast<plain_file*>(target)->file, bytes.data, bytes.size);
}

bool starts_ahead(const stream_run& left, const stream_run& right) { return left.vcn < right.vcn; }

// Orders by VCN and closes the gaps: each run begins where the one before it ends.
void renumber(stream_runs& stream) {
    std::vector<stream_run>& runs = stream.runs;
    std::stable_sort(runs.begin(), runs.end(), starts_ahead);
    std::uint64_t vcn = 0;
    for (stream_run& run : runs) {
        run.vcn = vcn;
        vcn += run.clusters;
    }
    stream.passed = 0;
    stream.passed_vcn = 0;
    stream.passed_low = false;
}

// Guard: behind a first number near 2^64 the others begin again at 0, and lie ahead of the first run's. Where such
// numbers are found at the earliest.
std::size_t first_behind_wrap(const std::vector<stream_run>& runs) {
    const auto descent =
        std::adjacent_find(runs.begin(), runs.end(),
                           [](const stream_run& left, const stream_run& right) { return starts_ahead(right, left); });
    return descent == runs.end() ? runs.size() : static_cast<std::size_t>(descent - runs.begin()) + 1;
}

struct planned_cluster {
    std::uint64_t lcn = 0;
    bool hole = false;
};

// The clusters of one read, in order, made as they are asked for: a request may span millions.
class read_plan {
public:
    read_plan(stream_runs& stream, std::uint32_t cluster_size, std::uint64_t byte_offset, std::uint32_t size,
              bool skips_holes)
        : head(static_cast<std::uint32_t>(byte_offset % cluster_size)),
          tail(static_cast<std::uint32_t>((byte_offset + size) % cluster_size)),
          first(byte_offset / cluster_size),
          last((byte_offset + size) / cluster_size),
          stream_(stream),
          next_(first),
          skips_holes_(skips_holes) {}

    bool next(planned_cluster& cluster) {
        std::size_t index = 0;
        while (next_ <= last && lookup_vcn(stream_, next_, index, cluster.lcn)) {
            const std::uint64_t vcn = next_++;
            cluster.hole = stream_.runs[index].sparse;
            if (!cluster.hole || !skips_holes_) return true;
            // Kept: what a left-out cluster would have cut off its neighbour is forgotten with it.
            if (vcn == first) head = 0;
            if (vcn == last) tail = 0;
        }
        next_ = last + 1;
        return false;
    }

    std::uint32_t head, tail;  // bytes of the first cluster ahead of the range; bytes of the last one inside it
    std::uint64_t first, last;

private:
    stream_runs& stream_;
    std::uint64_t next_;
    bool skips_holes_;
};

// The bytes of one cluster from `skip` on, as many as `target` holds. The device is read by whole clusters; `scratch`
// holds what is not wanted.
bool read_part_of_cluster(ntfs_volume& volume, const planned_cluster& cluster, std::uint32_t skip, byte_span target,
                          std::vector<std::uint8_t>& scratch) {
    if (cluster.hole) {
        target.fill_zero();
        return true;
    }
    std::uint32_t size = volume.cluster_bytes();
    if (target.size == size) return read_clusters(volume, cluster.lcn, target.data, size);
    scratch.resize(size);
    if (!read_clusters(volume, cluster.lcn, scratch.data(), size)) return false;
    target.put(0, byte_view(scratch).part(skip, target.size));
    return true;
}

std::uint32_t position_flags(const read_plan& plan) {
    if ((plan.first & 0xFFFF) != 0) return read_was_made;
    const bool one_unit = plan.last == plan.first + clusters_per_unit;
    return read_was_made | read_at_start | (one_unit ? std::uint32_t{read_one_unit} : 0u);
}

// `size` bytes, in one system call in place of up to 16, where one run holds all the clusters; `buffer` has room for
// whole ones. False where going cluster by cluster might give something else, behind a failed read above all.
// Runs must be in order, or an earlier one could hold clusters in between.
bool read_in_one(ntfs_volume& volume, stream_runs& stream, std::uint64_t position, std::uint8_t* buffer,
                 std::uint32_t size) {
    const std::uint32_t cluster_size = volume.cluster_bytes();
    const std::uint64_t vcn = position / cluster_size, count = (std::uint64_t{size} + cluster_size - 1) / cluster_size;
    std::size_t index = 0;
    std::uint64_t lcn = 0;
    if (position % cluster_size != 0 || !lookup_vcn(stream, vcn, index, lcn)) return false;
    const stream_run& run = stream.runs[index];
    if (run.sparse || run.clusters - (vcn - run.vcn) < count) return false;
    const auto wanted = static_cast<std::uint32_t>(count * cluster_size);
    std::uint32_t got = wanted;
    return read_clusters(volume, lcn, buffer, got) && got == wanted;
}

// The same by whatever way goes. `size` takes what came; false: nothing did.
bool read_piece(ntfs_volume& volume, stream_runs& stream, std::uint64_t position, std::uint8_t* buffer,
                std::uint32_t& size, bool runs_in_order) {
    if (runs_in_order && read_in_one(volume, stream, position, buffer, size)) return true;
    std::uint32_t flags = 0;
    return read_stream(volume, stream, position, buffer, size, flags) && size != 0;
}

std::uint32_t chunk_bytes(const ntfs_volume& volume) { return clusters_per_unit * volume.cluster_bytes(); }

// The smaller of the two, as a size of one read.
std::uint32_t request(std::uint64_t wanted, std::uint32_t chunk) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(wanted, chunk));
}

}  // namespace

stream_sink sink_into(std::vector<std::uint8_t>& bytes) { return {append_to_vector, &bytes}; }
stream_sink sink_into(plain_file& file) { return {append_to_file, &file}; }

bool lookup_vcn(stream_runs& stream, std::uint64_t vcn, std::size_t& index, std::uint64_t& lcn) {
    const std::vector<stream_run>& runs = stream.runs;
    if (runs.empty()) return false;
    const bool low = vcn < runs.front().vcn;
    if (vcn < stream.passed_vcn || low != stream.passed_low) stream.passed = low ? first_behind_wrap(runs) : 0;
    stream.passed_vcn = vcn;
    stream.passed_low = low;
    const auto ends_ahead = [vcn](const stream_run& run) { return run.vcn <= vcn && vcn - run.vcn >= run.clusters; };
    while (stream.passed < runs.size() && ends_ahead(runs[stream.passed])) ++stream.passed;
    for (index = stream.passed; index < runs.size(); ++index) {
        const stream_run& run = runs[index];
        if (run.vcn > vcn || vcn - run.vcn >= run.clusters) continue;
        lcn = run.sparse ? 0 : vcn - run.vcn + run.lcn;
        return true;
    }
    return false;
}

std::uint64_t run_bytes(const std::vector<stream_run>& runs, std::uint32_t cluster_size, bool skip_holes) {
    std::uint64_t clusters = 0;
    for (const stream_run& run : runs) {
        if (!run.sparse || !skip_holes) clusters += run.clusters;
    }
    return clusters * cluster_size;
}

std::uint64_t stream_size(const attr_entry& attribute, std::uint32_t cluster_size) {
    std::uint64_t clusters = 0;
    for (const cluster_run& run : attribute.runs) clusters += run.clusters;
    return std::min(attribute.data_size(), clusters * cluster_size);
}

void drop_sparse_runs(stream_runs& stream) {
    std::erase_if(stream.runs, [](const stream_run& run) { return run.sparse; });
    renumber(stream);
}

bool read_stream(ntfs_volume& volume, stream_runs& stream, std::uint64_t byte_offset, std::uint8_t* buffer,
                 std::uint32_t& size, std::uint32_t& flags) {
    const bool skips_holes = (flags & read_skips_holes) != 0;
    const std::uint32_t cluster_size = volume.cluster_bytes();
    read_plan plan(stream, cluster_size, byte_offset, size, skips_holes);
    flags = position_flags(plan);

    const byte_span target(buffer, size);
    std::vector<std::uint8_t> scratch;
    planned_cluster current, following;
    std::uint32_t done = 0;
    bool any = false;
    bool is_planned = plan.next(current);
    while (is_planned && done < size) {
        const bool more = plan.next(following);
        const std::uint32_t skip = any ? 0 : plan.head;
        std::uint32_t count = cluster_size - skip;
        if (any && !more && plan.tail != 0) count = plan.tail;
        count = std::min(count, size - done);
        if (!read_part_of_cluster(volume, current, skip, target.part(done, count), scratch)) break;
        if (current.hole) flags |= read_had_hole;
        any = true;
        done += count;
        current = following;
        is_planned = more;
    }
    if (skips_holes) flags &= ~std::uint32_t{read_had_hole};
    if (any) size = done;
    return any;
}

bool is_compressed_attribute(const attr_entry& attribute) {
    const byte_view raw(attribute.raw);
    return attribute.non_resident() && raw.u16(attribute_at::flags) == attribute_is_compressed &&
           raw.u8(attribute_at::compression_unit) != 0 && raw.u64(attribute_at::compressed_size) != 0;
}

bool read_compressed_stream(ntfs_volume& volume, const stream_sink& sink, stream_runs& stream, std::uint64_t data_size,
                            std::uint64_t allocated_size) {
    const std::uint32_t unit_size = chunk_bytes(volume);
    const std::uint64_t slack = data_size < allocated_size ? allocated_size - data_size : 0;
    if (volume.unit_buffer == nullptr) volume.unit_buffer = std::make_unique_for_overwrite<std::uint8_t[]>(unit_size);
    std::uint8_t* const unit = volume.unit_buffer.get();
    std::vector<std::uint8_t> decoded;
    std::uint64_t remaining = data_size, position = 0;
    std::uint32_t wanted = unit_size;
    while (true) {
        std::uint32_t size = wanted, flags = 0;
        if (!read_stream(volume, stream, position, unit, size, flags) || size == 0) return false;
        decoded.clear();
        if (!decode_compression_unit({unit, size}, remaining, flags, decoded) || decoded.empty()) return false;
        if (!sink.take(sink.target, decoded)) return false;
        // Kept: both move on by what was read, however much of it there was to decode.
        if (remaining <= size) return true;
        remaining -= size;
        position += size;
        // Guard: never more than a unit, for which there is room.
        wanted = unit_size;
        if (remaining < size) wanted = request(remaining + std::min<std::uint64_t>(slack, unit_size), unit_size);
    }
}

plain_extent extent_of(const ntfs_volume& volume, const attr_entry& attribute, std::uint64_t data_size) {
    plain_extent extent{.data_size = data_size, .is_index = attribute.type == type_index_allocation};
    if (volume.thorough) extent.written = byte_view(attribute.raw).u64(attribute_at::initialised_size);
    return extent;
}

bool read_plain_stream(ntfs_volume& volume, const stream_sink& sink, stream_runs& stream, plain_extent extent) {
    const std::uint32_t cluster_size = volume.cluster_bytes();
    const std::uint32_t most = request(extent.data_size, chunk_bytes(volume));
    std::vector<std::uint8_t> piece((most + cluster_size - 1) / cluster_size * cluster_size);
    const bool in_order = std::is_sorted(stream.runs.begin(), stream.runs.end(), starts_ahead);
    for (std::uint64_t position = 0; position < extent.data_size;) {
        const bool written = position < extent.written;
        const std::uint64_t end = written ? std::min(extent.written, extent.data_size) : extent.data_size;
        std::uint32_t size = request(end - position, chunk_bytes(volume));
        if (!written) {
            byte_span(piece).part(0, size).fill_zero();
        } else if (!read_piece(volume, stream, position, piece.data(), size, in_order)) {
            return false;
        }
        if (extent.is_index) fix_index_blocks(byte_span(piece).part(0, size), volume.sector_size());
        if (!sink.take(sink.target, {piece.data(), size})) return false;
        position += size;
    }
    return true;
}

byte_view resident_bytes(const attr_entry& attribute) {
    if (!attribute.resident_value.empty()) return attribute.resident_value;
    const byte_view raw(attribute.raw);
    return raw.part(raw.u16(attribute_at::value_offset), attribute.value_length());
}

void fix_index_blocks(byte_span bytes, std::uint32_t sector_size) {
    for (std::size_t at = 0; bytes.size - at >= index_block_at::size; at += index_block_at::size)
        apply_fixups(bytes.part(at, index_block_at::size), sector_size);
}

bool read_attribute_data(ntfs_volume* volume, const attr_entry& attribute, const stream_sink& sink,
                         const diagnostic_log* log) {
    const bool resident = !attribute.non_resident();
    if (resident ? resident_bytes(attribute).size == 0 : attribute.runs.empty()) {
        log_diag(log, "err: no data");
        return false;
    }
    if (volume == nullptr) return false;
    const std::uint64_t declared = attribute.data_size();
    log_diag(log, "info: data size 0x%llx", static_cast<unsigned long long>(declared));
    if (resident) return sink.take(sink.target, resident_bytes(attribute));

    stream_runs stream(attribute.runs);
    const std::uint64_t data_size = stream_size(attribute, volume->cluster_bytes());
    const std::uint64_t allocated_size = byte_view(attribute.raw).u64(attribute_at::allocated_size);
    if (is_compressed_attribute(attribute)) {
        return read_compressed_stream(*volume, sink, stream, data_size, allocated_size);
    }
    return read_plain_stream(*volume, sink, stream, extent_of(*volume, attribute, data_size));
}
