#include "ntfs/path_lookup.h"

#include <vector>

#include "base/diagnostic_log.h"
#include "base/text.h"
#include "ntfs/attributes.h"
#include "ntfs/directory_index.h"
#include "ntfs/file_names.h"
#include "ntfs/raw_record.h"
#include "ntfs/record_read.h"
#include "ntfs/record_source.h"
#include "ntfs/volume.h"
#include "platform/host_paths.h"

namespace {

// Guard: a link may lead to itself.
constexpr unsigned most_restarts = 64;

std::vector<std::u16string> split_path(std::u16string_view path, char16_t separator) {
    std::vector<std::u16string> segments;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find(separator, at), path.size());
        if (end > at) segments.emplace_back(path.substr(at, end - at));
        at = end + 1;
    }
    return segments;
}

bool is_drive(const std::u16string& segment) { return segment.size() > 1 && segment[1] == u':'; }

// How names are compared.
std::u16string key_of_segment(std::u16string_view segment) {
    return lowered(trimmed_path(segment.substr(0, segment.find(u':'))));
}

// A path on a shadow copy's device becomes that on its volume.
std::u16string_view without_shadow_device(std::u16string_view path) {
    if (!path.starts_with(u"\\\\?\\")) return path;
    const std::u16string prefix = utf16_from_utf8(shadow_device_prefix(true));
    if (!lowered(path).starts_with(prefix)) return path;
    const std::size_t separator = path.find(u'\\', prefix.size());
    return separator == std::u16string_view::npos ? path : path.substr(separator);
}

// --- directories -----------------------------------------------------------------------------------------------------

// Reads every child of a directory for its names.
class name_reader {
public:
    name_reader(ntfs_volume& volume, const diagnostic_log* log) : volume_(volume), log_(log) {}

    void read(dir_cache_entry& directory) {
        log_diag(log_, "info: get children names");
        for (const std::uint64_t child : directory.children) {
            if (child != directory.inode && read_child(child)) keep(directory, child);
        }
    }

private:
    // The child's record and names.
    bool read_child(std::uint64_t child) {
        names_.clear();
        if (!read_raw_record(volume_, child, record_)) return refuse("err: readFR: inode 0x%llx", child);
        if (record_.size() < volume_.record_bytes()) return refuse("err: paramsFR: inode 0x%llx", child);
        return collect_names(names_, volume_, child, record_) || refuse("err: namelookup: inode 0x%llx", child);
    }

    // Of two children with one name the first stays.
    void keep(dir_cache_entry& directory, std::uint64_t child) {
        for (const auto& item : names_) directory.names.emplace(lowered(item.value.name), child);
        const std::uint16_t flags = byte_view(record_).u16(record_at::flags);
        if ((flags & record_is_directory) == 0) return;
        const auto [place, made] = volume_.dir_cache.try_emplace(child);
        if (!made) return;
        place->second.inode = child;
        place->second.parents = {directory.inode};
        place->second.deleted = (flags & record_in_use) == 0;
    }

    [[gnu::format(printf, 2, 0)]] bool refuse(const char* format, std::uint64_t child) {
        log_diag(log_, format, static_cast<unsigned long long>(child));
        return false;
    }

    ntfs_volume& volume_;
    const diagnostic_log* log_;
    std::vector<std::uint8_t> record_;
    file_name_map names_;
};

// The directory's entry with its children, listed if they are not known yet. Null: it has none.
dir_cache_entry* entry_with_children(ntfs_volume& volume, std::uint64_t inode, const diagnostic_log* log) {
    const auto known = volume.dir_cache.find(inode);
    if (known != volume.dir_cache.end()) {
        // Kept: whether this listing worked is not asked.
        list_directory_children(volume, inode, known->second.children);
        return &known->second;
    }
    inode_set children;
    if (!list_directory_children(volume, inode, children) || children.empty()) {
        log_diag(log, "info: none found");
        return nullptr;
    }
    dir_cache_entry& made = volume.dir_cache[inode];
    made.inode = inode;
    made.parents = {inode};
    made.children.swap(children);
    return &made;
}

