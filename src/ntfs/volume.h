// One open NTFS volume: geometry from its boot sector, the place of each file record from record 0, and the reads by
// record, by cluster and by position through which every other reader of the volume goes. Opened by walk/open_source.
// Decodes no record but 0, and that only as far as it tells where the others lie; caches nothing that it reads.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ntfs/dir_cache.h"
#include "ntfs/record_kind.h"
#include "ntfs/runs.h"
#include "sources/source_reader.h"

struct diagnostic_log;

struct volume_geometry {
    std::int32_t cluster_size = 0;  // bytes
    std::uint64_t total_clusters = 0;
    std::uint32_t clusters_per_record = 0;  // 0: a record is smaller than a cluster
    std::int64_t mft_offset = 0;            // bytes from the volume's start
    std::uint32_t sectors_per_cluster = 0;  // as many: not the boot sector's byte where that stands for a power
    std::int64_t volume_offset = 0;         // bytes from the source's start; added to every read
    std::uint32_t record_size = 0;          // bytes, from the boot sector; 0 reads as 1024
};

// Runs of record 0, by attribute.
struct mft_runs {
    std::vector<described_run> data_runs, index_runs, bitmap_runs;
};

// A run of $MFT: the clusters from the end of the one before it up to `end_vcn`.
struct mft_extent {
    std::uint64_t first_vcn = 0, end_vcn = 0;
    std::uint64_t lcn = 0;
};

struct ntfs_volume {
    std::unique_ptr<source_reader> reader;
    std::array<std::uint8_t, 512> boot_sector{};
    std::vector<std::uint8_t> mft_record;  // record 0, fixed up
    mft_runs mft_info;
    std::vector<mft_extent> mft_extents;                 // of mft_info.data_runs
    std::uint32_t record_alloc_size = 0;                 // bytes, from the header of record 0: the stride of records
    bool valid = false;                                  // set by validate, once
    bool thorough = false;                               // record_source's, for readers that have the volume alone
    std::int64_t record_count = 0;                       // what $MFT holds by its runs
    std::map<std::uint64_t, dir_cache_entry> dir_cache;  // by record number: the directories that lookups passed
    // Of read_compressed_stream, made by its first call: a unit may be 240 MB, of which a stream has 100 bytes.
    std::unique_ptr<std::uint8_t[]> unit_buffer;
    volume_geometry geometry;

    std::uint32_t cluster_bytes() const { return static_cast<std::uint32_t>(geometry.cluster_size); }
    std::uint32_t sector_size() const;  // of the boot sector
    std::uint32_t record_bytes() const { return geometry.record_size == 0 ? 1024 : geometry.record_size; }
};

// Both make the volume and hand it out only if it validates; `out` is null otherwise. `log` learns why.
bool open_volume(const source_choice& choice, std::unique_ptr<ntfs_volume>& out, const diagnostic_log* log,
                 bool thorough = false);
// Over a source that is open; `offset` is where the volume begins in it.
bool open_volume_in(std::unique_ptr<source_reader> reader, std::int64_t offset, std::unique_ptr<ntfs_volume>& out,
                    const diagnostic_log* log, bool thorough = false);

// Boot sector, geometry and record 0. False: no NTFS volume that this program can read.
bool validate(ntfs_volume& volume, const diagnostic_log* log);
// Takes the runs of mft_info.data_runs from `first` on for where the next records lie, and counts anew.
void place_records(ntfs_volume& volume, std::size_t first = 0);

// Why the volume's last read failed.
std::string read_error_text(const ntfs_volume& volume);

// Positions below are bytes from the volume's start.

// Position of a record; 0, which no record has, beyond the runs of $MFT, in a hole or a run that lies beyond any disk,
// or before the volume is valid.
std::uint64_t record_position(const ntfs_volume& volume, std::uint64_t inode);
// Records from `inode` on whose bytes follow each other on the disk.
std::uint64_t records_in_row(const ntfs_volume& volume, std::uint64_t inode);
// The first record number from `inode` on that lies inside the source; all ones if there is none. For loops over
// numbers: runs may claim more clusters than any disk has.
std::uint64_t next_record_inside(const ntfs_volume& volume, std::uint64_t inode);

// `size` takes what the source holds of it. False: outside the source, or refused by the system.
bool read_at_volume(ntfs_volume& volume, std::uint64_t position, void* buffer, std::uint32_t& size);
// The same from a cluster's first byte on, whatever the size.
bool read_from_cluster(ntfs_volume& volume, std::uint64_t lcn, void* buffer, std::uint32_t& size);
// `size` must be whole clusters.
bool read_clusters(ntfs_volume& volume, std::uint64_t lcn, void* buffer, std::uint32_t& size);
// Appends a whole cluster, zeros where the source ends in it. False: as above, and `bytes` stays as it was.
bool append_cluster(ntfs_volume& volume, std::uint64_t lcn, std::vector<std::uint8_t>& bytes);
// Sizes `bytes` to `size`; what the source does not hold is zeros.
bool read_bytes_at(ntfs_volume& volume, std::uint64_t position, std::uint32_t size, std::vector<std::uint8_t>& bytes);

// "FILE" within its limits or "INDX", fixed up; anything else is false. Record 0 is read where the boot sector says.
bool read_record(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes);
// The same with "BAAD" records, fixed up like any other. Needs at least 1024 bytes, and all sectors of the record.
bool read_record_checked(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes, record_kind& kind);
// A record's allocated size of bytes at any position, as the one before; no demand on the size.
// `torn`, where it is wanted, is set on a volume that is read thoroughly.
bool read_record_at(ntfs_volume& volume, std::uint64_t position, std::vector<std::uint8_t>& bytes, record_kind& kind,
                    bool* torn = nullptr);
// What read_record_at does with the bytes it read.
bool fix_record_bytes(const ntfs_volume& volume, std::vector<std::uint8_t>& bytes, record_kind& kind,
                      bool* torn = nullptr);
