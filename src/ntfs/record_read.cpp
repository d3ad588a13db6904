#include "ntfs/record_read.h"

#include <algorithm>
#include <cstring>

#include "base/diagnostic_log.h"
#include "ntfs/record_source.h"
#include "ntfs/volume.h"
#include "sources/plain_file.h"

namespace {

constexpr std::uint16_t fixup_offset_limit =
    48;  // of a "FILE" record: the array begins inside or right behind the header
constexpr std::uint16_t fixup_count_limit = 9;  // 8 sectors of 512 bytes and the check word

bool has_signature(byte_view bytes, const char* signature) {
    return bytes.size >= 4 && std::memcmp(bytes.data, signature, 4) == 0;
}

// An extracted $MFT says how large its records are by the update sequence of its first one. Once a run.
bool learn_record_size(record_source& records) {
    if (records.record_size_learned) return true;
    std::vector<std::uint8_t> first;
    if (!records.mft_reader->read_into(first, records.effective_record_size(), 0) || first.empty()) return false;
    const std::uint16_t count = byte_view(first).u16(record_at::fixup_count);
    if (count == 0) return false;
    records.record_size = (count - 1u) * records.sector_size;
    records.record_size_learned = true;
    return true;
}

bool read_mft_file(std::vector<std::uint8_t>& buffer, record_source& records, std::uint64_t inode) {
    if (!learn_record_size(records)) {
        log_diag(records.log, "err: first record unreadable, or without update sequence");
        return false;
    }
    const std::uint64_t size = records.effective_record_size();
    // Guard: a number that no file can hold would wrap around.
    if (inode > static_cast<std::uint64_t>(INT64_MAX) / size) return false;
    if (records.mft_reader->read_into(buffer, size, size * inode)) return true;
    const bool inside = size * inode <= static_cast<std::uint64_t>(records.mft_reader->file_size());
    log_diag(records.log, "err: record %llx unreadable at %llx: %s", static_cast<unsigned long long>(inode),
             static_cast<unsigned long long>(size * inode),
             inside ? system_error_text(last_system_error()).c_str() : "not inside the source");
    return false;
}

bool read_from_volume(std::vector<std::uint8_t>& buffer, record_source& records, std::uint64_t inode) {
    ntfs_volume& volume = *records.volume;
    const std::uint64_t position = record_position(volume, inode);
    if (position == 0) {  // the boot sector lies there: no record
        log_diag(records.log, "err: record %llx lies behind the runs of $MFT", static_cast<unsigned long long>(inode));
        return false;
    }
    if (read_bytes_at(volume, position, records.effective_record_size(), buffer)) return true;
    log_diag(records.log, "err: record %llx unreadable at %llx: %s", static_cast<unsigned long long>(inode),
             static_cast<unsigned long long>(position + static_cast<std::uint64_t>(volume.geometry.volume_offset)),
             read_error_text(volume).c_str());
    return false;
}

bool read_record_bytes(std::vector<std::uint8_t>& buffer, record_source& records, std::uint64_t inode) {
    return records.mft_reader != nullptr ? read_mft_file(buffer, records, inode) : read_from_volume(buffer, records, inode);
}

// The bytes of a non-resident attribute list, cluster by cluster as the walk of its entries comes to need them.
class list_clusters {
public:
    list_clusters(ntfs_volume& volume, byte_view attribute) : volume_(volume) {
        decode_runs(attribute, runs_);
        // Kept: the sum counts in 32 bits.
        for (const cluster_run& run : runs_) left_ += run.clusters * volume.cluster_bytes();
        left_ = std::min(left_, list_limit);
    }

