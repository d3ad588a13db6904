#include "sources/source_reader.h"

#include <utility>

#include "sources/image_source.h"
#include "sources/vmdk_source.h"

namespace {

constexpr std::uint64_t drive_number_limit = 25;
constexpr std::size_t longest_letter_path = 3;

void open_image(source_reader& reader, const std::u16string& path) {
    reader.bytes = std::make_unique<image_source>(path);
    reader.bytes_per_sector = 512;
}

bool open_disks(source_reader& reader, const std::vector<std::u16string>& paths) {
    auto disks = std::make_unique<vmdk_source>();
    if (!disks->open(paths)) {
        reader.open_error = disks->system_error;
        return false;
    }
    reader.bytes_per_sector = 512;
    reader.first_partition = disks->first_partition();
    reader.bytes = std::move(disks);
    return true;
}

// A device without its geometry is of no use when it was named by a letter or by a device path.
void open_volume_device(source_reader& reader, const std::u16string& path) {
    auto device = std::make_unique<device_source>();
    if (reader.kind == kind_device_path) {
        device->open(path, {});
    } else if (path.size() > longest_letter_path) {
        device->open(path, {.random_access = true, .needs_geometry = false});
    } else {
        device->open(letter_device_path(path), {});
    }
    static_cast<device_facts&>(reader) = device->facts;
    reader.bytes = std::move(device);
}

bool open_drive(source_reader& reader, std::uint64_t number) {
    if (number >= drive_number_limit) return false;
    auto device = std::make_unique<device_source>();
    device->facts.device_number = static_cast<std::uint32_t>(number);
    const std::u16string path = drive_device_path(device->facts.device_number);
    if (!device->open(path, {.random_access = true, .is_partition = false})) {
        reader.open_error = device->system_error;
        return false;
    }
    static_cast<device_facts&>(reader) = device->facts;
    reader.bytes = std::move(device);
    return true;
}

}  // namespace

bool open_source(source_reader& reader, const source_choice& choice) {
    reader = {};
    reader.kind = choice.kind;
    if (choice.kind == kind_physical_drive) return open_drive(reader, choice.drive_number);
    if (choice.paths.empty() || choice.paths.front().empty()) return false;
    switch (choice.kind) {
        case kind_file: open_image(reader, choice.paths.front()); break;
        case kind_vmdk: open_disks(reader, choice.paths); break;
        case kind_volume:
        case kind_device_path: open_volume_device(reader, choice.paths.front()); break;
        default: break;
    }
    return reader.is_open();
}
