#include "platform/devices.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "base/text.h"
#include "platform/drive_names.h"

namespace {

constexpr std::uint64_t sysfs_sector = 512;  // what sysfs counts in, whatever the device's own sectors are

std::uint32_t last_error = 0;

bool refused(int error) {
    last_error = static_cast<std::uint32_t>(error);
    return false;
}

int descriptor_of(const native_file& device) { return static_cast<int>(device.handle); }

std::vector<std::string> names_in(const std::string& path) {
    std::vector<std::string> names;
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) return names;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    closedir(folder);
    return names;
}

std::vector<std::string> drive_names() {
    std::vector<std::string> names = names_in("/sys/block");
    order_drive_names(names);
    return names;
}

// The folder of sysfs that describes the device, links resolved: ".../block/sda/sda1". Empty: there is none.
std::string sysfs_folder(const native_file& device) {
    struct stat facts {};
    if (fstat(descriptor_of(device), &facts) != 0 || !S_ISBLK(facts.st_mode)) return {};
    const std::string link =
        "/sys/dev/block/" + std::to_string(major(facts.st_rdev)) + ":" + std::to_string(minor(facts.st_rdev));
    char resolved[PATH_MAX];
    if (realpath(link.c_str(), resolved) == nullptr) return {};
    return resolved;
}

bool read_number(const std::string& path, std::uint64_t& value) {
    std::ifstream file(path);
    return static_cast<bool>(file >> value);
}

std::string last_component(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool is_partition(const std::string& folder) { return access((folder + "/partition").c_str(), F_OK) == 0; }

// Of a name in sysfs, which writes "cciss/c0d0" as "cciss!c0d0".
std::u16string node_of(const std::string& name) {
    std::string path = "/dev/" + name;
    std::replace(path.begin(), path.end(), '!', '/');
    return utf16_from_utf8(path);
}

}  // namespace

bool host_has_shadow_copies() { return false; }

std::u16string letter_device_path(const std::u16string& path) { return path; }

std::u16string drive_device_path(std::uint32_t number) {
    const std::vector<std::string> names = drive_names();
    return number < names.size() ? node_of(names[number]) : std::u16string();
}

bool open_device(native_file& device, const std::u16string& path, bool random_access) {
    if (path.empty()) return refused(ENOENT);
    if (path.find(u'\0') != std::u16string::npos) return refused(EINVAL);
    // Without O_NONBLOCK the open would wait for the other end of a pipe before its kind could be seen.
    const int descriptor = open(bytes_from_utf16(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor == -1) return refused(errno);
    struct stat facts {};
    if (fstat(descriptor, &facts) != 0 || !S_ISBLK(facts.st_mode)) {
        close(descriptor);
        return refused(ENOTBLK);
    }
    if (random_access) posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    device.handle = descriptor;
    return true;
}

bool query_geometry(const native_file& device, device_geometry& geometry) {
    std::uint64_t bytes = 0;
    int sector_size = 0;
    if (ioctl(descriptor_of(device), BLKGETSIZE64, &bytes) != 0) return refused(errno);
    if (ioctl(descriptor_of(device), BLKSSZGET, &sector_size) != 0) return refused(errno);
    geometry = {};
    geometry.total_size = static_cast<std::int64_t>(bytes);
    geometry.bytes_per_sector = static_cast<std::uint32_t>(sector_size);
    return true;
}

bool query_partition(const native_file& device, partition_facts& facts) {
    const std::string folder = sysfs_folder(device);
    std::uint64_t number = 0, start = 0, sectors = 0;
    if (folder.empty() || !read_number(folder + "/partition", number) || !read_number(folder + "/start", start) ||
        !read_number(folder + "/size", sectors))
        return refused(ENOENT);
    facts.start = start * sysfs_sector;
    facts.length = static_cast<std::int64_t>(sectors * sysfs_sector);
    facts.number = static_cast<std::int32_t>(number);
    return true;
}

bool query_device_number(const native_file& device, std::uint32_t& number) {
    std::string folder = sysfs_folder(device);
    if (folder.empty()) return refused(ENODEV);
    if (is_partition(folder)) folder.resize(folder.rfind('/'));
    const std::vector<std::string> names = drive_names();
    const auto found = std::find(names.begin(), names.end(), last_component(folder));
    if (found == names.end()) return refused(ENODEV);
    number = static_cast<std::uint32_t>(found - names.begin());
    return true;
}

std::int64_t read_device(const native_file& device, std::uint64_t position, void* bytes, std::uint32_t count) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(descriptor_of(device), static_cast<char*>(bytes) + done, count - done,
                                  static_cast<off_t>(position + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && done == 0) {
            refused(errno);
            return -1;
        }
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::int64_t>(done);
}

void identify_backing(const std::u16string& path, std::vector<file_identity>& found) {
    native_file device;
    if (!open_device(device, path, false)) return;
    const std::string folder = sysfs_folder(device);
    loop_info64 backing{};
    // The fields have the form that stat has; a partition answers for its disk.
    if (ioctl(descriptor_of(device), LOOP_GET_STATUS64, &backing) == 0) {
        found.push_back({backing.lo_device, backing.lo_inode, false});
    }
    close_file(device);
    // What a mapped device is made of. Devices cannot be built in a ring, so this ends.
    for (const std::string& part : names_in(folder + "/slaves")) identify_backing(node_of(part), found);
}

std::uint32_t last_device_error() { return last_error; }