    // Appends the next cluster that can be read; one that cannot ends its run, and the next run takes its place.
    bool append_next(std::vector<std::uint8_t>& bytes) {
        const std::uint32_t cluster_size = volume_.cluster_bytes();
        while (run_ < runs_.size() && left_ > 0) {
            const cluster_run& run = runs_[run_];
            const std::size_t before = bytes.size();
            std::uint32_t size = cluster_size;
            if (cluster_ < run.clusters) {
                bytes.resize(before + cluster_size);
                if (read_clusters(volume_, run.lcn + cluster_, bytes.data() + before, size)) {
                    ++cluster_;
                    bytes.resize(before + std::min(cluster_size, left_));
                    left_ -= std::min(cluster_size, left_);
                    return true;
                }
                bytes.resize(before);
            }
            ++run_;
            cluster_ = 0;
        }
        return false;
    }

private:
    // Guard: NTFS ends a list at 256 KiB, and a run may claim one cluster over and over.
    static constexpr std::uint32_t list_limit = 16 * 1024 * 1024;

    ntfs_volume& volume_;
    std::vector<cluster_run> runs_;
    std::size_t run_ = 0;
    std::uint32_t cluster_ = 0;
    std::uint32_t left_ = 0;  // bytes that may still be read
};

// Walks the entries of an attribute list and decodes what each names in another record.
class list_walk {
public:
    list_walk(file_record& record, record_source& records, std::uint64_t inode, bool want_resident_copy)
        : record_(record), records_(records), inode_(inode), source_{true, want_resident_copy} {}

    void run(byte_view list) {
        for (std::size_t at = 0; at < list.size;) {
            const std::uint16_t length = list.u16(at + list_entry_at::length);
            if (length == 0) return;
            follow(list.part(at, list.size));
            at += length;
        }
    }

    // The same over clusters. Kept: all that the runs hold is walked, not the list's real size.
    void run(list_clusters& clusters) {
        std::vector<std::uint8_t> bytes;
        std::size_t at = 0;
        while (true) {
            while (bytes.size() < at + entry_header && clusters.append_next(bytes)) {
            }
            const byte_view entry = byte_view(bytes).part(at, bytes.size());
            const std::uint16_t length = entry.u16(list_entry_at::length);
            if (length == 0) return;
            follow(entry);
            at += length;
            if (at < drop_size) continue;
            const std::size_t dropped = std::min(at, bytes.size());
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(dropped));
            at -= dropped;
        }
    }

private:
    static constexpr std::size_t entry_header = list_entry_at::attribute_id + 2;
    static constexpr std::size_t drop_size = 256 * 1024;  // walked bytes that are let go of at once
    // Guard: NTFS ends a list at 256 KiB, which is 8192 entries; a hostile one could ask for reads without end.
    static constexpr std::uint32_t most_loads = 16'384;

    void follow(byte_view entry) {
        const std::uint64_t inode = entry.u64(list_entry_at::reference) & inode_mask;
        if (inode == inode_ || !load(inode)) return;
        const byte_view bytes(record_.extension_bytes);
        std::size_t at = 0;
        if (!find_by_id(bytes, entry.u16(list_entry_at::attribute_id), at)) return;
        bool is_list = false;
        decode_attribute(record_, records_, bytes, at, source_, is_list);
    }

    // Neighbouring entries mostly name the same record: it is read once.
    bool load(std::uint64_t inode) {
        if (loads_ > 0 && loaded_inode_ == inode) return usable_;
        if (++loads_ > most_loads) return false;
        loaded_inode_ = inode;
        bool bad = false;
        usable_ = read_file_record(record_.extension_bytes, bad, records_, inode) && !bad &&
                  has_signature(record_.extension_bytes, "FILE");
        return usable_;
    }

    // Kept: the id alone decides, not the type. Guard: a length of 0 or beyond the record ends the search.
    static bool find_by_id(byte_view bytes, std::uint16_t id, std::size_t& at) {
        at = bytes.u16(record_at::first_attribute);
        if (at == 0) return false;
        while (at < bytes.size && bytes.u32(at + attribute_at::type) != type_end) {
            const std::uint32_t length = bytes.u32(at + attribute_at::length);
            if (length == 0) return false;
            if (bytes.u16(at + attribute_at::id) == id) return true;
            at += length;
        }
        return false;
    }

