#include "sources/evidence.h"

#include <algorithm>

#include "platform/devices.h"
#include "platform/host_paths.h"
#include "platform/paths.h"

namespace {

bool find_file(const std::u16string& path, file_identity& file) {
    return identify(path, file) || (is_long_path_error(last_system_error()) && identify(long_form(path), file));
}

}  // namespace

void protect(evidence_files& evidence, const std::u16string& path) {
    // Each of the ways in which a source is opened: as its path stands, as a plain_file, as an image.
    for (const std::u16string& taken : {path, without_end_separators(path), make_absolute(path)}) {
        file_identity file;
        if (!find_file(taken, file)) continue;
        evidence.files.push_back(file);
        if (file.is_device) identify_backing(taken, evidence.files);
    }
}

void protect(evidence_files& evidence, const named_sources& named) {
    for (const source_choice& choice : choices_of(named)) {
        for (const std::u16string& path : choice.paths) protect(evidence, path);
        if (choice.kind == kind_physical_drive) {
            protect(evidence, drive_device_path(static_cast<std::uint32_t>(choice.drive_number)));
        }
    }
}

bool is_evidence(const evidence_files& evidence, const file_identity& file) {
    // A disk is never written, named as a source or not.
    return file.is_device || std::find(evidence.files.begin(), evidence.files.end(), file) != evidence.files.end();
}
