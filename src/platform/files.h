// Files of the host: open, positioned read, size, and the few operations on names that the program needs.
// Called by sources/ (plain_file, path helpers), front/ (script, log, results) and extract/.
// Prints nothing and throws nothing; does not retry: the rules for long paths are in platform/host_paths.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct native_file {
    std::intptr_t handle = -1;  // a descriptor on POSIX, a HANDLE on Windows
    bool is_open() const { return handle != -1; }
};

// The system's number of the last failure of this header's calls, and its words.
std::uint32_t last_system_error();
std::string system_error_text(std::uint32_t error);
// Failures after which a path is tried once more in its long form; never on POSIX.
bool is_long_path_error(std::uint32_t error);

// A path with a NUL inside is refused by every call below: the system would take the part ahead of it for the whole.

// Opens for reading, shared with every other reader and writer. What has no size is refused: a directory, a pipe, a
// terminal; none of them is waited for.
bool open_for_reading(native_file& file, const std::u16string& path);
// Creates or truncates, for reading and writing, shared.
bool open_for_writing(native_file& file, const std::u16string& path);
// For writing behind what an existing file holds.
bool open_for_appending(native_file& file, const std::u16string& path);
// Creates or opens, for reading and writing, shared; what is in the file stays. Refuses a disk, and does not touch it.
bool open_for_update(native_file& file, const std::u16string& path);
enum class claim_outcome { made, claimed, taken, failed };
// Creates or opens, for reading and writing, a file that is the caller's alone until it is closed; it may be renamed
// and removed meanwhile. What is in it stays. Made: it was not there, and is empty; not every host tells. Taken:
// another process has claimed it, or the name is a link, one of several names of a file, or no file's. A host that
// cannot lock keeps nobody apart.
claim_outcome claim_file(native_file& file, const std::u16string& path);
// Cuts the file down to its first `length` bytes, where it has a length at all.
bool cut_file(const native_file& file, std::uint64_t length = 0);
// From now on each write goes to the file's end, also behind what other processes have added.
bool write_only_at_end(native_file& file);
void close_file(native_file& file);
// False: something that was written before could not be kept.
bool keep_written(const native_file& file);
bool close_written_file(native_file& file);

// What a name leads to: the same for every spelling and every link of one file.
struct file_identity {
    std::uint64_t volume = 0;  // device; serial number of the volume on Windows
    std::uint64_t index = 0;   // inode; file index
    bool is_device = false;    // a disk or a part of one

    bool operator==(const file_identity&) const = default;
};
bool identify(const native_file& file, file_identity& identity);
// The same without opening the file for reading. False: nothing is there.
bool identify(const std::u16string& path, file_identity& identity);
// Size in bytes; -1 when the system refuses.
std::int64_t file_size(const native_file& file);
// The first position from `position` on where the system does not know of a hole; the file's size where only holes
// follow, and `position` itself where the system cannot tell.
std::uint64_t next_data(const native_file& file, std::uint64_t position);
// Reads up to `count` bytes at `position` (below 2^63); keeps no file position.
// Returns how many came: fewer only at the end of the file; -1 when the system refused.
std::int64_t read_at(const native_file& file, std::uint64_t position, void* bytes, std::size_t count);
// Appends at the file's own position. False: not everything was written.
bool write_next(const native_file& file, const void* bytes, std::size_t count);
// The same in text mode: LF becomes the host's line end. One write, however many lines.
bool write_text(const native_file& file, std::string_view text);

enum class move_outcome { moved, target_exists, failed };
// Renames, within one file system; never onto something that is there.
move_outcome move_without_replacing(const std::u16string& from, const std::u16string& to);

// True also when the directory is there already.
bool create_one_directory(const std::u16string& path);
// Clears the read-only attribute where there is one, then removes.
bool remove_one_file(const std::u16string& path);
