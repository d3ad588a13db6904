// Names of the host made of text from a volume or from an option: one component each, which leads nowhere else.
// Called by the copy-out for every folder and file below its destination.
// Touches no file; the rules of both systems are here, so that both are tested on each.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct host_name_rules {
    std::u16string_view forbidden;  // beside control characters
    bool has_devices = false;       // names such as CON are taken, and a name ends in no blank or dot
    bool length_in_bytes = false;   // of UTF-8; otherwise in UTF-16 units
};
constexpr host_name_rules posix_name_rules = {u"/", false, true};
constexpr host_name_rules windows_name_rules = {u"\\/<>:\"|?*", true, false};
constexpr std::size_t longest_host_name = 255;

const host_name_rules& name_rules_of_this_host();

// `text` with "_" for what the host cannot store, half a surrogate pair included; "_" and "__" for the names of this
// folder and of the one above. A name that is too long loses its middle: what copies are told apart by stands in front,
// and the ending says what they are. Empty only if `text` is.
std::u16string safe_component(std::u16string_view text, const host_name_rules& rules = name_rules_of_this_host());
