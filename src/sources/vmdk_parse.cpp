// Opening a virtual disk: header, descriptor, grain directory, grain tables, and a look at the first grain.

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "base/bytes.h"
#include "base/text.h"
#include "sources/partitions.h"
#include "sources/vmdk_disk.h"
#include "sources/vmdk_layout.h"

namespace {

constexpr std::uint64_t most_sectors = INT64_MAX / vmdk_sector;
// Guard: a field may claim anything that the file has room for. No maker's text comes near the first; the largest disk
// of this form, 2 TiB, needs an eighth of the second.
constexpr std::uint64_t most_text = 1024 * 1024;
constexpr std::uint64_t most_tables = 1024 * 1024 * 1024;
constexpr std::uint32_t entry_size = sizeof(std::uint32_t);

struct sparse_header {
    std::uint64_t descriptor_offset = 0, descriptor_size = 0, directory_offset = 0, overhead = 0;  // sectors
};

// Places in the file are 32-bit products: kept, so those behind 4 GiB wrap. Grains are mapped in 64 bits.
std::uint32_t wrapped_bytes(std::uint32_t sectors) { return sectors * vmdk_sector; }

// What the file holds of `size` bytes at `position`. False: nothing, or refused by the system.
bool read_held(vmdk_disk& disk, std::uint64_t position, std::uint64_t size, std::vector<std::uint8_t>& bytes) {
    if (size == 0 || position >= disk.file_size) return false;
    bytes.resize(std::min(size, disk.file_size - position));
    const std::int64_t came = read_at(disk.file, position, bytes.data(), bytes.size());
    if (came < 0) disk.system_error = last_system_error();
    if (came <= 0) return false;
    bytes.resize(static_cast<std::size_t>(came));
    return true;
}

bool read_header(vmdk_disk& disk, sparse_header& header) {
    std::vector<std::uint8_t> bytes;
    if (!read_held(disk, 0, vmdk_header_at::size, bytes)) return false;
    const byte_view view(bytes);
    if (view.u32(vmdk_header_at::magic) != vmdk_magic) return false;
    header.descriptor_offset = view.u64(vmdk_header_at::descriptor_offset);
    header.descriptor_size = view.u64(vmdk_header_at::descriptor_size);
    header.directory_offset = view.u64(vmdk_header_at::directory_offset);
    header.overhead = view.u64(vmdk_header_at::overhead);
    disk.capacity = view.u64(vmdk_header_at::capacity);
    disk.table_entries = view.u32(vmdk_header_at::table_entries);
    const std::uint64_t grain_size = view.u64(vmdk_header_at::grain_size);
    // Guard: both divide, and their product is a span of bytes.
    if (disk.table_entries == 0 || grain_size == 0 || grain_size > most_sectors / disk.table_entries) return false;
    disk.grain_bytes = grain_size * vmdk_sector;
    disk.table_span = disk.table_entries * disk.grain_bytes;
    return true;
}

void take_line(vmdk_disk& disk, std::string_view line) {
    const struct {
        std::string_view key;
        std::string& value;
    } fields[] = {
        {"cid=", disk.cid},
        {"parentcid=", disk.parent_cid},
        {"encoding=", disk.encoding},
        {"parentfilenamehint=", disk.parent_hint},
    };
    const std::string lower = lowered_ascii(line);
    for (const auto& field : fields) {
        if (lower.starts_with(field.key)) field.value = line.substr(field.key.size());
    }
}

void take_lines(vmdk_disk& disk, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        take_line(disk, line);
    }
}

// A file without a descriptor, a part of a split disk for one, is none that can be read.
bool read_descriptor(vmdk_disk& disk, const sparse_header& header) {
    if (header.descriptor_size > disk.file_size / vmdk_sector || header.descriptor_offset > most_sectors) return false;
    const std::uint64_t size = std::min(header.descriptor_size * vmdk_sector, most_text);
    std::vector<std::uint8_t> bytes;
    if (!read_held(disk, header.descriptor_offset * vmdk_sector, size, bytes)) return false;
    const std::string text(bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0}));
    take_lines(disk, text);
    return true;
}

