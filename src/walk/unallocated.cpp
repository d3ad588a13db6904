#include "walk/unallocated.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "ntfs/record_read.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "walk/record_visit.h"

namespace {

constexpr std::uint64_t bitmap_inode = 6;
constexpr std::size_t bitmap_that_counts = 512u << 20;  // bytes: the number of clusters is taken in 32 bits
constexpr std::uint32_t stretch_limit = 1u << 20;       // bytes read at once
constexpr std::uint32_t overhang_limit = 1u << 20;      // bytes that such a read may take beside its clusters
constexpr std::uint32_t progress_step = 153;
constexpr std::uint64_t no_inode = ~std::uint64_t{0};

// $Bitmap: a bit for each cluster, set where it is in use.
struct cluster_bitmap {
    std::vector<std::uint8_t> bytes;  // no more than `limit`
    std::size_t limit = 0;            // bytes that can count
    std::uint64_t length = 0;         // of the whole stream

    bool is_free(std::uint32_t cluster) const { return (bytes[cluster >> 3] >> (cluster & 7) & 1) == 0; }
    bool eight_in_use(std::uint32_t cluster) const { return (cluster & 7) == 0 && bytes[cluster >> 3] == 0xFF; }
    // Kept: computed in 32 bits, so that a bitmap of 512 MiB and more wraps.
    std::uint32_t clusters() const { return static_cast<std::uint32_t>(length) * 8; }
    std::uint64_t clusters_known() const { return std::uint64_t{bytes.size()} * 8; }
};

// A walk over free clusters. Positions are bytes from the volume's start.
struct cluster_walk : record_walk {
    cluster_bitmap bitmap;
    std::uint32_t total = 0;         // clusters, as shown
    std::uint32_t end = 0;           // of the clusters that are looked at
    std::uint32_t cluster_size = 0;  // bytes
    std::uint32_t slot_size = 0;     // bytes
    std::uint32_t slots = 0;         // in one cluster
    std::uint32_t overhang = 0;      // bytes by which a record reaches beyond its slot
    std::vector<std::uint8_t> stretch;