// The entry with children and names, read now or known. Null: there are no children.
dir_cache_entry* visit_directory(ntfs_volume& volume, std::uint64_t inode, const diagnostic_log* log) {
    const auto known = volume.dir_cache.find(inode);
    dir_cache_entry* entry = known == volume.dir_cache.end() ? nullptr : &known->second;
    if (entry == nullptr || entry->children.empty()) {
        log_diag(log, "info: get children nodes");
        entry = entry_with_children(volume, inode, log);
        if (entry == nullptr) return nullptr;
        log_diag(log, "info: # children [%d]", static_cast<int>(entry->children.size()));
    } else if (!entry->names.empty()) {
        log_diag(log, "info: cache lookup");
        return entry;
    }
    name_reader(volume, log).read(*entry);
    return entry;
}

bool find_child(ntfs_volume& volume, std::uint64_t directory, const std::u16string& name, std::uint64_t& child,
                const diagnostic_log* log) {
    const dir_cache_entry* entry = visit_directory(volume, directory, log);
    if (entry == nullptr) return false;
    if (entry->names.empty()) {
        log_diag(log, "err: no child names");
        return false;
    }
    const auto found = entry->names.find(name);
    if (found == entry->names.end()) {
        log_diag(log, "err: no child nodes");
        return false;
    }
    child = found->second;
    return true;
}

// --- links -----------------------------------------------------------------------------------------------------------

// Moves the start of the print name over the flags that stand ahead of the names in a symbolic link and not in a mount
// point: told apart by zero units ahead of the substitute name.
bool step_over_flags(byte_view value, std::size_t substitute, std::size_t& print) {
    for (; value.u16(substitute) == 0; substitute += 2, print += 2) {
        // Guard: behind the record every unit reads as zero. Such a link is none.
        if (substitute >= value.size) return false;
    }
    return true;
}

// The print name of a symbolic link or mount point. False: the record is neither. Kept: its first $REPARSE_POINT is
// looked for in the record alone, and its tag is not asked; whatever has the two lengths is followed, from the root.
bool read_untagged_link(ntfs_volume& volume, std::uint64_t inode, reparse_link& link) {
    std::vector<std::uint8_t> bytes;
    if (!read_raw_record(volume, inode, bytes) || bytes.size() < volume.record_bytes()) return false;
    const byte_view record(bytes);
    std::size_t at = attributes_start(record);
    if (!find_attribute(record, at, type_reparse_point, volume.record_bytes())) return false;
    const byte_view attribute = record.part(at, record.size);
    const byte_view value = attribute.part(attribute.u16(attribute_at::value_offset), attribute.size);
    if (value.u16(reparse_at::data_length) == 0 || value.u16(reparse_at::substitute_length) == 0) return false;
    constexpr std::size_t names = reparse_at::path_buffer;
    std::size_t print = names + value.u16(reparse_at::print_offset);
    if (!step_over_flags(value, names + value.u16(reparse_at::substitute_offset), print)) return false;
    read_name(link.text, value, print, value.u16(reparse_at::print_length) / 2u);
    return true;
}

// A thorough lookup follows what the decode of the whole record, with all that its lists deliver, takes for a link.
bool read_tagged_link(record_source& records, std::uint64_t inode, reparse_link& link) {
    file_record record;
    if (!read_and_decode_record(record, records, inode, false) || !record.link.found) return false;
    link = record.link;
    return true;
}

bool read_link(record_source& records, std::uint64_t inode, reparse_link& link) {
    return records.thorough ? read_tagged_link(records, inode, link) : read_untagged_link(*records.volume, inode, link);
}

// Takes out "." and "..", which a link's text may hold; above the root there is nothing, and a drive stays.
void resolve_dots(std::vector<std::u16string>& segments) {
    std::vector<std::u16string> resolved;
    for (std::u16string& segment : segments) {
        const bool has_parent = resolved.size() > 1 || (resolved.size() == 1 && !is_drive(resolved.front()));
        if (segment == u"..") {
            if (has_parent) resolved.pop_back();
        } else if (segment != u".") {
            resolved.push_back(std::move(segment));
        }
    }
    segments = std::move(resolved);
}

// --- the walk --------------------------------------------------------------------------------------------------------

