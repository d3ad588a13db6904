#include "platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/text.h"
#include "platform/refused_block.h"

namespace {

std::uint32_t last_error = 0;

bool note(bool worked) {
    last_error = worked ? 0 : static_cast<std::uint32_t>(errno);
    return worked;
}

bool refuse(int error) {
    errno = error;
    return note(false);
}

bool has_nul(const std::u16string& path) { return path.find(u'\0') != std::u16string::npos; }

bool open_with_flags(native_file& file, const std::u16string& path, int flags) {
    constexpr mode_t new_file_mode = 0666;
    file.handle = -1;
    if (has_nul(path)) return refuse(EINVAL);
    const int descriptor = open(bytes_from_utf16(path).c_str(), flags | O_CLOEXEC, new_file_mode);
    file.handle = descriptor;
    return note(descriptor != -1);
}

// A disk is the same by whatever node it is reached.
file_identity identity_of(const struct stat& facts) {
    if (S_ISBLK(facts.st_mode)) return {facts.st_rdev, 0, true};
    return {facts.st_dev, facts.st_ino, false};
}

// The name, without a link, is that of the open file, and its only one.
bool is_only_name(const std::u16string& path, const native_file& file) {
    struct stat named {
    }, held{};
    if (lstat(bytes_from_utf16(path).c_str(), &named) != 0 || fstat(static_cast<int>(file.handle), &held) != 0)
        return false;
    return S_ISREG(held.st_mode) && held.st_nlink <= 1 && identity_of(named) == identity_of(held);
}

// A link, a folder and a disk do not: none of them is touched.
bool names_file(const std::u16string& path) {
    struct stat named {};
    return lstat(bytes_from_utf16(path).c_str(), &named) == 0 && S_ISREG(named.st_mode);
}

// What was just made and cannot be used. Where it holds something another process has had it in between, and moved it:
// the name is somebody else's now.
void remove_unused(const std::u16string& path, const native_file& file) {
    struct stat held {};
    if (fstat(static_cast<int>(file.handle), &held) == 0 && held.st_nlink > 0 && held.st_size == 0 && names_file(path))
        unlink(bytes_from_utf16(path).c_str());
}

}  // namespace

std::uint32_t last_system_error() { return last_error; }
std::string system_error_text(std::uint32_t error) { return std::strerror(static_cast<int>(error)); }
bool is_long_path_error(std::uint32_t) { return false; }

bool open_for_reading(native_file& file, const std::u16string& path) {
    // Without O_NONBLOCK the open would wait for the other end of a pipe.
    if (!open_with_flags(file, path, O_RDONLY | O_NONBLOCK)) return false;
    struct stat facts {};
    fstat(static_cast<int>(file.handle), &facts);
    if (S_ISREG(facts.st_mode) || S_ISBLK(facts.st_mode)) return true;
    close_file(file);
    return refuse(S_ISDIR(facts.st_mode) ? EISDIR : ESPIPE);
}

bool open_for_writing(native_file& file, const std::u16string& path) {
    return open_with_flags(file, path, O_RDWR | O_CREAT | O_TRUNC);
}

bool open_for_appending(native_file& file, const std::u16string& path) {
    return open_with_flags(file, path, O_WRONLY | O_APPEND);
}

bool open_for_update(native_file& file, const std::u16string& path) {
    file_identity target;
    // Asked ahead of the open: the system looks at a disk anew when one who could have written closes it.
    if (identify(path, target) && target.is_device) return refuse(ENOTSUP);
    if (!open_with_flags(file, path, O_RDWR | O_CREAT)) return false;
    if (identify(file, target) && !target.is_device) return true;
    close_file(file);
    return refuse(ENOTSUP);
}

