#include "front/scanners.h"

#include "base/text.h"

namespace {

bool same_name(std::string_view name, const std::string& entry) { return equals_ignoring_case(name, entry); }

bool same_name(std::string_view name, const std::u16string& entry) {
    if (name.size() != entry.size()) return false;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (lower_unit(entry[at]) != lower_unit(static_cast<char16_t>(name[at]))) return false;
    }
    return true;
}

template <class text>
std::size_t find_from(std::string_view name, const std::vector<text>& list, std::size_t from) {
    while (from < list.size() && !same_name(name, list[from])) ++from;
    return from;
}

template <class text>
bool take_flag_from(std::string_view name, std::vector<text>& list) {
    const std::size_t at = find_from(name, list, 0);
    if (at == list.size()) return false;
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
    return true;
}

template <class text>
bool take_value_from(std::string_view name, text& value, std::vector<text>& list) {
    const std::size_t at = find_from(name, list, 0);
    if (at + 1 >= list.size()) return false;
    value = list[at + 1];
    const auto first = list.begin() + static_cast<std::ptrdiff_t>(at);
    list.erase(first, first + 2);
    return true;
}

}  // namespace

bool take_flag(std::string_view name, std::vector<std::string>& list) { return take_flag_from(name, list); }
bool take_flag_wide(std::string_view name, std::vector<std::u16string>& list) { return take_flag_from(name, list); }

bool take_value(std::string_view name, std::string& value, std::vector<std::string>& list) {
    return take_value_from(name, value, list);
}
bool take_value_wide(std::string_view name, std::u16string& value, std::vector<std::u16string>& list) {
    return take_value_from(name, value, list);
}

bool peek_value(std::string_view name, std::string& value, const std::vector<std::string>& list) {
    const std::size_t at = find_from(name, list, 1);
    if (at + 1 >= list.size()) return false;
    value = list[at + 1];
    return true;
}

bool has_pipe(const std::vector<std::string>& list) { return find_from("-pipe", list, 1) < list.size(); }

std::vector<std::u16string> widened(const std::vector<std::string>& list) {
    std::vector<std::u16string> out;
    out.reserve(list.size());
    for (const std::string& entry : list) out.push_back(utf16_from_utf8(entry));
    return out;
}

std::vector<std::string> narrowed(const std::vector<std::u16string>& list) {
    std::vector<std::string> out;
    out.reserve(list.size());
    for (const std::u16string& entry : list) out.push_back(bytes_from_utf16(entry));
    return out;
}

std::string joined(const std::vector<std::string>& list, char quote) {
    std::string line;
    for (std::size_t index = 0; index < list.size(); ++index) {
        if (index > 0) line += ' ';
        const bool quoted = list[index].find(' ') != std::string::npos;
        line += quoted ? quote + list[index] + quote : list[index];
    }
    return line;
}
