#include "ntfs/subtree.h"

#include <set>
#include <vector>

#include "base/diagnostic_log.h"
#include "ntfs/directory_index.h"
#include "ntfs/file_names.h"
#include "ntfs/layout.h"
#include "ntfs/raw_record.h"
#include "ntfs/volume.h"

namespace {

// Guards: directories with several names would multiply without end.
constexpr std::size_t most_paths = 4096;
constexpr std::size_t most_steps = 65'536;
// No path on a volume is longer, in UTF-16 units.
constexpr std::size_t longest_path = 32'767;

// All climbs from one record to the root, depth first, without recursion: a chain may be as long as the volume has
// records.
class climb {
public:
    climb(ntfs_volume& volume, found_paths& paths) : volume_(volume), paths_(paths) {}

    bool run(std::uint64_t inode) {
        if (!enter(inode)) return false;
        while (!levels_.empty()) {
            if (paths_.count >= most_paths) return true;
            level& top = levels_.back();
            if (top.next == top.names.size()) {
                leave();
            } else if (!take_name(top)) {
                return false;
            }
        }
        return true;
    }

private:
    // One record on the way up: its names, and the prefix, the names below it with the lowest one first.
    struct level {
        std::uint64_t inode = 0;
        std::size_t prefix_before = 0;
        file_name_map names;
        std::size_t next = 0;  // name to climb by
    };

    bool enter(std::uint64_t inode) {
        // Guard: parent references may form a ring.
        if (++steps_ > most_steps || !on_the_way_.insert(inode).second) return false;
        level& made = levels_.emplace_back();
        made.inode = inode;
        made.prefix_before = prefix_.size();
        return read_raw_record(volume_, inode, record_) && collect_names(made.names, volume_, inode, record_);
    }

    void leave() {
        on_the_way_.erase(levels_.back().inode);
        prefix_.resize(levels_.back().prefix_before);
        levels_.pop_back();
    }

    // Kept: a name pushed stays there for the record's next name.
    bool take_name(level& top) {
        const file_name& name = top.names.begin()[top.next++].value;
        if (prefix_.size() != 1 || prefix_.front() != name.name) prefix_.push_back(name.name);
        if (name.parent != root_inode) return enter(name.parent);
        std::u16string path;
        for (auto part = prefix_.rbegin(); part != prefix_.rend(); ++part) {
            if (*part != u".") path.append(*part).append(u"\\");
            if (path.size() > longest_path) return false;
        }
        if (paths_.count++ == 0) paths_.first = std::move(path);
        return true;
    }

    ntfs_volume& volume_;
    std::vector<std::u16string> prefix_;
    found_paths& paths_;
    std::vector<level> levels_;
    std::set<std::uint64_t> on_the_way_;
    std::vector<std::uint8_t> record_;
    std::size_t steps_ = 0;
};

// Lists directories level by level.
class descent {
public:
    descent(ntfs_volume& volume, subtree_map& known) : volume_(volume), known_(known) {}

    // Those below `frontier` that are not known yet, a level down.
    subtree_map next_level(const subtree_map& frontier) {
        subtree_map next;
        for (const auto& [inode, path] : frontier) {
            children_.clear();
            // What a failed listing found before it failed counts.
            list_directory_children(volume_, inode, children_);
            for (const std::uint64_t child : children_) add_child(next, child, path);
        }
        return next;
    }

    void tell_too_deep(const diagnostic_log* log) const {
        if (too_deep_ == 0) return;
        log_diag(log, "err: %llu directories lie deeper than any path and are left out, the first is record %llx",
                 static_cast<unsigned long long>(too_deep_), static_cast<unsigned long long>(first_too_deep_));
    }

private:
    // A directory that is known keeps its first path; going into it again would show nothing new.
    void add_child(subtree_map& next, std::uint64_t child, const std::u16string& parent_path) {
        if (known_.contains(child) || next.contains(child)) return;
        if (!read_raw_record(volume_, child, record_)) return;
        if ((byte_view(record_).u16(record_at::flags) & record_is_directory) == 0) return;
        names_.clear();
        const bool named = collect_names(names_, volume_, child, record_);
        const std::u16string path = parent_path + (named ? names_.begin()->value.name : u"unk") + u"\\";
        // Guard: a hostile tree may be deeper than any path.
        if (path.size() <= longest_path) {
            next.emplace(child, path);
        } else if (too_deep_++ == 0) {
            first_too_deep_ = child;
        }
    }

    ntfs_volume& volume_;
    const subtree_map& known_;
    inode_set children_;
    std::vector<std::uint8_t> record_;
    file_name_map names_;
    std::uint64_t too_deep_ = 0, first_too_deep_ = 0;
};

bool is_directory(ntfs_volume& volume, std::uint64_t inode) {
    std::vector<std::uint8_t> record;
    if (!read_raw_record(volume, inode, record)) return false;
    return (byte_view(record).u16(record_at::flags) & record_is_directory) != 0;
}

}  // namespace

bool collect_paths(ntfs_volume& volume, std::uint64_t inode, found_paths& paths_out) {
    return climb(volume, paths_out).run(inode);
}

bool expand_subtree(subtree_map& result, std::uint64_t inode, std::int64_t depth, ntfs_volume& volume,
                    const std::u16string& base_path, const diagnostic_log* log) {
    result.clear();
    found_paths paths;
    if (!volume.valid || !is_directory(volume, inode) || !collect_paths(volume, inode, paths)) return false;
    std::u16string text = base_path + u"\\";
    // Kept: the first path again for each path found.
    for (std::size_t count = 0; count < paths.count && text.size() <= longest_path; ++count) text += paths.first;
    result.emplace(inode, text);
    subtree_map frontier = result;
    descent levels(volume, result);
    for (std::int64_t level = 0; level <= depth && !frontier.empty(); ++level) {
        frontier = levels.next_level(frontier);
        result.insert(frontier.begin(), frontier.end());
    }
    levels.tell_too_deep(log);
    return true;
}
