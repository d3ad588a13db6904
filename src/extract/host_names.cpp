#include "extract/host_names.h"

#include <algorithm>

#include "base/text.h"
#include "platform/paths.h"

namespace {

bool is_control(char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); }
bool is_high_half(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool is_low_half(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Half a pair cannot be written as UTF-8, in which POSIX names and all results are.
bool is_lone_half(std::u16string_view text, std::size_t at) {
    if (is_high_half(text[at])) return at + 1 == text.size() || !is_low_half(text[at + 1]);
    return is_low_half(text[at]) && (at == 0 || !is_high_half(text[at - 1]));
}

// CON, NUL and their like, whatever follows their first dot; COM and LPT with a digit, in superscript too.
bool is_device_name(std::u16string_view name) {
    constexpr std::u16string_view devices[] = {u"con", u"prn", u"aux", u"nul", u"conin$", u"conout$"};
    constexpr std::u16string_view port_digits = u"0123456789\u00b9\u00b2\u00b3";
    const std::u16string stem = lowered(trimmed(name.substr(0, name.find(u'.'))));
    if (std::find(std::begin(devices), std::end(devices), stem) != std::end(devices)) return true;
    const bool is_port = stem.starts_with(u"com") || stem.starts_with(u"lpt");
    return is_port && stem.size() == 4 && port_digits.find(stem[3]) != std::u16string_view::npos;
}

std::size_t length_of(std::u16string_view text, const host_name_rules& rules) {
    return rules.length_in_bytes ? utf8_from_utf16(text).size() : text.size();
}

// Where `text` can be divided, at or ahead of `at`: not inside a pair.
std::size_t ahead_of_pair(std::u16string_view text, std::size_t at) {
    return at > 0 && at < text.size() && is_low_half(text[at]) ? at - 1 : at;
}

std::u16string without_middle(const std::u16string& text, const host_name_rules& rules) {
    constexpr std::size_t ending_units = 40;  // at most 120 bytes
    const std::size_t tail = ahead_of_pair(text, text.size() - std::min(ending_units, text.size() / 2));
    const std::u16string ending = text.substr(tail);
    std::size_t head = tail;
    // Half a pair at the end would be measured as nothing.
    while (head > 0 && length_of(text.substr(0, head) + ending, rules) > longest_host_name) {
        head = ahead_of_pair(text, head - 1);
    }
    return text.substr(0, head) + ending;
}

void replace_last_of(std::u16string& text, std::u16string_view forbidden_endings) {
    for (std::size_t end = text.size(); end > 0 && forbidden_endings.find(text[end - 1]) != std::u16string_view::npos;)
        text[--end] = u'_';
}

}  // namespace

const host_name_rules& name_rules_of_this_host() {
    return host_separator() == u'\\' ? windows_name_rules : posix_name_rules;
}

std::u16string safe_component(std::u16string_view text, const host_name_rules& rules) {
    std::u16string name(text);
    for (std::size_t at = 0; at < name.size(); ++at) {
        const bool bad = is_control(text[at]) || rules.forbidden.find(text[at]) != std::u16string_view::npos;
        if (bad || is_lone_half(text, at)) name[at] = u'_';
    }
    if (name == u"." || name == u"..") name.assign(name.size(), u'_');
    if (rules.has_devices) replace_last_of(name, u" .");
    if (rules.has_devices && is_device_name(name)) name.insert(0, 1, u'_');
    return length_of(name, rules) > longest_host_name ? without_middle(name, rules) : name;
}