// Kept: the first table bounds the directory, so on a disk whose tables do not follow it other words are read as
// entries; the capacity is not asked.
bool read_directory(vmdk_disk& disk, const sparse_header& header, std::vector<std::uint8_t>& bytes) {
    const std::uint64_t most_overhead = std::min<std::uint64_t>(disk.file_size, UINT32_MAX) / vmdk_sector;
    if (header.overhead > most_overhead || header.directory_offset >= header.overhead) return false;
    const std::uint64_t begin = header.directory_offset * vmdk_sector;
    if (!read_held(disk, begin, entry_size, bytes)) return false;
    const std::uint64_t end = wrapped_bytes(byte_view(bytes).u32(0));
    if (end <= begin || end >= header.overhead * vmdk_sector || end - begin > most_tables) return false;
    return read_held(disk, begin, end - begin, bytes);
}

std::uint32_t keep_table(vmdk_disk& disk, const std::vector<std::uint8_t>& bytes) {
    if (byte_view(bytes).is_all_zero()) return vmdk_disk::no_table;
    const std::size_t begin = disk.grains.size();
    disk.grains.resize(begin + disk.table_entries);
    std::memcpy(disk.grains.data() + begin, bytes.data(), bytes.size());
    return static_cast<std::uint32_t>(begin / disk.table_entries);
}

// A table that cannot be read ends the list; what was read stays.
bool read_tables(vmdk_disk& disk, byte_view directory) {
    const std::uint64_t table_bytes = std::uint64_t{disk.table_entries} * entry_size;
    // Guard: tables that share no byte fit into the file together.
    std::uint64_t room = std::min(disk.file_size, most_tables);
    if (table_bytes > room) return false;
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at + entry_size <= directory.size; at += entry_size) {
        const std::uint32_t entry = directory.u32(at);
        // Kept: the entry 0 means nothing special, its table is a copy of the file's first bytes. One copy serves all.
        if (entry == 0 && disk.shared_place != vmdk_disk::no_table) {
            disk.table_places.push_back(disk.shared_place);
            continue;
        }
        if (entry != 0 && table_bytes > room) return false;
        if (entry != 0) room -= table_bytes;
        if (!read_held(disk, wrapped_bytes(entry), table_bytes, bytes)) break;
        disk.table_places.push_back(keep_table(disk, bytes));
        if (entry == 0) disk.shared_place = disk.table_places.back();
    }
    return !disk.table_places.empty();
}

// Kept: only a first grain that is the disk's first says anything, and a GPT says nothing here.
bool look_at_first_grain(vmdk_disk& disk) {
    std::vector<std::uint8_t> bytes;
    const std::uint32_t first = disk.table_places[0] == vmdk_disk::no_table ? 0 : disk.grains[0];
    if (!read_held(disk, wrapped_bytes(first), vmdk_sector, bytes)) return false;
    partition_list list;
    if (!read_partition_table_from_memory(bytes, list, false)) read_partition_table_from_memory(bytes, list, true);
    for (const partition_entry& entry : list) disk.partition_offsets.push_back(entry.sector_size * entry.start_sector);
    return true;
}

bool parse(vmdk_disk& disk) {
    sparse_header header;
    std::vector<std::uint8_t> directory;
    return read_header(disk, header) && read_descriptor(disk, header) && read_directory(disk, header, directory) &&
           read_tables(disk, directory) && look_at_first_grain(disk);
}

const char* fault_of(vmdk_disk& disk) {
    std::vector<std::uint8_t> bytes;
    read_held(disk, 0, vmdk_header_at::size, bytes);
    const byte_view header(bytes);
    const std::uint32_t magic = header.u32(vmdk_header_at::magic);
    if (magic == vmdk_text_magic) return "a description alone: flat and split disks are not read";
    if (magic != vmdk_magic) return "no virtual disk";
    if ((header.u32(vmdk_header_at::flags) & vmdk_compressed) != 0)
        return "its grains are compressed: they are not read";
    if (disk.cid.empty()) return "no description inside: a part of a split disk";
    return disk.valid ? "" : "its tables cannot be read";
}

}  // namespace

bool vmdk_disk::open(const std::u16string& path_to_open) {
    path = path_to_open;
    if (!open_for_reading(file, path)) {
        system_error = last_system_error();
        return false;
    }
    file_size = static_cast<std::uint64_t>(std::max<std::int64_t>(::file_size(file), 0));
    try {
        valid = parse(*this);
    } catch (const std::bad_alloc&) {
        valid = false;
    }
    fault = fault_of(*this);
    return valid;
}
