// Parents that the user did not name: looked for where the snapshots say that they are, told in words, never taken in
// silence.

#include <algorithm>
#include <optional>

#include "base/diagnostic_log.h"
#include "base/text.h"
#include "platform/paths.h"
#include "sources/plain_file.h"
#include "sources/vmdk_chain.h"

namespace {

struct discovery {
    vmdk_chain& chain;
    std::string& text;
    std::vector<std::u16string>& paths;
    std::u16string directory;  // of the first path that names one, its last separator included
};

enum class outcome : std::uint8_t { joined, leave, failed, found };

std::u16string directory_of(const std::u16string& path) {
    std::size_t end = path.size();
    while (end > 0 && !is_host_separator(path[end - 1])) --end;
    return path.substr(0, end);
}

bool open_all(discovery& search) {
    const diagnostic_log* const log = search.chain.log;
    search.chain = {};
    search.chain.log = log;
    for (const std::u16string& path : search.paths) {
        if (search.directory.empty()) search.directory = directory_of(path);
        if (search.chain.add(path)) continue;
        search.text += utf8_from_utf16(path) + " can't be opened\n";
        return false;
    }
    return true;
}

// The parent is there, but its id is another one: left to whoever links the disks.
bool is_there_by_name(const vmdk_chain& chain, const std::u16string& hint) {
    const auto names_it = [&hint](const vmdk_disk& disk) { return disk.path.find(hint) != std::u16string::npos; };
    if (chain.base != nullptr) return names_it(*chain.base);
    return chain.disks.size() > 1 && std::any_of(chain.disks.begin(), chain.disks.end(),
                                                 [&](const auto& entry) { return names_it(*entry.second); });
}

// Guard: a file that is in the list already would be found for ever.
bool is_listed(const std::vector<std::u16string>& paths, const std::u16string& path) {
    const std::u16string whole = make_absolute(path);
    return std::any_of(paths.begin(), paths.end(), [&](const auto& listed) { return make_absolute(listed) == whole; });
}

// Guard: the hint is foreign, and who names another machine has this one tell it the user's name. The disks that the
// user named may lie there.
bool may_be_tried(const discovery& search, const std::u16string& path) {
    const bool is_beside = !search.directory.empty() && path.starts_with(search.directory);
    if (!names_another_machine(path) || (is_beside && names_another_machine(search.directory))) return true;
    log_diag_text(search.chain.log, "err: not looked for on another machine: parent " + utf8_from_utf16(path));
    return false;
}

// Where the hint says, else under its last name beside the disks that were named. Kept: the second is not tried out.
std::optional<std::u16string> place_of_parent(const discovery& search, const vmdk_disk& disk,
                                              const std::u16string& hint) {
    const bool of_windows = disk.encoding.find("windows") != std::string::npos;
    const std::size_t separator = hint.rfind(of_windows ? u'\\' : u'/');
    const std::u16string told = separator == std::u16string::npos ? search.directory + hint : hint;
    if (!is_listed(search.paths, told) && may_be_tried(search, told) && plain_file().open_read(told)) return told;
    if (search.directory.empty() || told.find(search.directory) != std::u16string::npos) return std::nullopt;
    const std::u16string name = hint.substr(separator + 1);
    const std::u16string beside = search.directory + name;
    if (name.empty() || is_listed(search.paths, beside) || !may_be_tried(search, beside)) return std::nullopt;
    return beside;
}

outcome look_for_parent(discovery& search, const vmdk_disk& disk) {
    std::u16string hint = utf16_from_utf8(disk.parent_hint);
    std::erase(hint, u'"');
    if (is_there_by_name(search.chain, hint)) return outcome::leave;
    const std::optional<std::u16string> place = place_of_parent(search, disk, hint);
    if (!place.has_value()) {
        search.text += "Child VMDK points to a parent VMDK that doesn't exist, aborting\n";
        return outcome::failed;
    }
    search.text += "=> vmdk file: " + utf8_from_utf16(disk.path) + "\n";
    search.text += " depends on parent vmdk " + utf8_from_utf16(hint) + "\n";
    search.paths.push_back(*place);
    return outcome::found;
}

outcome join_parent(discovery& search, vmdk_disk& disk) {
    if (disk.parent_cid == cid_of_no_parent) {
        search.chain.base = &disk;
        return outcome::joined;
    }
    const auto parent = search.chain.disks.find(disk.parent_cid);
    if (parent == search.chain.disks.end()) return look_for_parent(search, disk);
    if (disk.cid == disk.parent_cid) {
        search.text += "Child VMDK CID errors, aborting\n";
        return outcome::failed;
    }
    join_disks(*parent->second, disk);
    return outcome::joined;
}

outcome join_all(discovery& search) {
    for (const auto& [id, disk] : search.chain.disks) {
        const outcome came = join_parent(search, *disk);
        if (came != outcome::joined) return came;
    }
    return outcome::joined;
}

}  // namespace

bool vmdk_chain::resolve(const std::vector<std::u16string>& paths, std::string& text,
                         std::vector<std::u16string>& out_paths) {
    out_paths = paths;
    discovery search{*this, text, out_paths, {}};
    outcome came = outcome::found;
    // Each round opens the longer list afresh. It ends: a round adds a file that was not in the list.
    while (came == outcome::found) {
        if (!open_all(search)) return false;
        came = join_all(search);
    }
    if (came == outcome::failed || base == nullptr || out_paths.size() > paths.size()) return false;
    order_disks(*this);
    return true;
}
