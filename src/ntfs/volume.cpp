#include "ntfs/volume.h"

#include <algorithm>
#include <limits>
#include <new>

#include "base/bytes.h"
#include "base/diagnostic_log.h"
#include "ntfs/attribute_cursor.h"
#include "ntfs/fixups.h"
#include "ntfs/layout.h"
#include "ntfs/mft_parts.h"
#include "platform/files.h"
#include "sources/boot_layout.h"

namespace {

constexpr std::uint64_t beyond_all_records = std::numeric_limits<std::uint64_t>::max();
constexpr std::int64_t position_limit = std::numeric_limits<std::int64_t>::max();
constexpr std::uint32_t unchecked_read = 1024 * 1024;
constexpr std::uint32_t smallest_checked_record = 1024;
constexpr fixup_limits bad_record_limits{0xFFFF, 10};
constexpr fixup_limits bad_record_limits_anywhere{64, 10};
constexpr int size_rule_sector = 512;  // whatever the volume's sectors are

// `what` names the thing that is read.
bool read_logged(ntfs_volume& volume, std::uint64_t position, std::uint32_t size, std::vector<std::uint8_t>& bytes,
                 const diagnostic_log* log, const char* what) {
    if (read_bytes_at(volume, position, size, bytes)) return true;
    log_diag(log, "err: %s unreadable at %llx: %s", what,
             static_cast<unsigned long long>(position + static_cast<std::uint64_t>(volume.geometry.volume_offset)),
             read_error_text(volume).c_str());
    return false;
}

bool refuse(const diagnostic_log* log, const char* why) {
    log_diag(log, "err: no NTFS volume: %s", why);
    return false;
}

bool read_boot_sector(ntfs_volume& volume, const diagnostic_log* log) {
    std::vector<std::uint8_t> bytes;
    if (!read_logged(volume, 0, static_cast<std::uint32_t>(volume.boot_sector.size()), bytes, log, "boot sector")) {
        return false;
    }
    std::copy(bytes.begin(), bytes.end(), volume.boot_sector.begin());
    // Kept: nothing else is looked at, the mark at the sector's end included.
    if (has_signature(byte_view(bytes).part(boot_at::oem_name, boot_at::oem_size), "NTFS    ")) return true;
    return refuse(log, "the boot sector does not say NTFS");
}

// From 129 on the byte stands for 2 to the power of 256 minus its value where that makes a cluster that Windows makes.
// Kept: otherwise it is a plain number.
std::uint32_t sectors_per_cluster_of(byte_view boot) {
    const std::uint32_t value = boot.u8(boot_at::sectors_per_cluster);
    if (value <= most_plain_sectors) return value;
    const std::uint64_t sectors = power_of_boot_byte(value);
    const std::uint64_t cluster_size = sectors * boot.u16(boot_at::bytes_per_sector);
    return cluster_size != 0 && cluster_size <= largest_cluster ? static_cast<std::uint32_t>(sectors) : value;
}

bool derive_geometry(ntfs_volume& volume, const diagnostic_log* log) {
    const byte_view boot(volume.boot_sector.data(), volume.boot_sector.size());
    volume_geometry& geometry = volume.geometry;
    geometry.sectors_per_cluster = sectors_per_cluster_of(boot);
    const std::uint32_t cluster_size = boot.u16(boot_at::bytes_per_sector) * geometry.sectors_per_cluster;
    // Guard: everything below divides by it.
    if (cluster_size == 0) return refuse(log, "cluster size 0");
    geometry.cluster_size = static_cast<std::int32_t>(cluster_size);
    const auto record_clusters = static_cast<std::int8_t>(boot.u8(ntfs_boot_at::record_clusters));
    if (record_clusters < 0) {
        geometry.record_size = 1u << (-record_clusters & 31);
        geometry.clusters_per_record = geometry.record_size / cluster_size;
    } else {
        geometry.clusters_per_record = boot.u8(ntfs_boot_at::record_clusters);
        geometry.record_size = geometry.clusters_per_record * cluster_size;
    }
    geometry.total_clusters = boot.u64(ntfs_boot_at::total_sectors) / geometry.sectors_per_cluster;
    const std::uint64_t mft_cluster = boot.u64(ntfs_boot_at::mft_cluster);
    if (mft_cluster > static_cast<std::uint64_t>(position_limit) / cluster_size)
        return refuse(log, "$MFT beyond any disk");
    geometry.mft_offset = static_cast<std::int64_t>(mft_cluster * cluster_size);
    return true;
}

bool read_mft_record(ntfs_volume& volume, const diagnostic_log* log) {
    std::vector<std::uint8_t>& record = volume.mft_record;
    const auto position = static_cast<std::uint64_t>(volume.geometry.mft_offset);
    if (!read_logged(volume, position, volume.record_bytes(), record, log, "record 0")) return false;
    const record_kind kind = classify_record(record, bad_record_limits);
    if (kind != record_kind::file && kind != record_kind::index) return refuse(log, "record 0 is no file record");
    apply_fixups(record, volume.sector_size());
    const byte_view bytes(record);
    // Kept: a record 0 of more sectors than the boot sector grants it is refused.
    const std::int64_t declared = (bytes.u16(record_at::fixup_count) - 1) * size_rule_sector;
    if (kind == record_kind::file && declared > volume.record_bytes()) {
        return refuse(log, "record 0 is longer than the boot sector says");
    }
    volume.record_alloc_size = bytes.u32(record_at::bytes_allocated);
    // Guard: the stride of records divides.
    return volume.record_alloc_size != 0 || refuse(log, "record 0 has no size");
}

void add_resident_run(std::vector<described_run>& runs, byte_view attribute, std::uint32_t type) {
    described_run& run = runs.emplace_back();
    run.resident = true;
    run.attr_type = type;
    run.resident_length = attribute.u32(attribute_at::value_length);
    const byte_view value = attribute.part(attribute.u16(attribute_at::value_offset), run.resident_length);
    run.resident_bytes.assign(value.data, value.data + value.size);
}

// One attribute of record 0; those of no interest are passed over. False: its run list is empty, which ends the walk.
bool take_mft_attribute(mft_runs& info, byte_view attribute) {
    const std::uint32_t type = attribute.u32(attribute_at::type);
    const bool resident = attribute.u8(attribute_at::non_resident) == 0;
    std::vector<described_run>* runs = nullptr;
    bool wants_size = true;
    if (type == type_data) runs = &info.data_runs;
    if (type == type_index_allocation && !resident) runs = &info.index_runs;
    if (type == type_bitmap) {
        runs = &info.bitmap_runs;
        wants_size = false;
    }
    if (runs == nullptr) return true;
    const std::uint64_t size =
        resident ? attribute.u32(attribute_at::value_length) : attribute.u64(attribute_at::initialised_size);
    if (wants_size && size == 0) return true;
    if (resident) {
        add_resident_run(*runs, attribute, type);
        return true;
    }
    return decode_runs_with_text(attribute.part(attribute.u16(attribute_at::pairs_offset), attribute.size), *runs, type,
                                 most_described_runs);
}

void read_mft_info(ntfs_volume& volume) {
    const byte_view record(volume.mft_record);
    attribute_cursor cursor(record, record.u16(record_at::first_attribute), {.longest = volume.record_alloc_size});
    for (; cursor.valid(); cursor.next()) {
        if (!take_mft_attribute(volume.mft_info, cursor.bytes())) return;
    }
}

const mft_extent* extent_of(const ntfs_volume& volume, std::uint64_t vcn) {
    const auto& extents = volume.mft_extents;
    const auto found =
        std::upper_bound(extents.begin(), extents.end(), vcn,
                         [](std::uint64_t wanted, const mft_extent& each) { return wanted < each.end_vcn; });
    return found == extents.end() ? nullptr : &*found;
}

// Guard: positions that no disk can have would wrap around to ones that it has.
bool has_position(const ntfs_volume& volume, std::uint64_t lcn) {
    return lcn <= static_cast<std::uint64_t>(position_limit) / volume.cluster_bytes();
}

bool lies_inside(const ntfs_volume& volume, std::uint64_t lcn) {
    const std::uint64_t size = volume.reader->size();
    const auto offset = static_cast<std::uint64_t>(volume.geometry.volume_offset);
    return offset < size && lcn <= (size - offset - 1) / volume.cluster_bytes();
}

}  // namespace

