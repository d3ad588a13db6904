#include "sources/evidence.h"

#include <algorithm>

#include "platform/devices.h"

void protect(evidence_files& evidence, const std::u16string& path) {
    file_identity file;
    if (!identify(path, file)) return;
    evidence.files.push_back(file);
    if (file.is_device) identify_backing(path, evidence.files);
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
