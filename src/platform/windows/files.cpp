#include "platform/files.h"

#include <windows.h>
#include <winioctl.h>

#include <algorithm>

#include "base/text.h"
#include "platform/refused_block.h"
#include "platform/windows/wide.h"

namespace {

constexpr std::size_t one_read = 1u << 30;  // bytes

std::uint32_t last_error = 0;

bool note(bool worked) {
    last_error = worked ? 0 : GetLastError();
    return worked;
}

HANDLE handle_of(const native_file& file) { return reinterpret_cast<HANDLE>(file.handle); }

bool refuse(DWORD error) {
    SetLastError(error);
    return note(false);
}

bool has_nul(const std::u16string& path) { return path.find(u'\0') != std::u16string::npos; }

bool open_with(native_file& file, const std::u16string& path, DWORD access, DWORD disposition) {
    file.handle = -1;
    if (has_nul(path)) return refuse(ERROR_INVALID_NAME);
    const HANDLE handle = CreateFileW(wide_of(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    file.handle = reinterpret_cast<std::intptr_t>(handle);
    return note(handle != INVALID_HANDLE_VALUE);
}

}  // namespace

std::uint32_t last_system_error() { return last_error; }

std::string system_error_text(std::uint32_t error) {
    wchar_t text[256];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, static_cast<DWORD>(std::size(text)), nullptr);
    const std::u16string words = units_of({text, length});
    return words.empty() ? "error " + std::to_string(error) : utf8_from_utf16(trimmed(words));
}

bool is_long_path_error(std::uint32_t error) {
    return error == ERROR_FILENAME_EXCED_RANGE || error == ERROR_PATH_NOT_FOUND;
}

bool open_for_reading(native_file& file, const std::u16string& path) {
    return open_with(file, path, GENERIC_READ, OPEN_EXISTING);
}

bool open_for_writing(native_file& file, const std::u16string& path) {
    return open_with(file, path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
}

bool open_for_appending(native_file& file, const std::u16string& path) {
    return open_with(file, path, FILE_APPEND_DATA, OPEN_EXISTING);
}

bool open_for_update(native_file& file, const std::u16string& path) {
    file_identity target;
    if (identify(path, target) && target.is_device) return refuse(ERROR_NOT_SUPPORTED);
    if (!open_with(file, path, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS)) return false;
    if (identify(file, target) && !target.is_device) return true;
    close_file(file);
    return refuse(ERROR_NOT_SUPPORTED);
}

claim_outcome claim_file(native_file& file, const std::u16string& path) {
    file.handle = -1;
    if (has_nul(path)) return refuse(ERROR_INVALID_NAME), claim_outcome::failed;
    constexpr DWORD access = GENERIC_READ | GENERIC_WRITE | DELETE;  // the last for lose_when_interrupted
    const HANDLE handle = CreateFileW(wide_of(path).c_str(), access, FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    file.handle = reinterpret_cast<std::intptr_t>(handle);
    if (!note(handle != INVALID_HANDLE_VALUE)) {
        // What is about to be removed denies access until the one who has it closes it.
        const bool is_held = last_error == ERROR_SHARING_VIOLATION || last_error == ERROR_ACCESS_DENIED;
        return is_held ? claim_outcome::taken : claim_outcome::failed;
    }
    BY_HANDLE_FILE_INFORMATION facts{};
    const bool is_file = GetFileInformationByHandle(handle, &facts) != 0;
    if (is_file && facts.nNumberOfLinks <= 1 && (facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return claim_outcome::claimed;
    close_file(file);
    return refuse(ERROR_SHARING_VIOLATION), claim_outcome::taken;
}

bool cut_file(const native_file& file, std::uint64_t length) {
    if (GetFileType(handle_of(file)) != FILE_TYPE_DISK) return true;
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(length);
    return note(SetFilePointerEx(handle_of(file), end, nullptr, FILE_BEGIN) != 0 && SetEndOfFile(handle_of(file)) != 0);
}

bool write_only_at_end(native_file& file) {
    // The right to append, without that to write anywhere, is what the system takes for this.
    const HANDLE appending = ReOpenFile(handle_of(file), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, 0);
    if (!note(appending != INVALID_HANDLE_VALUE)) return false;
    CloseHandle(handle_of(file));
    file.handle = reinterpret_cast<std::intptr_t>(appending);
    return true;
}

void close_file(native_file& file) {
    if (file.is_open()) CloseHandle(handle_of(file));
    file.handle = -1;
}

bool keep_written(const native_file& file) {
    // What a share has not taken yet it refuses here: closing alone would not tell.
    return note(GetFileType(handle_of(file)) != FILE_TYPE_DISK || FlushFileBuffers(handle_of(file)) != 0);
}

bool close_written_file(native_file& file) {
    if (!file.is_open()) return true;
    const bool kept = keep_written(file);
    const bool closed = CloseHandle(handle_of(file)) != 0;
    file.handle = -1;
    return kept && (closed || note(false));
}

bool identify(const native_file& file, file_identity& identity) {
    identity = {};
    SetLastError(ERROR_SUCCESS);
    const DWORD type = GetFileType(handle_of(file));
    if (type == FILE_TYPE_UNKNOWN && GetLastError() != ERROR_SUCCESS) return note(false);
    if (type != FILE_TYPE_DISK) return note(true);
    BY_HANDLE_FILE_INFORMATION facts{};
    // Volumes and drives are of this type too, and have no such facts.
    identity.is_device = GetFileInformationByHandle(handle_of(file), &facts) == 0;
    identity.volume = facts.dwVolumeSerialNumber;
    identity.index = std::uint64_t{facts.nFileIndexHigh} << 32 | facts.nFileIndexLow;
    return note(true);
}

bool identify(const std::u16string& path, file_identity& identity) {
    if (has_nul(path)) return refuse(ERROR_INVALID_NAME);
    constexpr DWORD with_everybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE handle = CreateFileW(wide_of(path).c_str(), 0, with_everybody, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (!note(handle != INVALID_HANDLE_VALUE)) return false;
    native_file file{reinterpret_cast<std::intptr_t>(handle)};
    const bool worked = identify(file, identity);
    CloseHandle(handle);
    return worked;
}

std::int64_t file_size(const native_file& file) {
    LARGE_INTEGER size{};
    return note(GetFileSizeEx(handle_of(file), &size) != 0) ? size.QuadPart : -1;
}

std::uint64_t next_data(const native_file& file, std::uint64_t position) {
    const std::int64_t size = file_size(file);
    if (size < 0 || position >= static_cast<std::uint64_t>(size)) return position;
    FILE_ALLOCATED_RANGE_BUFFER asked{}, first{};
    asked.FileOffset.QuadPart = static_cast<LONGLONG>(position);
    asked.Length.QuadPart = size - asked.FileOffset.QuadPart;
    DWORD came = 0;
    const BOOL all = DeviceIoControl(handle_of(file), FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, &first,
                                     sizeof first, &came, nullptr);
    if (all == 0 && GetLastError() != ERROR_MORE_DATA) return position;
    if (came < sizeof first) return static_cast<std::uint64_t>(size);
    return std::max(position, static_cast<std::uint64_t>(first.FileOffset.QuadPart));
}

std::int64_t read_at(const native_file& file, std::uint64_t position, void* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(position + done);
        place.OffsetHigh = static_cast<DWORD>((position + done) >> 32);
        DWORD got = 0;
        const auto wanted = static_cast<DWORD>(std::min(count - done, one_read));
        if (ReadFile(handle_of(file), static_cast<char*>(bytes) + done, wanted, &got, &place) == 0) {
            if (GetLastError() == ERROR_HANDLE_EOF) break;
            note(false);
            return -1;
        }
        if (got == 0) break;
        done += got;
    }
    return static_cast<std::int64_t>(done);
}

bool write_next(const native_file& file, const void* bytes, std::size_t count) {
    const char* at = static_cast<const char*>(bytes);
    for (std::size_t piece = count; count > 0;) {
        DWORD put = 0;
        if (WriteFile(handle_of(file), at, static_cast<DWORD>(std::min(piece, one_read)), &put, nullptr) == 0) {
            note(false);
            piece = first_line_of(at, piece);
            if (piece == 0) return false;
            continue;
        }
        if (put == 0) return false;
        at += put;
        piece = count -= put;
    }
    return true;
}

bool write_text(const native_file& file, std::string_view text) {
    static std::string converted;  // keeps its storage from row to row
    converted.clear();
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t feed = std::min(text.find('\n', start), text.size());
        converted += text.substr(start, feed - start);
        if (feed < text.size()) converted += "\r\n";
        start = feed + 1;
    }
    return write_next(file, converted.data(), converted.size());
}

move_outcome move_without_replacing(const std::u16string& from, const std::u16string& to) {
    if (has_nul(from) || has_nul(to)) return refuse(ERROR_INVALID_NAME), move_outcome::failed;
    if (note(MoveFileW(wide_of(from).c_str(), wide_of(to).c_str()) != 0)) return move_outcome::moved;
    const bool exists = last_error == ERROR_ALREADY_EXISTS || last_error == ERROR_FILE_EXISTS;
    return exists ? move_outcome::target_exists : move_outcome::failed;
}

bool create_one_directory(const std::u16string& path) {
    if (has_nul(path)) return refuse(ERROR_INVALID_NAME);
    const std::wstring wide = wide_of(path);
    if (CreateDirectoryW(wide.c_str(), nullptr) != 0) return note(true);
    const DWORD error = GetLastError();
    const DWORD attributes = error == ERROR_ALREADY_EXISTS ? GetFileAttributesW(wide.c_str()) : 0;
    const bool is_there = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return is_there ? note(true) : refuse(error);
}

bool remove_one_file(const std::u16string& path) {
    if (has_nul(path)) return refuse(ERROR_INVALID_NAME);
    const std::wstring wide = wide_of(path);
    SetFileAttributesW(wide.c_str(), FILE_ATTRIBUTE_NORMAL);
    return note(DeleteFileW(wide.c_str()) != 0);
}