    file_record& record_;
    record_source& records_;
    std::uint64_t inode_;
    attribute_source source_;
    std::uint32_t loads_ = 0;
    bool usable_ = false;
    std::uint64_t loaded_inode_ = 0;
};

}  // namespace

bool source_usable(const record_source& records) {
    if (records.mft_reader != nullptr && records.mft_reader->is_open) return true;
    return records.volume != nullptr && records.volume->valid;
}

bool read_file_record(std::vector<std::uint8_t>& buffer, bool& bad, record_source& records, std::uint64_t inode) {
    bad = false;
    if (!source_usable(records) || !read_record_bytes(buffer, records, inode)) return false;
    if (buffer.empty()) return true;
    const byte_view bytes(buffer);
    const bool is_record = has_signature(bytes, "FILE") && bytes.u16(record_at::fixup_offset) <= fixup_offset_limit &&
                           bytes.u16(record_at::fixup_count) <= fixup_count_limit;
    if (is_record || has_signature(bytes, "INDX")) {
        apply_fixups(buffer, records.sector_size);
        return true;
    }
    if (!has_signature(bytes, "BAAD")) return false;
    log_diag(records.log, "err: fixup_mft type: BAAD");
    bad = true;
    return true;
}

std::uint16_t fill_header_fields(file_record& record, std::uint64_t inode, byte_view bytes) {
    record.inode = inode;
    bytes.copy(0, record.header.data(), record.header.size());
    record.sequence = bytes.u16(record_at::sequence);
    const std::uint64_t base = bytes.u64(record_at::base_reference);
    if (base != 0) {
        record.is_extension = true;
        record.base_reference = base;
    }
    return bytes.u16(record_at::first_attribute);
}

bool read_and_decode_record(file_record& record, record_source& records, std::uint64_t inode, bool want_resident_copy) {
    record.clear();
    if (!source_usable(records)) return false;
    bool bad = false;
    if (!read_file_record(record.raw, bad, records, inode) || record.raw.empty()) {
        log_diag(records.log, "err: mftfixup %llx", static_cast<unsigned long long>(inode));
        return false;
    }
    if (bad) {
        log_diag(records.log, "err: recd bad %llx", static_cast<unsigned long long>(inode));
        return false;
    }
    const byte_view bytes(record.raw);
    record.source_text = records.source_text;
    std::size_t at = fill_header_fields(record, inode, bytes);
    if (at == 0) return true;
    while (bytes.u32(at + attribute_at::type) != type_end) {
        const std::uint32_t length = bytes.u32(at + attribute_at::length);
        if (length == 0 || length > records.effective_record_size()) break;
        bool is_list = false;
        if (!decode_attribute(record, records, bytes, at, {false, want_resident_copy}, is_list)) break;
        if (is_list) process_attribute_list(record, records, inode, bytes, at, want_resident_copy);
        at += length;
    }
    settle_fragments(record);
    return true;
}

void process_attribute_list(file_record& record, record_source& records, std::uint64_t inode, byte_view record_bytes,
                            std::size_t at, bool want_resident_copy) {
    const byte_view attribute = record_bytes.part(at, record_bytes.size);
    record.has_attribute_list = true;
    list_walk walk(record, records, inode, want_resident_copy);
    if (attribute.u8(attribute_at::non_resident) != 0) {
        record.attribute_list_nonresident = true;
        // Its clusters lie on a volume that an extracted $MFT does not have.
        if (records.volume == nullptr) return;
        list_clusters clusters(*records.volume, attribute);
        walk.run(clusters);
        return;
    }
    const std::size_t value_offset = attribute.u16(attribute_at::value_offset);
    const std::uint32_t value_length = attribute.u32(attribute_at::value_length);
    if (value_offset == 0 || value_length == 0) return;
    walk.run(attribute.part(value_offset, value_length));
}
