#include "report/time_groups.h"

#include "base/text.h"

namespace {

template <class entry>
time_group group_of(const entry& times, const char* label, const path_entry* path, const name_entry* name) {
    return {path, name, label, times.modified, times.accessed, times.mft_changed, times.created};
}

const si_entry* first_si(const file_record& record) {
    return record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
}

// Sequence numbers are left out of it: a name whose parent record was used again still belongs to the path.
bool in_directory(const name_entry& name, const path_entry& path) {
    return ((name.parent ^ path.key) & inode_mask) == 0;
}

}  // namespace

void add_pathless_group(std::vector<time_group>& groups, const file_record& record) {
    const si_entry* si = first_si(record);
    groups.push_back(si == nullptr ? time_group{} : group_of(*si, "$SI:", nullptr, nullptr));
}

void add_path_group(std::vector<time_group>& groups, const file_record& record, const path_entry& path) {
    const si_entry* si = first_si(record);
    if (si != nullptr) groups.push_back(group_of(*si, "$SI:", &path, nullptr));
}

void add_si_groups(std::vector<time_group>& groups, const file_record& record, const path_entry& path) {
    const si_entry* si = first_si(record);
    if (si == nullptr) return;
    if (record.file_names.empty()) add_path_group(groups, record, path);
    for (const auto& item : record.file_names) {
        const name_entry& name = item.value;
        if (!name.is_dos && in_directory(name, path)) groups.push_back(group_of(*si, "$SI:", &path, &name));
    }
}

void add_name_groups(std::vector<time_group>& groups, const file_record& record, const path_entry& path,
                     bool hide_dos_names) {
    for (const auto& item : record.file_names) {
        const name_entry& name = item.value;
        if (!in_directory(name, path) || (name.is_dos && hide_dos_names)) continue;
        groups.push_back(group_of(name, name.is_dos ? "$FN8.3:" : "$FN:", &path, &name));
    }
}

void append_path_and_name(text_buffer& out, const time_group& group) {
    if (group.path != nullptr) out += std::string_view(group.path->value.path);
    if (group.name != nullptr) append_utf8(out, group.name->name);
}
