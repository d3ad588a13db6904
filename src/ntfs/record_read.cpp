#include "ntfs/record_read.h"

#include <algorithm>

#include "base/diagnostic_log.h"
#include "ntfs/attribute_cursor.h"
#include "ntfs/attribute_list.h"
#include "ntfs/record_kind.h"
#include "ntfs/record_source.h"
#include "ntfs/volume.h"
#include "sources/plain_file.h"

namespace {

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

void tell_shorter_source(const record_source& records, std::uint64_t inode) {
    log_diag(records.log, "err: record %llx is cut: the source became shorter", static_cast<unsigned long long>(inode));
}

bool read_mft_file(std::vector<std::uint8_t>& buffer, record_source& records, std::uint64_t inode) {
    if (!learn_record_size(records)) {
        log_diag(records.log, "err: first record unreadable, or without update sequence");
        return false;
    }
    const std::uint64_t size = records.effective_record_size();
    // Guard: a number that no file can hold would wrap around.
    if (inode > static_cast<std::uint64_t>(INT64_MAX) / size) return false;
    const auto held = static_cast<std::uint64_t>(records.mft_reader->file_size());
    if (records.mft_reader->read_into(buffer, size, size * inode)) {
        if (buffer.size() < std::min(size, held - size * inode)) tell_shorter_source(records, inode);
        return true;
    }
    const bool inside = size * inode <= held;
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
    if (read_bytes_at(volume, position, records.effective_record_size(), buffer)) {
        if (volume.reader->ended_early()) tell_shorter_source(records, inode);
        return true;
    }
    log_diag(records.log, "err: record %llx unreadable at %llx: %s", static_cast<unsigned long long>(inode),
             static_cast<unsigned long long>(position + static_cast<std::uint64_t>(volume.geometry.volume_offset)),
             read_error_text(volume).c_str());
    return false;
}

bool read_record_bytes(std::vector<std::uint8_t>& buffer, record_source& records, std::uint64_t inode) {
    return records.mft_reader != nullptr ? read_mft_file(buffer, records, inode)
                                         : read_from_volume(buffer, records, inode);
}

// Classified by its signature, and fixed up unless it is "BAAD".
bool settle_record(byte_span bytes, bool& bad, bool& torn, const record_source& records) {
    if (bytes.size == 0) return true;
    const record_kind kind = classify_record(bytes, no_fixup_limits);
    if (kind == record_kind::none) return false;
    bad = kind == record_kind::bad;
    if (bad) {
        log_diag(records.log, "err: fixup_mft type: BAAD");
        return true;
    }
    // By default nobody learns that the parts of a record were not written together.
    if (records.thorough) torn = is_torn(bytes, records.sector_size);
    apply_fixups(bytes, records.sector_size);
    return true;
}

}  // namespace

bool source_usable(const record_source& records) {
    if (records.mft_reader != nullptr && records.mft_reader->is_open) return true;
    return records.volume != nullptr && records.volume->valid;
}

bool read_file_record(std::vector<std::uint8_t>& buffer, bool& bad, record_source& records, std::uint64_t inode) {
    bool torn = bad = false;
    return source_usable(records) && read_record_bytes(buffer, records, inode) &&
           settle_record(buffer, bad, torn, records);
}

bool read_record_ahead(byte_view& record, std::vector<std::uint8_t>& buffer, bool& torn, record_source& records,
                       std::uint64_t inode, record_block& block, std::uint64_t end) {
    bool bad = torn = false;
    if (!source_usable(records)) return false;
    byte_span bytes = take_from_block(block, records, inode, end, buffer);
    if (bytes.size == 0) {
        if (!read_record_bytes(buffer, records, inode)) return false;
        bytes = buffer;
    }
    record = bytes;
    return settle_record(bytes, bad, torn, records);
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
    const std::uint16_t first = fill_header_fields(record, inode, bytes);
    if (first == 0) return true;
    for (attribute_cursor cursor(bytes, first, {.longest = records.effective_record_size()}); cursor.valid();
         cursor.next()) {
        bool is_list = false;
        if (!decode_attribute(record, records, bytes, cursor.at(), {false, want_resident_copy}, is_list)) break;
        if (is_list) process_attribute_list(record, records, inode, bytes, cursor.at(), want_resident_copy);
    }
    settle_fragments(record, records.log);
    return true;
}
