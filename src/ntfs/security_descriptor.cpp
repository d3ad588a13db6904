#include "ntfs/security_descriptor.h"

#include <algorithm>
#include <iterator>

#include "base/numbers.h"
#include "ntfs/layout.h"

namespace {

constexpr std::string_view indent = "  ";
constexpr std::string_view unknown_name = "unk";

struct rid_row {
    std::uint32_t rid;
    std::string_view name;
};

constexpr rid_row rid_names[] = {
    {500, "User Admin"},
    {501, "User Guest"},
    {502, "KRBTGT [key distrib center]"},
    {512, "Domain Admin"},
    {513, "Domain Users"},
    {514, "Domain Guests"},
    {515, "Domain Computers"},
    {516, "Domain Controllers"},
    {517, "Domain Certificate Publishers"},
    {518, "Domain Schema Admins"},
    {519, "Domain Server Admins"},
    {520, "Domain Policy Creater/Owner"},
    {533, "Domain RAS & IAS Servers"},
    {544, "Admins"},
    {545, "Users"},
    {546, "Guests"},
    {547, "Power Users"},
    {548, "Account Operators"},
    {549, "Server Operators"},
    {550, "Print Operators"},
    {551, "Backup Operators"},
    {552, "Replicators"},
    {553, "RAS Services"},
    {554, "Pre Win2k Compatible Access"},
    {555, "Remote Desktop Users"},
    {556, "Network Configuration Operators"},
    {557, "Incoming Trust Forest Builders"},
    {558, "Performance Monitor Users"},
    {559, "Performance Log Users"},
    {560, "Windows Authorization Access Group"},
    {561, "Terminal Server License Servers"},
};

// By the first sub-authority under authority 3.
constexpr std::string_view creator_names[] = {"Owner", "Group", "Owner Server", "Group Server"};

// By the first sub-authority under authority 5; an empty name is not known.
constexpr std::string_view nt_names[33] = {
    "",
    "Dialup",
    "Network",
    "Batch",
    "Interactive",
    "Logon Ids",
    "Service",
    "Anonymous Logon",
    "Proxy",
    "Server Logon [Domain Controllers]",
    "Principal Self",
    "Authenticated User",
    "Restricted Code",
    "Terminal Server Users",
    "",
    "",
    "",
    "",
    "Local System",
    "Local Service",
    "Network Service",
    "NT Non Unique",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "Builtin Domain",
};

// By the entry's type.
constexpr std::string_view type_words[] = {
    "access allowed", "access denied", "system audit", "system alarm", "access allowed",
    "access allowed", "access denied", "system audit", "system alarm",
};

struct access_word {
    unsigned bit;
    std::string_view word;
};

// In the order of the words in a line. The low 16 bits, rights of the object's own kind, have none.
constexpr access_word access_words[] = {
    {31, "GENERIC_READ"}, {30, "GENERIC_WRITE"},          {29, "GENERIC_EXECUTE"}, {28, "GENERIC_ALL"},
    {16, "DELETE"},       {17, "READ_CONTROL"},           {18, "WRITE_DAC"},       {19, "WRITE_OWNER"},
    {20, "SYNCHRONIZE"},  {24, "ACCESS_SYSTEM_SECURITY"}, {25, "MAXIMUM_ALLOWED"},
};

std::string access_text(std::uint32_t mask) {
    std::string text;
    for (const access_word& each : access_words) {
        if ((mask >> each.bit & 1) == 0) continue;
        if (!text.empty()) text += " | ";
        text += each.word;
    }
    return text;
}

template <std::size_t count>
std::string_view word_at(const std::string_view (&words)[count], std::size_t index, std::string_view otherwise) {
    return index < count && !words[index].empty() ? words[index] : otherwise;
}

// Of a SID with one sub-authority.
std::string_view authority_label(std::uint8_t authority, std::uint32_t sub_authority) {
    switch (authority) {
        case 0: return "null";
        case 1: return "World";
        case 2: return "Local";
        case 3: return word_at(creator_names, sub_authority, unknown_name);
        case 5: return word_at(nt_names, sub_authority, unknown_name);
        default: return unknown_name;
    }
}

std::string_view sid_label(byte_view sid) {
    const std::size_t count = sid.u8(sid_at::count);
    if (count == 1) return authority_label(sid.u8(sid_at::authority), sid.u32(sid_at::sub_authorities));
    // Kept: without any sub-authority this is a part of the identifier authority.
    std::string_view name = unknown_name;
    rid_name(sid.u32(sid_at::sub_authorities + 4 * count - 4), name);
    return name;
}

void add_entry(ace_table& table, byte_view ace) {
    const byte_view sid = ace.part(ace_at::sid, ace.size);
    const std::string_view type_text = word_at(type_words, ace.u8(ace_at::type), "unknown");
    std::string mask_text = access_text(ace.u32(ace_at::mask));
    std::string key = sid_text_any(sid);
    key += type_text;
    const auto stored = table.find(key);
    if (stored == table.end()) {
        table.emplace(std::move(key), ace_line{type_text, std::move(mask_text), sid_label(sid)});
    } else {
        stored->second.mask_text += " | " + mask_text;
    }
}

void append_padded(std::string& out, std::string_view text) {
    constexpr std::size_t width = 15;
    out += text;
    if (text.size() < width) out.append(width - text.size(), ' ');
    out += ' ';
}

void append_sid_line(std::string& out, std::string_view word, byte_view descriptor, std::uint32_t offset) {
    if (offset == 0) return;
    out.append(indent).append(word).append(" sid [");
    out.append(sid_text_short(descriptor.part(offset, descriptor.size))).append("]\n");
}

void append_list(std::string& out, std::string_view title, byte_view descriptor, std::uint32_t offset) {
    if (offset == 0) return;
    ace_table table;
    read_acl(table, descriptor, offset);
    if (table.empty()) return;
    out.append("\n").append(indent).append(title).append("\n");
    for (const auto& [key, line] : table) {
        out += indent;
        append_padded(out, line.type_text);
        append_padded(out, line.label);
        out.append(line.mask_text).append("\n");
    }
}

}  // namespace