    using record_walk::record_walk;
};

// False: it has all that can count. A sparse stream may claim more zeros than anybody could wait for.
bool take_bitmap(void* target, byte_view bytes) {
    auto& bitmap = *static_cast<cluster_bitmap*>(target);
    bitmap.length += bytes.size;
    const byte_view wanted = bytes.part(0, bitmap.limit - bitmap.bytes.size());
    try {
        bitmap.bytes.insert(bitmap.bytes.end(), wanted.data, wanted.data + wanted.size);
    } catch (const std::bad_alloc&) {
        bitmap.length = bitmap.bytes.size();  // it ends where memory does
        return false;
    }
    return bitmap.bytes.size() < bitmap.limit;
}

const attr_entry* bitmap_stream(const file_record& record) {
    for (const auto& item : record.attributes) {
        if (item.value.type == type_data && item.value.name.empty()) return &item.value;
    }
    return nullptr;
}

// False: there is no bitmap. One that ends early tells of the clusters that it reaches.
bool read_bitmap(cluster_walk& walk) {
    mft_entries_ctx& ctx = walk.ctx;
    cluster_bitmap& bitmap = walk.bitmap;
    if (!read_and_decode_record(walk.record, ctx, bitmap_inode, true)) return false;
    const attr_entry* const stream = bitmap_stream(walk.record);
    if (stream == nullptr) {
        log_diag(ctx.log, "err: record %llx has no bitmap of clusters", static_cast<unsigned long long>(bitmap_inode));
        return false;
    }
    // Clusters that the source cannot hold need no bits.
    const std::uint64_t held = ctx.volume->reader->size() / ctx.volume->cluster_bytes();
    bitmap.limit = static_cast<std::size_t>(std::min<std::uint64_t>(bitmap_that_counts, held / 8 + 1));
    const bool whole = read_attribute_data(ctx.volume.get(), *stream, {take_bitmap, &bitmap}, ctx.log);
    if (bitmap.bytes.size() >= bitmap.limit) {
        if (stream->non_resident()) bitmap.length = stream_size(*stream, ctx.volume->cluster_bytes());
    } else if (!whole) {
        log_diag(ctx.log, "err: bitmap ends at %llx", static_cast<unsigned long long>(bitmap.length));
    }
    return !bitmap.bytes.empty();
}

bool begin_cluster_walk(cluster_walk& walk) {
    if (!begin_walk(walk)) return false;
    if (walk.ctx.volume == nullptr) {
        log_diag(walk.ctx.log, "err: free clusters need a volume, none are searched");
        return false;
    }
    if (!read_bitmap(walk)) return false;
    const ntfs_volume& volume = *walk.ctx.volume;
    // A number in the record names none of $MFT here, so parents are looked up there.
    walk.state.paths.numbers_are_live = false;
    walk.total = walk.bitmap.clusters();
    walk.end = static_cast<std::uint32_t>(std::min<std::uint64_t>(walk.total, walk.bitmap.clusters_known()));
    walk.cluster_size = volume.cluster_bytes();
    walk.slot_size = volume.record_bytes();
    walk.slots = walk.cluster_size / walk.slot_size;
    if (walk.slots == 0) log_diag(walk.ctx.log, "err: clusters are smaller than records, none are searched");
    walk.overhang = volume.record_alloc_size > walk.slot_size ? volume.record_alloc_size - walk.slot_size : 0;
    return true;
}

// Kept: the volume's offset is added here, and once more by the read.
std::uint64_t position_of(const cluster_walk& walk, std::uint32_t cluster) {
    const auto offset = static_cast<std::uint64_t>(walk.ctx.volume->geometry.volume_offset);
    return std::uint64_t{walk.cluster_size} * cluster + offset;
}

bool may_be_record(byte_view bytes) {
    return bytes.size >= 4 && (std::memcmp(bytes.data, "FILE", 4) == 0 || std::memcmp(bytes.data, "BAAD", 4) == 0);
}

// The number that a record carries behind its header, in the form whose update sequence begins at 48.
std::uint64_t carried_inode(byte_view record) {
    const bool carries = record.size >= record_at::header_with_number &&
                         record.u16(record_at::fixup_offset) == record_at::header_with_number;
    return carries ? record.u32(record_at::record_number) : no_inode;
}

// What lies in the buffer came from a slot and is fixed up.
void visit_slot(cluster_walk& walk) {
    if (walk.buffer.size() < walk.slot_size || !may_be_record(walk.buffer)) return;
    // Kept: the place of such a record is not told, whatever -filerecord_offset says.
    visit_record(walk, walk.buffer, carried_inode(walk.buffer), 0);
}

// Guard: record 0 may claim records of 4 GiB. Those are read only where one begins.
bool is_worth_reading(cluster_walk& walk, std::uint64_t position) {
    if (walk.overhang <= overhang_limit) return true;
    return read_bytes_at(*walk.ctx.volume, position, walk.slot_size, walk.buffer) && may_be_record(walk.buffer);
}

void visit_cluster_by_slots(cluster_walk& walk, std::uint32_t cluster) {
    record_kind kind = record_kind::none;
    ntfs_volume& volume = *walk.ctx.volume;
    for (std::uint32_t slot = 0; slot < walk.slots && walk_goes_on(walk); ++slot) {
        const std::uint64_t position = position_of(walk, cluster) + std::uint64_t{slot} * walk.slot_size;
        if (!is_worth_reading(walk, position)) continue;
        if (read_record_at(volume, position, walk.buffer, kind, &walk.state.torn)) visit_slot(walk);
    }
}

// `at` is the cluster's first byte in the stretch.
void visit_cluster_in_stretch(cluster_walk& walk, std::size_t at) {
    record_kind kind = record_kind::none;
    for (std::uint32_t slot = 0; slot < walk.slots && walk_goes_on(walk); ++slot, at += walk.slot_size) {
        const byte_view bytes = byte_view(walk.stretch).part(at, walk.ctx.volume->record_alloc_size);
        if (!may_be_record(bytes)) continue;
        walk.buffer.assign(bytes.data, bytes.data + bytes.size);
        if (fix_record_bytes(*walk.ctx.volume, walk.buffer, kind, &walk.state.torn)) visit_slot(walk);
    }
}

// All of the stretch, or nothing: a part that cannot be read must not cost what lies beside it.
bool read_stretch(cluster_walk& walk, std::uint32_t first, std::uint32_t count) {
    if (walk.slots == 0 || walk.overhang > overhang_limit) return false;
    const std::uint32_t wanted = count * walk.cluster_size + walk.overhang;
    std::uint32_t size = wanted;
    walk.stretch.resize(wanted);
    const bool came = read_at_volume(*walk.ctx.volume, position_of(walk, first), walk.stretch.data(), size);
    if (!came) {
        log_diag(walk.ctx.log, "err: free clusters %x to %x cannot be read at once: %s", first, first + count - 1,
                 read_error_text(*walk.ctx.volume).c_str());
    }
    return came && size == wanted;
}

// Want of memory costs the cluster in hand.
void visit_cluster(cluster_walk& walk, std::uint32_t first, std::uint32_t index, bool at_once) {
    try {
        if (at_once) return visit_cluster_in_stretch(walk, std::size_t{index} * walk.cluster_size);
        visit_cluster_by_slots(walk, first + index);
    } catch (const std::bad_alloc&) {
        log_diag(walk.ctx.log, "err: out of memory at cluster %x", first + index);
    }
}

void visit_stretch(cluster_walk& walk, std::uint32_t first, std::uint32_t count) {
    const bool at_once = read_stretch(walk, first, count);
    for (std::uint32_t index = 0; index < count && walk_goes_on(walk); ++index) {
        if ((first + index) % progress_step == 0) show_progress(walk.ctx, first + index, walk.total);
        visit_cluster(walk, first, index, at_once);
    }
}

// The next free stretch from `cluster` on, no longer than one read; 0 clusters at the end.
std::uint32_t next_stretch(const cluster_walk& walk, std::uint32_t& cluster) {
    const std::uint32_t most = std::max(stretch_limit / walk.cluster_size, 1u);
    while (cluster < walk.end && !walk.bitmap.is_free(cluster)) {
        cluster += walk.bitmap.eight_in_use(cluster) ? 8 : 1;
    }
    std::uint32_t count = 0;
    while (count < most && cluster + count < walk.end && walk.bitmap.is_free(cluster + count)) ++count;
    return count;
}

}  // namespace

void walk_unallocated(report_output& out, mft_entries_ctx& ctx) {
    cluster_walk walk(out, ctx);
    if (!begin_cluster_walk(walk)) return;
    // Guard: a bitmap may tell of clusters that no source holds; positions rise, so the first one ends the walk.
    // Clusters smaller than a record are counted all the same, and never read.
    const std::uint64_t end = ctx.volume->reader->size();
    std::uint32_t cluster = 0;
    while (walk_goes_on(walk)) {
        const std::uint32_t count = next_stretch(walk, cluster);
        if (count == 0 || position_of(walk, cluster) >= end) break;
        visit_stretch(walk, cluster, count);
        cluster += count;
    }
    end_walk(walk);
}
