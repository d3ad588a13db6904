#include "sources/source_reader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "base/text.h"
#include "platform/devices.h"

namespace {

constexpr std::uint32_t assumed_sector_size = 512;
constexpr std::uint64_t drive_number_limit = 25;
constexpr std::size_t longest_letter_path = 3;

void open_image(source_reader& reader, const std::u16string& path) {
    reader.image_path = path;
    reader.image_name = utf8_from_utf16(path);
    if (!open_for_reading(reader.fd, path)) {
        reader.system_error = last_system_error();
        return;
    }
    reader.total_size = std::max<std::int64_t>(file_size(reader.fd), 0);
    reader.bytes_per_sector = assumed_sector_size;
}

bool learn_geometry(source_reader& reader) {
    device_geometry geometry;
    if (!query_geometry(reader.handle, geometry)) {
        reader.system_error = last_device_error();
        return false;
    }
    reader.total_size = geometry.total_size;
    reader.cylinders = geometry.cylinders;
    reader.media_type = geometry.media_type;
    reader.tracks_per_cylinder = geometry.tracks_per_cylinder;
    reader.sectors_per_track = geometry.sectors_per_track;
    reader.bytes_per_sector = geometry.bytes_per_sector;
    reader.partition_offset = 0;
    return true;
}

void learn_partition(source_reader& reader) {
    partition_facts facts;
    if (query_partition(reader.handle, facts)) {
        reader.partition_offset = facts.start;
        reader.total_size = facts.length;
        reader.partition_number = facts.number;
    }
    query_device_number(reader.handle, reader.device_number);
}

bool open_device_of(source_reader& reader, bool random_access) {
    if (open_device(reader.handle, reader.device_path, random_access)) return true;
    reader.system_error = last_device_error();
    return false;
}

// A device without its geometry is of no use when it was named by a letter, by a device path or by its number.
bool open_with_geometry(source_reader& reader, bool random_access) {
    if (!open_device_of(reader, random_access)) return false;
    if (learn_geometry(reader)) return true;
    close_file(reader.handle);
    return false;
}

void open_device_path(source_reader& reader, const std::u16string& path) {
    if (path[0] == 0) return;
    reader.device_path = path;
    if (path.size() > longest_letter_path && reader.kind != kind_device_path) {
        if (!open_device_of(reader, true)) return;
        if (!learn_geometry(reader)) reader.bytes_per_sector = assumed_sector_size;
        if (reader.kind == kind_volume) learn_partition(reader);
        return;
    }
    if (reader.kind != kind_device_path) reader.device_path = letter_device_path(path);
    if (open_with_geometry(reader, false)) learn_partition(reader);
}

bool open_chain(source_reader& reader, const std::vector<std::u16string>& paths) {
    vmdk_chain& chain = *reader.chain;
    const bool linked =
        std::all_of(paths.begin(), paths.end(), [&chain](const auto& path) { return chain.add(path); }) && chain.link();
    reader.system_error = chain.system_error;
    if (!linked) return false;
    reader.image_path = chain.base->path;
    reader.image_name = utf8_from_utf16(reader.image_path);
    reader.total_size = static_cast<std::int64_t>(chain.size());
    reader.bytes_per_sector = assumed_sector_size;
    return true;
}

bool read_chain(source_reader& reader, std::uint8_t* buffer, std::uint32_t& size, std::int64_t offset) {
    if (!reader.chain->read(buffer, static_cast<std::uint64_t>(offset), size)) return false;
    if (reader.chain->system_error != 0) reader.system_error = reader.chain->system_error;
    return true;
}

bool read_image(source_reader& reader, std::uint8_t* buffer, std::uint32_t& size, std::int64_t offset) {
    const std::uint32_t wanted = size;
    const std::int64_t remaining = reader.total_size - offset;
    if (remaining < wanted) size = static_cast<std::uint32_t>(remaining);
    const std::int64_t came = read_at(reader.fd, static_cast<std::uint64_t>(offset), buffer, size);
    if (came < 0) {
        reader.system_error = last_system_error();
        return false;
    }
    if (came < wanted) std::memset(buffer + came, 0, wanted - static_cast<std::size_t>(came));
    return true;
}

// Kept: a read that the system cuts short counts as a whole one.
bool read_sectors(source_reader& reader, std::uint8_t* buffer, std::uint32_t size, std::uint64_t position) {
    const std::int64_t came = read_device(reader.handle, position, buffer, size);
    if (came < 0) {
        reader.system_error = last_device_error();
        return false;
    }
    if (came < size) std::memset(buffer + came, 0, size - static_cast<std::size_t>(came));
    return true;
}

bool read_device_bytes(source_reader& reader, std::uint8_t* buffer, std::uint32_t size, std::int64_t offset) {
    sector_span span;
    if (!widen_to_sectors(offset, size, reader.bytes_per_sector, span)) return false;
    const auto bytes = static_cast<std::uint32_t>(span.bytes);
    if (span.head == 0 && bytes == size) return read_sectors(reader, buffer, size, span.position);
    try {
        std::vector<std::uint8_t> whole(bytes);
        if (!read_sectors(reader, whole.data(), bytes, span.position)) return false;
        std::memcpy(buffer, whole.data() + span.head, size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

bool widen_to_sectors(std::int64_t offset, std::uint32_t size, std::uint32_t bytes_per_sector, sector_span& span) {
    if (bytes_per_sector == 0) return false;
    // Kept: the remainder is taken of the low 32 bits, which matters for sector sizes that are no power of two only.
    span.head = static_cast<std::uint32_t>(offset) % bytes_per_sector;
    span.position = static_cast<std::uint64_t>(offset) - span.head;
    const std::uint64_t sectors = (std::uint64_t{size} + span.head + bytes_per_sector - 1) / bytes_per_sector;
    span.bytes = sectors * bytes_per_sector;
    return span.bytes <= UINT32_MAX;
}

source_reader::source_reader(const std::u16string& path) : source_reader(path, kind_file) {}

source_reader::source_reader(const std::u16string& path, reader_kind as) {
    if (path.empty() || as < kind_file || as > kind_physical_drive) return;
    kind = as;
    if (kind == kind_file)
        open_image(*this, path);
    else
        open_device_path(*this, path);
    is_open = true;
}

source_reader::source_reader(std::uint64_t drive_number) {
    if (drive_number >= drive_number_limit) return;
    kind = kind_physical_drive;
    device_number = static_cast<std::uint32_t>(drive_number);
    device_path = drive_device_path(device_number);
    is_open = open_with_geometry(*this, true);
}

source_reader::source_reader(const std::vector<std::u16string>& vmdk_paths) {
    kind = kind_vmdk;
    chain = std::make_unique<vmdk_chain>();
    is_open = open_chain(*this, vmdk_paths);
}

bool source_reader::read_at(void* buffer, std::uint32_t& size, std::int64_t offset) {
    if (!is_open || size == 0 || offset < 0 || offset >= total_size) return false;
    auto* const bytes = static_cast<std::uint8_t*>(buffer);
    if (kind == kind_file) return fd.is_open() && read_image(*this, bytes, size, offset);
    if (kind == kind_vmdk) return read_chain(*this, bytes, size, offset);
    const bool is_device = kind == kind_volume || kind == kind_device_path || kind == kind_physical_drive;
    return is_device && handle.is_open() && read_device_bytes(*this, bytes, size, offset);
}

std::uint64_t source_reader::size() const {
    if (!is_open) return 0;
    if (total_size != 0) return static_cast<std::uint64_t>(total_size);
    if (!handle.is_open()) return 0;
    return std::uint64_t{bytes_per_sector} * sectors_per_track * tracks_per_cylinder *
           static_cast<std::uint64_t>(cylinders);
}

std::uint64_t source_reader::next_data(std::uint64_t offset) const {
    return is_open && kind == kind_vmdk ? chain->next_data(offset) : offset;
}

void source_reader::close() {
    chain.reset();
    if (handle.is_open()) close_file(handle);
    if (fd.is_open()) close_file(fd);
    is_open = false;
    device_path.clear();
    image_name.clear();
    image_path.clear();
}
