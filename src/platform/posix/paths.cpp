#include "platform/paths.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>

#include "base/text.h"

namespace {

// "." and empty components vanish, ".." takes the one before it away; the root has no parent.
std::u16string without_dots(std::u16string_view path) {
    std::u16string out;
    while (!path.empty()) {
        const std::size_t end = path.find(u'/');
        const std::u16string_view component = path.substr(0, end);
        path.remove_prefix(end == std::u16string_view::npos ? path.size() : end + 1);
        if (component.empty() || component == u".") continue;
        if (component == u"..") {
            out.resize(out.empty() ? 0 : out.rfind(u'/'));
            continue;
        }
        out += u'/';
        out += component;
    }
    return out.empty() ? u"/" : out;
}

}  // namespace

char16_t host_separator() { return u'/'; }
bool is_host_separator(char16_t unit) { return unit == u'/'; }
std::size_t root_length(std::u16string_view path) { return path.starts_with(u'/') ? 1 : 0; }
bool names_another_machine(std::u16string_view) { return false; }

std::u16string current_directory() {
    std::array<char, PATH_MAX> buffer{};
    return getcwd(buffer.data(), buffer.size()) == nullptr ? std::u16string() : utf16_from_utf8(buffer.data());
}

std::u16string make_absolute(std::u16string_view path) {
    std::u16string_view text = trimmed_path(path);
    // Quotes around a path are not part of it; inside a name they are characters like any other here.
    const bool quoted =
        text.size() > 1 && text.front() == text.back() && (text.front() == u'"' || text.front() == u'\'');
    if (quoted) text = trimmed_path(text.substr(1, text.size() - 2));
    if (text.empty()) return {};
    if (text.front() == u'/') return without_dots(text);
    const std::u16string here = current_directory();
    if (here.empty()) return {};
    return without_dots(here + u'/' + std::u16string(text));
}

std::optional<std::string> environment_value(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

std::optional<std::string> take_environment_value(const std::string& name) {
    auto value = environment_value(name);
    unsetenv(name.c_str());
    return value;
}
