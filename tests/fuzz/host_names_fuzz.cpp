// Whatever the text: the name leads to no other folder, and both hosts can store it. The first byte picks the host.
#include <cstring>

#include "extract/host_names.h"
#include "fuzz/target.h"

static bool is_storable(std::u16string_view name, const host_name_rules& rules) {
    if (name.find_first_of(rules.forbidden) != name.npos || name == u"." || name == u"..") return false;
    std::string bytes;
    if (!append_utf8(bytes, name) || bytes.find('\0') != bytes.npos) return false;
    if (rules.has_devices && (name.ends_with(u' ') || name.ends_with(u'.'))) return false;
    return (rules.length_in_bytes ? bytes.size() : name.size()) <= longest_host_name;
}

int run_input(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const host_name_rules& rules = data[0] % 2 == 0 ? posix_name_rules : windows_name_rules;
    std::u16string text((size - 1) / 2, u'\0');
    if (!text.empty()) std::memcpy(text.data(), data + 1, 2 * text.size());
    const std::u16string name = safe_component(text, rules);
    if (name.empty() != text.empty() || !is_storable(name, rules)) std::abort();
    if (safe_component(name, rules) != name) std::abort();  // what is safe stays as it is
    return 0;
}
