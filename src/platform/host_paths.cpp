#include "platform/host_paths.h"

#include <algorithm>

#include "base/text.h"
#include "platform/paths.h"

namespace {

constexpr std::size_t longest_expanded = 512;
constexpr std::u16string_view long_path_prefix = u"\\\\?\\";

bool has_drive_letters() { return host_separator() == u'\\'; }

// Length of what opens a device path: it stands ahead of every component.
std::size_t prefix_length(std::u16string_view path) {
    constexpr std::size_t length = 4;
    constexpr std::size_t least_for_global = 47;
    if (!has_drive_letters() || path.size() <= length) return 0;
    if (!path.starts_with(long_path_prefix) && !path.starts_with(u"\\\\.\\")) return 0;
    // A path below \\?\GLOBALROOT is not split behind its first four characters.
    return path.size() >= least_for_global && lowered(path).find(u"global") == length ? 0 : length;
}

bool is_made(std::u16string_view component) {
    return !component.empty() && !(has_drive_letters() && component.ends_with(u':'));
}

// What a system without drive letters takes for relative it resolves by itself.
bool is_made_absolute(const std::u16string& path) { return has_drive_letters() && path.size() > 2 && path[1] != u':'; }

}  // namespace

std::string shadow_device_prefix(bool lower_case) {
    const std::string prefix = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";
    return lower_case ? lowered_ascii(prefix) : prefix;
}

std::string expand_variables(std::string text) {
    std::size_t from = 0;
    // Guard: a variable whose value names itself would be replaced for ever at the same place.
    for (std::size_t steps = 0; steps < longest_expanded && text.size() <= longest_expanded; ++steps) {
        const std::size_t open = text.find('%', from);
        if (open == std::string::npos) break;
        const std::size_t close = text.find('%', open + 1);
        if (close == std::string::npos) break;
        const std::string name = text.substr(open + 1, close - open - 1);
        const auto value = environment_value(name);
        if (value) {
            text.replace(open, close - open + 1, *value);
            from = open;
            continue;
        }
        if (lowered_ascii(name) == "vss") text.replace(open, close - open + 1, shadow_device_prefix(false));
        from = close + 1;
    }
    return text;
}

std::u16string long_form(const std::u16string& path) {
    std::u16string whole = is_made_absolute(path) ? make_absolute(path) : path;
    // Behind the prefix a slash is a character like any other.
    std::replace(whole.begin(), whole.end(), u'/', u'\\');
    return std::u16string(long_path_prefix) + whole;
}

bool create_directory(const std::u16string& path) {
    if (create_one_directory(path)) return true;
    return is_long_path_error(last_system_error()) && create_one_directory(long_form(path));
}

bool create_directory_tree(const std::u16string& path) {
    if (path.empty()) return false;
    const std::size_t prefix = prefix_length(path);
    const char16_t separator = path.find(u'\\', prefix) == std::u16string::npos ? u'/' : host_separator();
    // Kept: a bare name, without any separator, is not made.
    if (path.find(separator, prefix) == std::u16string::npos) return true;
    std::size_t start = prefix > 0 ? prefix : root_length(path);
    while (start < path.size()) {
        const std::size_t end = std::min(path.find(separator, start), path.size());
        const bool wanted = is_made(std::u16string_view(path).substr(start, end - start));
        if (wanted && !create_directory(path.substr(0, end))) return false;
        start = end + 1;
    }
    return true;
}

std::u16string directory_part(const std::u16string& path) {
    const std::size_t end = path.size() - file_part(path).size();
    if (end == 0) return u".";
    return path.substr(0, end == 1 ? 1 : end - 1);
}

std::u16string file_part(const std::u16string& path) {
    const auto last = std::find_if(path.rbegin(), path.rend(), is_host_separator);
    return {last.base(), path.end()};
}

std::u16string without_end_separators(std::u16string path) {
    while (!path.empty() && is_host_separator(path.back())) path.pop_back();
    return path;
}

void remove_file(const std::u16string& path) {
    if (remove_one_file(is_made_absolute(path) ? make_absolute(path) : path)) return;
    if (is_long_path_error(last_system_error())) remove_one_file(long_form(path));
}

move_outcome move_file(const std::u16string& from, const std::u16string& to) {
    const move_outcome outcome = move_without_replacing(from, to);
    if (outcome != move_outcome::failed || !is_long_path_error(last_system_error())) return outcome;
    return move_without_replacing(long_form(from), long_form(to));
}