claim_outcome claim_file(native_file& file, const std::u16string& path) {
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW;
    const bool is_new = open_with_flags(file, path, flags | O_EXCL);
    if (!is_new) {
        if (last_error != EEXIST) return claim_outcome::failed;
        if (!names_file(path)) return claim_outcome::taken;
        if (!open_with_flags(file, path, flags)) return claim_outcome::failed;
    }
    // Every other refusal is that of a file system without locks.
    const bool is_free = flock(static_cast<int>(file.handle), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    // Between the open and the lock the one who held it may have renamed or removed it.
    if (is_free && is_only_name(path, file)) return is_new ? claim_outcome::made : claim_outcome::claimed;
    if (is_free && is_new) remove_unused(path, file);
    close_file(file);
    return refuse(EBUSY), claim_outcome::taken;
}

bool cut_file(const native_file& file, std::uint64_t length) {
    struct stat facts {};
    if (!note(fstat(static_cast<int>(file.handle), &facts) == 0)) return false;
    if (!S_ISREG(facts.st_mode)) return true;
    if (facts.st_size == static_cast<off_t>(length)) return true;
    return note(ftruncate(static_cast<int>(file.handle), static_cast<off_t>(length)) == 0);
}

bool write_only_at_end(native_file& file) {
    const int descriptor = static_cast<int>(file.handle);
    const int flags = fcntl(descriptor, F_GETFL);
    return note(flags != -1 && fcntl(descriptor, F_SETFL, flags | O_APPEND) != -1);
}

bool keep_written(const native_file& file) {
    // What a share or a quota refuses late it tells at a close, be it that of a second descriptor.
    // No fsync: on a disk it costs a small copy a good part of its time, and a run that lost its power is done anew.
    const int second = fcntl(static_cast<int>(file.handle), F_DUPFD_CLOEXEC, 0);
    return note(second != -1 && (close(second) == 0 || errno == EINTR));
}

void close_file(native_file& file) { close_written_file(file); }

bool close_written_file(native_file& file) {
    // EINTR: the descriptor is gone all the same.
    const bool worked = !file.is_open() || close(static_cast<int>(file.handle)) == 0 || errno == EINTR;
    file.handle = -1;
    return note(worked);
}

bool identify(const native_file& file, file_identity& identity) {
    struct stat facts {};
    if (!note(fstat(static_cast<int>(file.handle), &facts) == 0)) return false;
    identity = identity_of(facts);
    return true;
}

bool identify(const std::u16string& path, file_identity& identity) {
    struct stat facts {};
    if (has_nul(path)) return refuse(EINVAL);
    if (!note(stat(bytes_from_utf16(path).c_str(), &facts) == 0)) return false;
    identity = identity_of(facts);
    return true;
}

std::int64_t file_size(const native_file& file) {
    // The end as a seek finds it: a block device has no size of its own.
    const off_t end = lseek(static_cast<int>(file.handle), 0, SEEK_END);
    if (!note(end >= 0)) return -1;
    lseek(static_cast<int>(file.handle), 0, SEEK_SET);
    return end;
}

std::uint64_t next_data(const native_file& file, std::uint64_t position) {
    const int descriptor = static_cast<int>(file.handle);
    const off_t found = lseek(descriptor, static_cast<off_t>(position), SEEK_DATA);
    if (found >= 0) return static_cast<std::uint64_t>(found);
    const std::int64_t size = errno == ENXIO ? file_size(file) : -1;
    return size < 0 ? position : static_cast<std::uint64_t>(size);
}

std::int64_t read_at(const native_file& file, std::uint64_t position, void* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(static_cast<int>(file.handle), static_cast<char*>(bytes) + done, count - done,
                                  static_cast<off_t>(position + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            note(false);
            return -1;
        }
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::int64_t>(done);
}

bool write_next(const native_file& file, const void* bytes, std::size_t count) {
    const char* at = static_cast<const char*>(bytes);
    for (std::size_t piece = count; count > 0;) {
        const ssize_t put = write(static_cast<int>(file.handle), at, piece);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) {
            piece = first_line_of(at, piece);
            if (piece == 0) return note(false);
            continue;
        }
        at += put;
        piece = count -= static_cast<std::size_t>(put);
    }
    return true;
}

bool write_text(const native_file& file, std::string_view text) { return write_next(file, text.data(), text.size()); }

move_outcome move_without_replacing(const std::u16string& from, const std::u16string& to) {
    if (has_nul(from) || has_nul(to)) return refuse(EINVAL), move_outcome::failed;
    const std::string old_path = bytes_from_utf16(from), new_path = bytes_from_utf16(to);
    bool worked = renameat2(AT_FDCWD, old_path.c_str(), AT_FDCWD, new_path.c_str(), RENAME_NOREPLACE) == 0;
    // Not every file system can rename so; a second name never replaces anything either.
    if (!worked && (errno == EINVAL || errno == ENOSYS)) {
        worked = link(old_path.c_str(), new_path.c_str()) == 0;
        if (worked) unlink(old_path.c_str());
    }
    if (note(worked)) return move_outcome::moved;
    return last_error == EEXIST ? move_outcome::target_exists : move_outcome::failed;
}

bool create_one_directory(const std::u16string& path) {
    constexpr mode_t new_directory_mode = 0777;
    if (has_nul(path)) return refuse(EINVAL);
    const std::string name = bytes_from_utf16(path);
    if (mkdir(name.c_str(), new_directory_mode) == 0) return note(true);
    struct stat facts {};
    if (errno == EEXIST && stat(name.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) return note(true);
    return note(false);
}

bool remove_one_file(const std::u16string& path) {
    if (has_nul(path)) return refuse(EINVAL);
    return note(unlink(bytes_from_utf16(path).c_str()) == 0);
}
