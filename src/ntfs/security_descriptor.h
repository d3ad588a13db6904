// Text of a self-relative security descriptor: its owner and group, and its access lists, a line for each SID and type.
// Called by the record dump, for resident $SECURITY_DESCRIPTOR attributes.
// Judges nothing: revision, control flags and sizes are not looked at, and offsets are taken as they stand.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/bytes.h"

// One line of an access list; its SID stands in its key.
struct ace_line {
    std::string_view type_text;  // word of the entry's type
    std::string mask_text;       // access words; those of further entries of the same key behind " | "
    std::string_view label;      // name of the SID
};
// By the SID's text with the type's word behind it: lines stand in order of these bytes, not in that of the list.
using ace_table = std::map<std::string, ace_line>;

// Appends the whole text, several lines. `descriptor` is the attribute's value; what lies beyond it reads as zeros.
void format_security_descriptor(std::string& out, byte_view descriptor);
// Adds the entries of the list at `acl_offset`, a byte offset into the descriptor.
void read_acl(ace_table& table, byte_view descriptor, std::uint32_t acl_offset);

// "S-1-5-18". Of the identifier authority only the last byte counts.
std::string sid_text_any(byte_view sid);
// The same for a SID with at most one sub-authority; empty for any other.
std::string sid_text_short(byte_view sid);
// False: the relative identifier has no name.
bool rid_name(std::uint32_t rid, std::string_view& name);
