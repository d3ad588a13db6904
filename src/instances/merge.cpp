#include "instances/merge.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/interrupts.h"
#include "sources/plain_file.h"

namespace {

constexpr std::uint64_t head_limit = 16384;     // bytes in which a run's header must end
constexpr std::uint64_t block_size = 1u << 20;  // bytes copied at once

bool is_blank(std::string_view line) { return line.find_first_not_of(" \t\r\n") == std::string_view::npos; }

bool is_line_end(char c) { return c == '\r' || c == '\n'; }

// Offset behind the last whole line; `first`, where that ends ahead of it. False: not to be read.
bool find_end(plain_file& part, std::uint64_t first, std::uint64_t& end) {
    std::vector<std::uint8_t> block;
    end = static_cast<std::uint64_t>(part.file_size());
    while (end > first) {
        const std::uint64_t start = std::max(first, (end - 1) / block_size * block_size);
        if (!part.read_into(block, end - start, start) || block.empty()) return false;
        const auto feed = std::find(block.rbegin(), block.rend(), '\n');
        end = start + static_cast<std::uint64_t>(block.rend() - feed);
        if (feed != block.rend()) return true;
    }
    return true;
}

merge_result append_lines(const native_file& to, plain_file& part, std::uint64_t offset, std::uint64_t end) {
    std::vector<std::uint8_t> block;
    while (offset < end && !interrupted()) {
        if (!part.read_into(block, std::min(block_size, end - offset), offset) || block.empty())
            return merge_result::unreadable;
        if (!write_next(to, block.data(), block.size())) return merge_result::not_written;
        offset += block.size();
    }
    return merge_result::merged;
}

bool open_merged(native_file& to, const std::u16string& path, bool (*open)(native_file&, const std::u16string&)) {
    return open(to, path) || (is_long_path_error(last_system_error()) && open(to, long_form(path)));
}

// Where the part's rows begin.
merge_result find_rows(plain_file& part, bool drop_header, std::uint64_t& offset, bool has_run_header) {
    std::vector<std::uint8_t> head;
    if (!part.read_into(head, head_limit, 0)) return merge_result::unreadable;
    const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
    if (find_body(text, drop_header, offset, has_run_header)) return merge_result::merged;
    return head.size() < head_limit ? merge_result::no_rows : merge_result::header_too_long;
}

// Behind the last whole row that the merged file holds behind `start`.
merge_result find_added(const std::u16string& path, std::uint64_t start, std::uint64_t& end) {
    plain_file merged;
    if (!merged.open_read(path) || !find_end(merged, start, end)) return merge_result::unreadable;
    return end > start ? merge_result::merged : merge_result::no_rows;
}

bool cut_merged(const std::u16string& path, std::uint64_t end) {
    native_file merged;
    const bool cut = open_merged(merged, path, open_for_update) && cut_file(merged, end);
    return close_written_file(merged) && cut;
}

}  // namespace

bool find_body(std::string_view head, bool drop_header, std::uint64_t& offset, bool has_run_header) {
    offset = 0;
    if (!has_run_header && !drop_header) return !head.empty();
    bool blank_seen = !has_run_header;
    // Kept: a zero byte ends the search, too.
    const std::string_view lines = head.substr(0, std::min(head.find('\0'), head.size()));
    for (std::size_t start = 0, end = 0; (end = lines.find('\n', start)) != std::string_view::npos; start = end + 1) {
        const bool blank = is_blank(lines.substr(start, end - start));
        blank_seen = blank_seen || blank;
        if (!blank_seen || blank == drop_header) continue;
        while (end < head.size() && is_line_end(head[end])) ++end;
        offset = end;
        return true;
    }
    return false;
}

merge_result append_results(const std::u16string& path, plain_file& part, bool drop_header, bool has_run_header) {
    std::uint64_t offset = 0, end = 0;
    merge_result result = find_rows(part, drop_header, offset, has_run_header);
    if (result != merge_result::merged) return result;
    if (!find_end(part, offset, end)) return merge_result::unreadable;
    if (offset >= end) return merge_result::no_rows;
    native_file to;
    if (!open_merged(to, path, open_for_appending)) return merge_result::not_written;
    result = append_lines(to, part, offset, end);
    return close_written_file(to) ? result : merge_result::not_written;
}

merge_result settle_results(const std::u16string& path, std::uint64_t start, plain_file& part, bool has_run_header) {
    std::uint64_t offset = 0, end = start;
    merge_result result = has_run_header ? find_rows(part, false, offset, true) : merge_result::merged;
    // A header that is cut short, on a full disk, tells nothing of the rows, which lie on another.
    if (result != merge_result::header_too_long) result = find_added(path, start, end);
    return cut_merged(path, result == merge_result::merged ? end : start) ? result : merge_result::not_written;
}
