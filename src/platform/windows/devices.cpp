#include "platform/devices.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "platform/windows/wide.h"

namespace {

DWORD last_error = 0;

bool note(BOOL worked) {
    last_error = worked ? 0 : GetLastError();
    return worked != 0;
}

HANDLE handle_of(const native_file& device) { return reinterpret_cast<HANDLE>(device.handle); }

// One control call without input. False also when the answer is too short to hold what was asked for.
bool ask(const native_file& device, DWORD code, void* answer, DWORD size, DWORD least) {
    DWORD came = 0;
    return note(DeviceIoControl(handle_of(device), code, nullptr, 0, answer, size, &came, nullptr)) && came >= least;
}

void take_geometry(const DISK_GEOMETRY& from, device_geometry& geometry) {
    geometry.cylinders = from.Cylinders.QuadPart;
    geometry.media_type = static_cast<std::uint32_t>(from.MediaType);
    geometry.tracks_per_cylinder = from.TracksPerCylinder;
    geometry.sectors_per_track = from.SectorsPerTrack;
    geometry.bytes_per_sector = from.BytesPerSector;
}

bool is_letter(char16_t unit) { return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z'); }

}  // namespace

bool host_has_shadow_copies() { return true; }

std::u16string letter_device_path(const std::u16string& path) {
    if (path.empty() || !is_letter(path[0])) return path;
    return u"\\\\.\\" + path.substr(0, 1) + u":";
}

std::u16string drive_device_path(std::uint32_t number) {
    return utf16_from_utf8("\\\\.\\PhysicalDrive" + std::to_string(number));
}

bool open_device(native_file& device, const std::u16string& path, bool random_access) {
    if (path.find(u'\0') != std::u16string::npos) {
        SetLastError(ERROR_INVALID_NAME);
        return note(FALSE);
    }
    const HANDLE handle =
        CreateFileW(wide_of(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                    random_access ? FILE_FLAG_RANDOM_ACCESS : FILE_ATTRIBUTE_NORMAL, nullptr);
    device.handle = reinterpret_cast<std::intptr_t>(handle);
    return note(handle != INVALID_HANDLE_VALUE);
}

bool query_geometry(const native_file& device, device_geometry& geometry) {
    alignas(DISK_GEOMETRY_EX) unsigned char answer[120];
    DISK_GEOMETRY plain{};
    geometry = {};
    if (ask(device, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, answer, sizeof answer, offsetof(DISK_GEOMETRY_EX, Data))) {
        DISK_GEOMETRY_EX extended{};
        std::memcpy(&extended, answer, offsetof(DISK_GEOMETRY_EX, Data));
        take_geometry(extended.Geometry, geometry);
        geometry.total_size = extended.DiskSize.QuadPart;
        return true;
    }
    if (!ask(device, IOCTL_DISK_GET_DRIVE_GEOMETRY, &plain, sizeof plain, sizeof plain)) return false;
    take_geometry(plain, geometry);
    // Unsigned: the product of four foreign numbers may wrap.
    geometry.total_size =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(geometry.cylinders) * geometry.tracks_per_cylinder *
                                  geometry.sectors_per_track * geometry.bytes_per_sector);
    return true;
}

bool query_partition(const native_file& device, partition_facts& facts) {
    PARTITION_INFORMATION plain{};
    if (ask(device, IOCTL_DISK_GET_PARTITION_INFO, &plain, sizeof plain, sizeof plain)) {
        facts = {static_cast<std::uint64_t>(plain.StartingOffset.QuadPart), plain.PartitionLength.QuadPart,
                 static_cast<std::int32_t>(plain.PartitionNumber)};
        return true;
    }
    PARTITION_INFORMATION_EX extended{};
    if (!ask(device, IOCTL_DISK_GET_PARTITION_INFO_EX, &extended, sizeof extended,
             offsetof(PARTITION_INFORMATION_EX, Mbr)))
        return false;
    facts = {static_cast<std::uint64_t>(extended.StartingOffset.QuadPart), extended.PartitionLength.QuadPart,
             static_cast<std::int32_t>(extended.PartitionNumber)};
    return true;
}

bool query_device_number(const native_file& device, std::uint32_t& number) {
    STORAGE_DEVICE_NUMBER answer{};
    if (!ask(device, IOCTL_STORAGE_GET_DEVICE_NUMBER, &answer, sizeof answer, sizeof answer)) return false;
    number = answer.DeviceNumber;
    return true;
}

std::int64_t read_device(const native_file& device, std::uint64_t position, void* bytes, std::uint32_t count) {
    // The handle is synchronous: the structure only carries the position.
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD came = 0;
    if (!note(ReadFile(handle_of(device), bytes, count, &came, &place))) return -1;
    return came;
}

void identify_backing(const std::u16string&, std::vector<file_identity>&) {}

std::uint32_t last_device_error() { return last_error; }
