#include "walk/time_analysis.h"

#include "base/filetime.h"
#include "ntfs/file_record.h"

namespace {

// The first name in the same directory that is not the 8.3 one.
const name_entry* long_twin(const file_record& record, const name_entry& dos_name) {
    for (const auto& item : record.file_names) {
        if (!item.value.is_dos && (item.value.parent & inode_mask) == (dos_name.parent & inode_mask))
            return &item.value;
    }
    return nullptr;
}

// $STANDARD_INFORMATION more than a day older than the name, in both times that a user cannot set by ordinary means.
bool predates_name(const si_entry& si, const name_entry& name) {
    return si.created + filetime_per_day < name.created && si.mft_changed + filetime_per_day < name.mft_changed;
}

// The warning is `kind` and `what`; nothing if both are empty.
struct verdict {
    const char* kind = "";
    const char* what = "";
};

verdict judge(const file_record& record) {
    const si_entry* si = record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
    if (si == nullptr && !record.is_extension) return {"si:time ", "absent"};
    if (record.file_names.empty()) return {"fn:time ", "absent"};
    if (si != nullptr && si->anomaly) return {"si:time ", si->anomaly_text};
    for (const auto& item : record.file_names) {
        const name_entry& name = item.value;
        if (name.anomaly) return {"fn:time ", name.anomaly_text};
        const name_entry* twin = name.is_dos ? long_twin(record, name) : nullptr;
        if (twin != nullptr && twin->accessed != name.accessed) return {"fnSL:time diff", ""};
        if (si != nullptr && predates_name(*si, name)) return {"**:time warning", ""};
    }
    return {};
}

}  // namespace

void analyze_record_times(file_record& record, bool torn) {
    const verdict found = judge(record);
    const bool fired = *found.kind != '\0' || *found.what != '\0';
    record.time_warning = torn || fired;
    record.time_warning_text.clear();
    if (torn) record.time_warning_text = fired ? "torn record; " : "torn record";
    if (fired) record.time_warning_text.append(found.kind).append(found.what);
}