void place_records(ntfs_volume& volume, std::size_t first) {
    const std::vector<described_run>& runs = volume.mft_info.data_runs;
    std::uint64_t vcn = volume.mft_extents.empty() ? 0 : volume.mft_extents.back().end_vcn;
    for (auto run = runs.begin() + static_cast<std::ptrdiff_t>(first); run != runs.end(); ++run) {
        if (run->clusters == 0) continue;
        volume.mft_extents.push_back({vcn, vcn + run->clusters, run->lcn});
        vcn += run->clusters;
    }
    auto clusters = static_cast<std::uint32_t>(vcn);  // kept: counted in 32 bits
    if (!runs.empty() && runs.front().resident) clusters = 1;
    volume.record_count = std::int64_t{volume.geometry.cluster_size} * clusters / volume.record_alloc_size;
}

std::uint32_t ntfs_volume::sector_size() const {
    return byte_view(boot_sector.data(), boot_sector.size()).u16(boot_at::bytes_per_sector);
}

bool open_volume(const source_choice& choice, std::unique_ptr<ntfs_volume>& out, const diagnostic_log* log,
                 bool thorough) {
    auto reader = std::make_unique<source_reader>();
    if (open_source(*reader, choice)) reader->bytes->log = log;
    const std::uint64_t offset = choice.volume_offset != 0 ? choice.volume_offset : reader->first_partition;
    return open_volume_in(std::move(reader), static_cast<std::int64_t>(offset), out, log, thorough);
}

