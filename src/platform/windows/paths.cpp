#include "platform/paths.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "platform/windows/wide.h"

namespace {

std::vector<std::u16string> components_of(std::u16string_view path, char16_t separator) {
    std::vector<std::u16string> parts;
    while (true) {
        const std::size_t end = path.find(separator);
        parts.emplace_back(path.substr(0, end));
        if (end == std::u16string_view::npos) return parts;
        path.remove_prefix(end + 1);
    }
}

std::u16string joined(const std::vector<std::u16string>& parts, char16_t separator) {
    std::u16string out;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (index > 0) out += separator;
        out += parts[index];
    }
    return out;
}

// The current directory without as many of its last components as the path has ".." components, and behind that what
// follows the last "..".
std::u16string climb_from_here(const std::u16string& here, std::u16string_view path, char16_t separator) {
    const std::vector<std::u16string> asked = components_of(path, separator);
    std::vector<std::u16string> kept = components_of(here, u'\\');
    std::size_t behind_last = 0;
    for (std::size_t index = 0; index < asked.size(); ++index) {
        if (asked[index] != u"..") continue;
        behind_last = index + 1;
        if (kept.size() > 1) kept.pop_back();
    }
    kept.insert(kept.end(), asked.begin() + static_cast<std::ptrdiff_t>(behind_last), asked.end());
    return joined(kept, separator);
}

std::u16string without_double_separators(std::u16string path, char16_t separator) {
    const std::u16string doubled(2, separator);
    for (std::size_t at = path.find(doubled); at != std::u16string::npos; at = path.find(doubled)) path.erase(at, 1);
    return path;
}

// Length of "\\server\share\", which no call can make.
std::size_t share_length(std::u16string_view path) {
    const std::size_t behind_server = path.find(u'\\', 2);
    const std::size_t behind_share = path.find(u'\\', std::min(behind_server, path.size() - 1) + 1);
    return behind_share == std::u16string_view::npos ? path.size() : behind_share + 1;
}

}  // namespace

char16_t host_separator() { return u'\\'; }
bool is_host_separator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

std::size_t root_length(std::u16string_view path) {
    if (path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\")) return 4;
    if (path.starts_with(u"\\\\")) return share_length(path);
    if (path.size() > 1 && path[1] == u':') return path.size() > 2 && is_host_separator(path[2]) ? 3 : 2;
    return !path.empty() && is_host_separator(path[0]) ? 1 : 0;
}

bool names_another_machine(std::u16string_view path) {
    const bool from_root = path.size() > 1 && is_host_separator(path[0]);
    // "\??\UNC\" is the kernel's own way of writing what stands behind two separators.
    return from_root && (is_host_separator(path[1]) || path[1] == u'?');
}

std::u16string current_directory() {
    wchar_t text[512];
    const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(std::size(text)), text);
    return length < std::size(text) ? units_of({text, length}) : std::u16string();
}

std::u16string make_absolute(std::u16string_view path) {
    std::u16string clean(path);
    for (char16_t& unit : clean) {
        if (unit == u'"' || unit == u'\'') unit = u' ';
    }
    std::u16string text(trimmed_path(clean));
    if (text.empty()) return {};
    const char16_t separator = text.find(u'/') != std::u16string::npos ? u'/' : u'\\';
    // A path from the current drive's root is not accepted; one that begins with two separators is as it is.
    if (text[0] == separator) return text.size() > 1 && text[1] == separator ? text : std::u16string();
    if (text.size() > 1 && text[1] == u':') return text;
    const std::u16string here = current_directory();
    if (here.empty()) return {};
    const std::size_t last = text.rfind(separator);
    if (last == std::u16string::npos) return without_double_separators(here + separator + text, separator);
    const std::vector<std::u16string> parts = components_of(text, separator);
    if (std::find(parts.begin(), parts.end(), u"..") != parts.end()) {
        return without_double_separators(climb_from_here(here, text, separator), separator);
    }
    const bool dotted = text.starts_with(std::u16string(u".") + separator);
    return without_double_separators(here + separator + (dotted ? text.substr(1) : text), separator);
}

std::optional<std::string> environment_value(const std::string& name) {
    const std::wstring wide = wide_of(utf16_from_utf8(name));
    SetLastError(ERROR_SUCCESS);
    const DWORD needed = GetEnvironmentVariableW(wide.c_str(), nullptr, 0);
    if (needed == 0) return std::nullopt;
    std::wstring value(needed, L'\0');
    value.resize(GetEnvironmentVariableW(wide.c_str(), value.data(), needed));
    return utf8_from_utf16(units_of(value));
}

std::optional<std::string> take_environment_value(const std::string& name) {
    auto value = environment_value(name);
    SetEnvironmentVariableW(wide_of(utf16_from_utf8(name)).c_str(), nullptr);
    return value;
}