bool rid_name(std::uint32_t rid, std::string_view& name) {
    const auto found =
        std::find_if(std::begin(rid_names), std::end(rid_names), [rid](const rid_row& row) { return row.rid == rid; });
    if (found == std::end(rid_names)) return false;
    name = found->name;
    return true;
}

std::string sid_text_any(byte_view sid) {
    std::string text = "S-";
    append_decimal(text, sid.u8(sid_at::revision));
    text += '-';
    append_decimal(text, sid.u8(sid_at::authority));
    const std::size_t count = sid.u8(sid_at::count);
    for (std::size_t index = 0; index < count; ++index) {
        text += '-';
        append_decimal(text, sid.u32(sid_at::sub_authorities + 4 * index));
    }
    return text;
}

// Kept: an ordinary account has more sub-authorities, so as an owner it shows none of them.
std::string sid_text_short(byte_view sid) { return sid.u8(sid_at::count) > 1 ? std::string() : sid_text_any(sid); }

void read_acl(ace_table& table, byte_view descriptor, std::uint32_t acl_offset) {
    const byte_view list = descriptor.part(acl_offset, descriptor.size);
    const std::size_t count = list.u16(acl_at::count);
    std::size_t at = acl_at::first_entry;
    // Guard: what begins behind the bytes is no entry, whatever the count says.
    for (std::size_t index = 0; index < count && at < list.size; ++index) {
        const byte_view ace = list.part(at, list.size);
        add_entry(table, ace);
        // Guard: 65,535 entries of size 0 would all be the same one.
        const std::size_t size = ace.u16(ace_at::size);
        if (size == 0) break;
        at += size;
    }
}

void format_security_descriptor(std::string& out, byte_view descriptor) {
    out.append(indent).append("Security Identifiers\n");
    append_sid_line(out, "owner", descriptor, descriptor.u32(security_descriptor_at::owner));
    append_sid_line(out, "group", descriptor, descriptor.u32(security_descriptor_at::group));
    append_list(out, "System Access Control List", descriptor, descriptor.u32(security_descriptor_at::system_list));
    append_list(out, "Discretionary Access Control List", descriptor,
                descriptor.u32(security_descriptor_at::discretionary_list));
}