bool open_volume_in(std::unique_ptr<source_reader> reader, std::int64_t offset, std::unique_ptr<ntfs_volume>& out,
                    const diagnostic_log* log, bool thorough) {
    out.reset();
    if (!reader->is_open()) return refuse(log, "the source cannot be opened");
    auto volume = std::make_unique<ntfs_volume>();
    volume->reader = std::move(reader);
    volume->geometry.volume_offset = offset;
    volume->thorough = thorough;
    if (!validate(*volume, log)) return false;
    out = std::move(volume);
    return true;
}

bool validate(ntfs_volume& volume, const diagnostic_log* log) {
    if (volume.valid) return true;
    if (volume.reader == nullptr) return false;
    try {
        if (!read_boot_sector(volume, log) || !derive_geometry(volume, log) || !read_mft_record(volume, log))
            return false;
        read_mft_info(volume);
        place_records(volume);
        volume.valid = true;
        // Kept: by default an attribute list in record 0 is not followed; $MFT is seen as far as record 0 reaches.
        if (volume.thorough) add_listed_mft_parts(volume);
    } catch (const std::bad_alloc&) {
        volume.valid = false;
        return refuse(log, "out of memory");
    }
    return true;
}

std::string read_error_text(const ntfs_volume& volume) {
    const std::uint32_t error = volume.reader->system_error();
    return error != 0 ? system_error_text(error) : "not inside the source";
}

std::uint64_t record_position(const ntfs_volume& volume, std::uint64_t inode) {
    if (!volume.valid || inode > beyond_all_records / volume.record_alloc_size) return 0;
    const std::uint64_t byte = volume.record_alloc_size * inode;
    const std::uint64_t vcn = byte / volume.cluster_bytes();
    const mft_extent* extent = extent_of(volume, vcn);
    if (extent == nullptr || !has_position(volume, extent->lcn)) return 0;
    const std::uint64_t lcn = extent->lcn + (vcn - extent->first_vcn);
    return has_position(volume, lcn) ? lcn * volume.cluster_bytes() + byte % volume.cluster_bytes() : 0;
}

std::uint64_t records_in_row(const ntfs_volume& volume, std::uint64_t inode) {
    if (record_position(volume, inode) == 0) return 0;
    const std::uint64_t byte = volume.record_alloc_size * inode;
    const std::uint64_t vcn = byte / volume.cluster_bytes();
    // Guard: runs may claim more clusters than bytes can be counted for; nobody asks for that many records.
    constexpr std::uint64_t enough = 1u << 20;
    const std::uint64_t clusters = std::min(extent_of(volume, vcn)->end_vcn - vcn, enough);
    return (clusters * volume.cluster_bytes() - byte % volume.cluster_bytes()) / volume.record_alloc_size;
}

std::uint64_t next_record_inside(const ntfs_volume& volume, std::uint64_t inode) {
    if (!volume.valid || inode > beyond_all_records / volume.record_alloc_size) return beyond_all_records;
    std::uint64_t vcn = volume.record_alloc_size * inode / volume.cluster_bytes();
    const std::uint64_t asked = vcn;
    const auto& extents = volume.mft_extents;
    for (const mft_extent* each = extent_of(volume, vcn); each != nullptr && each != extents.data() + extents.size();
         ++each) {
        vcn = std::max(vcn, each->first_vcn);
        if (!has_position(volume, each->lcn) || !lies_inside(volume, each->lcn + (vcn - each->first_vcn))) continue;
        if (vcn == asked) return inode;
        const std::uint64_t byte = vcn * volume.cluster_bytes();
        return byte / volume.record_alloc_size + (byte % volume.record_alloc_size != 0 ? 1 : 0);
    }
    return beyond_all_records;
}

