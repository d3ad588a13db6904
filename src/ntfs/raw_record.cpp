#include "ntfs/raw_record.h"

#include <algorithm>
#include <string>

#include "ntfs/attribute_cursor.h"
#include "ntfs/attribute_list.h"
#include "ntfs/attributes.h"
#include "ntfs/layout.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"

namespace {

constexpr std::uint32_t type_end_too = 0xFFFFFFFE;
// Guard: a run may claim any number of clusters.
constexpr std::uint64_t longest_list = list_limit;

bool read_list_clusters(ntfs_volume& volume, byte_view attribute, attribute_list& list) {
    std::vector<cluster_run> runs;
    if (!decode_runs(attribute, runs)) return false;
    stream_runs stream(runs);
    auto size =
        static_cast<std::uint32_t>(std::min(run_bytes(stream.runs, volume.cluster_bytes(), false), longest_list));
    list.storage.assign(size, 0);
    std::uint32_t flags = 0;
    if (!read_stream(volume, stream, 0, list.storage.data(), size, flags)) return false;
    list.bytes = list.storage;
    list.length = size;
    return true;
}

// Appends the clusters of a run, up to the first that cannot be read.
void gather_run(ntfs_volume& volume, const stream_run& run, std::vector<std::uint8_t>& bytes) {
    for (std::uint32_t cluster = 0; cluster < run.clusters && bytes.size() < longest_list; ++cluster) {
        if (run.sparse) {
            bytes.resize(bytes.size() + volume.cluster_bytes());
        } else if (!append_cluster(volume, run.lcn + cluster, bytes)) {
            return;
        }
    }
}

bool gather_list_clusters(ntfs_volume& volume, byte_view attribute, attribute_list& list) {
    std::vector<cluster_run> runs;
    if (!decode_runs(attribute, runs)) return false;
    for (const stream_run& run : stream_runs(runs).runs) gather_run(volume, run, list.storage);
    list.bytes = list.storage;
    list.length = std::min<std::size_t>(list.storage.size(), longest_list);
    return list.length > 0;
}

bool view_resident_list(byte_view attribute, attribute_list& list) {
    const std::size_t offset = attribute.u16(attribute_at::value_offset);
    list.length = std::min(attribute.u32(attribute_at::value_length), list_limit);
    if (offset == 0 || list.length == 0) return false;
    list.bytes = attribute.part(offset, attribute.size);
    return true;
}

}  // namespace

bool read_raw_record(ntfs_volume& volume, std::uint64_t inode, std::vector<std::uint8_t>& bytes) {
    const bool fits = inode == 0 || volume.record_alloc_size <= volume.record_bytes();
    return fits && read_record(volume, inode, bytes);
}

std::size_t attributes_start(byte_view record) { return record.u16(record_at::first_attribute); }

bool find_attribute(byte_view record, std::size_t& cursor, std::uint32_t type, std::uint32_t limit) {
    attribute_cursor walk(record, cursor, {.longest = limit});
    while (walk.valid() && walk.type() != type_end_too && walk.type() != type) walk.next();
    cursor = walk.at();
    return walk.valid() && walk.type() == type;
}

bool find_named_attribute(byte_view record, std::size_t& cursor, std::uint32_t type, std::u16string_view name,
                          std::uint32_t limit) {
    while (find_attribute(record, cursor, type, limit)) {
        const byte_view attribute = record.part(cursor, record.size);
        if (name.empty() ? attribute.u8(attribute_at::name_length) == 0 : attribute_has_name(attribute, name)) {
            return true;
        }
        cursor += attribute.u32(attribute_at::length);
    }
    return false;
}

bool attribute_has_name(byte_view attribute, std::u16string_view name) {
    const std::size_t units = attribute.u8(attribute_at::name_length);
    const std::size_t offset = attribute.u16(attribute_at::name_offset);
    if (units == 0 || offset == 0 || offset + 2 * units > attribute.u32(attribute_at::length)) return false;
    std::u16string text;
    read_name(text, attribute, offset, units);
    return text == name;
}

bool read_attribute_list(ntfs_volume& volume, byte_view attribute, attribute_list& list) {
    list = {};
    if (attribute.u8(attribute_at::non_resident) != 0) return read_list_clusters(volume, attribute, list);
    return view_resident_list(attribute, list);
}

bool gather_attribute_list(ntfs_volume& volume, byte_view attribute, attribute_list& list) {
    list = {};
    if (attribute.u8(attribute_at::non_resident) != 0) return gather_list_clusters(volume, attribute, list);
    return view_resident_list(attribute, list);
}

bool next_list_entry(const attribute_list& list, std::size_t& at, byte_view& entry) {
    if (at >= list.length) return false;
    entry = list.bytes.part(at, list.bytes.size);
    const std::uint16_t length = entry.u16(list_entry_at::length);
    at += length;
    return length != 0;
}