class path_walk {
public:
    path_walk(path_target& target, record_source& records, bool follow_links)
        : target_(target), records_(records), follow_links_(follow_links), log_(records.log) {}

    bool run(std::vector<std::u16string> segments) {
        start(std::move(segments));
        target_.inode = target_.parent = root_inode;
        while (next_ < segments_.size()) {
            if (!step()) return false;
        }
        return true;
    }

    std::u16string joined() const {
        std::u16string path;
        for (const std::u16string& segment : segments_) {
            if (!path.empty()) path += u'\\';
            path += segment;
        }
        return path;
    }

private:
    void start(std::vector<std::u16string> segments) {
        segments_ = std::move(segments);
        current_ = root_inode;
        next_ = !segments_.empty() && is_drive(segments_.front()) ? 1 : 0;
    }

    bool step() {
        const std::u16string key = key_of_segment(segments_[next_]);
        const std::string name = utf8_from_utf16(key);
        log_diag(log_, "seg: %s", name.c_str());
        if (!find_child(*records_.volume, current_, key, target_.inode, log_)) return false;
        ++next_;
        reparse_link link;
        if (follow_links_ && read_link(records_, target_.inode, link)) return restart(link);
        log_diag(log_, "info: inode found for seg: %s : 0x%llx", name.c_str(),
                 static_cast<unsigned long long>(target_.inode));
        target_.parent = current_;
        current_ = target_.inode;
        return true;
    }

    // Goes on at the root, with what the link stands for and the segments that are left.
    bool restart(const reparse_link& link) {
        if (++restarts_ > most_restarts) return false;
        std::vector<std::u16string> segments = split_path(link.text, u'\\');
        // Kept: by default a link that leads to the root, with no segment left, has its own record for an answer.
        target_.parent = 0;
        if (records_.thorough) {
            target_.inode = target_.parent = root_inode;
            resolve(segments, link);
        }
        for (; next_ < segments_.size(); ++next_) {
            // Kept: where the path was divided by "/", a "\" in a segment divides it now.
            for (std::u16string& part : split_path(segments_[next_], u'\\')) segments.push_back(std::move(part));
        }
        start(std::move(segments));
        log_diag(log_, "info: restart segments [link]");
        return true;
    }

    // The link itself is the last of the segments walked: a relative one counts from those ahead of it.
    void resolve(std::vector<std::u16string>& segments, const reparse_link& link) const {
        const auto link_at = segments_.begin() + static_cast<std::ptrdiff_t>(next_ - 1);
        if (link.relative && !link.text.starts_with(u'\\'))
            segments.insert(segments.begin(), segments_.begin(), link_at);
        resolve_dots(segments);
    }

    path_target& target_;
    record_source& records_;
    bool follow_links_;
    const diagnostic_log* log_;
    std::vector<std::u16string> segments_;
    std::size_t next_ = 0;
    std::uint64_t current_ = root_inode;
    unsigned restarts_ = 0;
};

bool lookup_empty(path_target& target, bool rooted, const diagnostic_log* log) {
    log_diag(log, "path empty");
    if (!rooted) return false;
    target.inode = root_inode;
    target.path = u"\\";
    return true;
}

}  // namespace

bool lookup_path(path_target& target, record_source& records, const std::u16string& path, bool follow_links) {
    target = {};
    if (path.empty()) return false;
    const diagnostic_log* const log = records.log;
    const std::u16string text(without_shadow_device(path));
    log_diag(log, "anal: %s", utf8_from_utf16(text).c_str());
    const char16_t separator = text.find(u'/') != std::u16string::npos ? u'/' : u'\\';
    std::vector<std::u16string> segments = split_path(text, separator);
    const bool rooted = text.front() == separator;
    if (rooted) log_diag(log, "root dir");
    if (segments.empty()) return lookup_empty(target, rooted, log);

    path_walk walk(target, records, follow_links);
    if (!walk.run(std::move(segments))) {
        log_diag(log, "inode not found for %s", utf8_from_utf16(text).c_str());
        return false;
    }
    target.path = (rooted ? u"\\" : u"") + walk.joined();
    return true;
}