bool read_at_volume(ntfs_volume& volume, std::uint64_t position, void* buffer, std::uint32_t& size) {
    const std::int64_t offset = volume.geometry.volume_offset;
    if (offset < 0 || position > static_cast<std::uint64_t>(position_limit - offset)) return false;
    return volume.reader->read_at(buffer, size, static_cast<std::int64_t>(position) + offset) && size > 0;
}

bool read_from_cluster(ntfs_volume& volume, std::uint64_t lcn, void* buffer, std::uint32_t& size) {
    const std::uint32_t cluster_size = volume.cluster_bytes();
    if (!has_position(volume, lcn)) return false;
    return read_at_volume(volume, lcn * cluster_size, buffer, size);
}

bool read_clusters(ntfs_volume& volume, std::uint64_t lcn, void* buffer, std::uint32_t& size) {
    return size % volume.cluster_bytes() == 0 && read_from_cluster(volume, lcn, buffer, size);
}

bool append_cluster(ntfs_volume& volume, std::uint64_t lcn, std::vector<std::uint8_t>& bytes) {
    const std::size_t before = bytes.size();
    std::uint32_t size = volume.cluster_bytes();
    bytes.resize(before + size);
    const bool came = read_clusters(volume, lcn, bytes.data() + before, size);
    if (!came) bytes.resize(before);
    return came;
}

bool read_bytes_at(ntfs_volume& volume, std::uint64_t position, std::uint32_t size, std::vector<std::uint8_t>& bytes) {
    if (size > unchecked_read) {
        // Guard: no buffer is made for bytes that the source cannot hold.
        const std::uint64_t held = volume.reader->size();
        const std::uint64_t start = position + static_cast<std::uint64_t>(volume.geometry.volume_offset);
        if (start < position || start > held || held - start < size) return false;
    }
    bytes.resize(size);
    return read_at_volume(volume, position, bytes.data(), size);
}

bool read_record(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes) {
    const bool is_mft = inode == 0;
    if (!is_mft && !volume.valid) return false;
    const std::uint64_t position =
        is_mft ? static_cast<std::uint64_t>(volume.geometry.mft_offset) : record_position(volume, inode);
    const std::uint32_t size = is_mft ? volume.record_bytes() : volume.record_alloc_size;
    if (!read_bytes_at(volume, position, size, bytes)) return false;
    const record_kind kind = classify_record(bytes, bad_record_limits);
    if (kind != record_kind::file && kind != record_kind::index) return false;
    apply_fixups(bytes, volume.sector_size());
    return true;
}

bool read_record_checked(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes,
                         record_kind& kind) {
    kind = record_kind::none;
    if (!volume.valid) return false;
    const std::uint32_t size = volume.record_bytes();
    const std::uint64_t position =
        inode == 0 ? static_cast<std::uint64_t>(volume.geometry.mft_offset) : record_position(volume, inode);
    if (!read_bytes_at(volume, position, size, bytes) || size < smallest_checked_record) return false;
    kind = classify_record(bytes, bad_record_limits);
    const std::int64_t sectors = byte_view(bytes).u16(record_at::fixup_count) - 1;
    if (kind == record_kind::none || sectors * fixup_stride(bytes, volume.sector_size()) > size) return false;
    apply_fixups(bytes, volume.sector_size());
    return true;
}

bool fix_record_bytes(const ntfs_volume& volume, std::vector<std::uint8_t>& bytes, record_kind& kind, bool* torn) {
    kind = classify_record(bytes, bad_record_limits_anywhere);
    if (kind == record_kind::none) return false;
    if (torn != nullptr) *torn = volume.thorough && is_torn(bytes, volume.sector_size());
    apply_fixups(bytes, volume.sector_size());
    return true;
}

bool read_record_at(ntfs_volume& volume, std::uint64_t position, std::vector<std::uint8_t>& bytes, record_kind& kind,
                    bool* torn) {
    kind = record_kind::none;
    return read_bytes_at(volume, position, volume.record_alloc_size, bytes) &&
           fix_record_bytes(volume, bytes, kind, torn);
}
