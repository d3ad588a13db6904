#include "sources/plain_file.h"

#include <algorithm>

#include "platform/host_paths.h"

namespace {

constexpr std::uint64_t slice = 0x1000'0000;  // bytes of one system read

}  // namespace

bool plain_file::open_read(const std::u16string& path_to_open) { return open_with(path_to_open, false, true); }

bool plain_file::open_with(const std::u16string& path_to_open, bool for_writing, bool as_binary) {
    close();
    path = without_end_separators(path_to_open);
    const auto open_native = for_writing ? open_for_writing : open_for_reading;
    if (!open_native(file, path)) {
        if (!is_long_path_error(last_system_error()) || !open_native(file, long_form(path))) return false;
    }
    writable = for_writing;
    binary = as_binary;
    size = std::max<std::int64_t>(::file_size(file), 0);
    is_open = true;
    return true;
}

bool plain_file::read_at(void* buffer, std::uint32_t& count, std::uint64_t offset) {
    if (!is_open || offset > static_cast<std::uint64_t>(size)) return false;
    if (count == 0) return true;
    const auto wanted = std::min<std::uint64_t>(count, static_cast<std::uint64_t>(size) - offset);
    const std::int64_t got = ::read_at(file, offset, buffer, wanted);
    if (got < 0) return false;
    count = static_cast<std::uint32_t>(got);
    return true;
}

bool plain_file::read_into(std::vector<std::uint8_t>& bytes, std::uint64_t count, std::uint64_t offset) {
    if (!is_open || offset > static_cast<std::uint64_t>(size)) return false;
    bytes.resize(std::min(count, static_cast<std::uint64_t>(size) - offset));
    std::uint64_t done = 0;
    while (done < bytes.size()) {
        const std::uint64_t wanted = std::min(slice, bytes.size() - done);
        const std::int64_t got = ::read_at(file, offset + done, bytes.data() + done, wanted);
        if (got < 0) return false;
        done += static_cast<std::uint64_t>(got);
        if (static_cast<std::uint64_t>(got) < wanted) break;
    }
    bytes.resize(done);
    return true;
}

void plain_file::close() {
    close_file(file);
    is_open = false;
    size = 0;
}

claim_outcome plain_file::claim(const std::u16string& path_to_open) {
    close();
    path = path_to_open;
    claim_outcome outcome = claim_file(file, path);
    if (outcome == claim_outcome::failed && is_long_path_error(last_system_error()))
        outcome = claim_file(file, long_form(path));
    is_open = writable = outcome == claim_outcome::made || outcome == claim_outcome::claimed;
    return outcome;
}
