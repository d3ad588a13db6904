#include "ntfs/file_record.h"

#include <algorithm>

void attr_entry::clear() {
    name.clear();
    label = {};
    type = 0;
    raw.clear();
    value_text.clear();
    head_bytes.clear();
    is_named_data = is_data = false;
    runs.clear();
    runs_joined = false;
    resident_value.clear();
}

std::uint64_t attr_entry::data_size() const {
    if (!non_resident()) return value_length();
    const byte_view header(raw);
    return std::max(header.u64(attribute_at::real_size), header.u64(attribute_at::initialised_size));
}

namespace {

// A record that held more than this leaves no storage behind: each place of each map may have grown in another record.
constexpr std::size_t most_kept_storage = 64 * 1024;

void release_maps(file_record& record) {
    record.file_names.release();
    record.attributes.release();
    record.parents.release();
    record.lower_names.release();
    record.volume_names.release();
    record.volume_infos.release();
    record.reparse_targets.release();
    record.index_roots.release();
    record.object_ids.release();
    record.std_infos.release();
    record.followed.release();
}

}  // namespace

void file_record::clear() {
    if (costs.held_bytes + costs.path_bytes > most_kept_storage) release_maps(*this);
    source_text = {};
    has_attribute_list = attribute_list_nonresident = false;
    time_warning = false;
    time_warning_text.clear();
    inode = 0;
    sequence = 0;
    header.fill(0);
    raw.clear();
    is_extension = false;
    base_reference = 0;
    std_infos.clear();
    file_names.clear();
    object_ids.clear();
    volume_names.clear();
    volume_infos.clear();
    reparse_targets.clear();
    index_roots.clear();
    attributes.clear();
    parents.clear();
    lower_names.clear();
    for (filter_match& match : matches) {
        match.hit = false;
        match.text.clear();
    }
    record_offset = 0;
    parked_fragments.clear();
    parts.clear();
    any_joined = false;
    costs = {};
    followed.clear();
    last_number = 0;
    link.found = false;
    names_by_parent.clear();
}

std::span<const name_entry* const> all_names(const file_record& record) {
    std::vector<const name_entry*>& names = record.names_by_parent;
    if (names.size() == record.file_names.size()) return names;
    names.clear();
    bool sorted = true;
    for (const auto& item : record.file_names) {
        sorted = sorted && (names.empty() || names.back()->parent <= item.value.parent);
        names.push_back(&item.value);
    }
    const auto ahead = [](const name_entry* left, const name_entry* right) { return left->parent < right->parent; };
    if (!sorted) std::stable_sort(names.begin(), names.end(), ahead);
    return names;
}

std::span<const name_entry* const> names_in(const file_record& record, std::uint64_t parent) {
    const auto names = all_names(record);
    // Most records have one directory alone.
    if (!names.empty() && names.front()->parent == parent && names.back()->parent == parent) return names;
    const auto is_ahead = [](const name_entry* name, std::uint64_t of) { return name->parent < of; };
    const auto is_behind = [](std::uint64_t of, const name_entry* name) { return of < name->parent; };
    const auto first = std::lower_bound(names.begin(), names.end(), parent, is_ahead);
    return {first, std::upper_bound(first, names.end(), parent, is_behind)};
}
