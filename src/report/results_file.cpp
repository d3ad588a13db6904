#include "report/results_file.h"

namespace {

// Open, with nothing cut or written yet.
bool hold(uni::ofstream& file, const std::u16string& path, const evidence_files& evidence, std::string& why) {
    file.open_held(path);
    file_identity target;
    if (!file || !file.identify(target)) {
        why = system_error_text(last_system_error());
        return false;
    }
    if (is_evidence(evidence, target)) {
        why = "it is a source";
        file.close();
        return false;
    }
    return true;
}

}  // namespace

bool open_results_file(uni::ofstream& file, const std::u16string& path, const evidence_files& evidence,
                       std::string& why) {
    if (!hold(file, path, evidence, why)) return false;
    file.release();
    return true;
}

bool open_shared_results(uni::ofstream& file, const std::u16string& path, const evidence_files& evidence,
                         std::string& why) {
    if (!hold(file, path, evidence, why)) return false;
    file.release_shared(false);
    return true;
}

bool may_be_removed(const std::u16string& path, const evidence_files& evidence) {
    file_identity target;
    return identify(path, target) && !target.is_device && !is_evidence(evidence, target);
}
