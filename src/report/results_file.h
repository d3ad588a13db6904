// The opening of a results file: nothing is cut before it is known that no source lies there.
// Called by the run driver, in an instance too, and by run_instances for the merged file.
// Words nothing itself.
#pragma once

#include <string>

#include "report/result_stream.h"
#include "sources/evidence.h"

// Opens the file at `path` and cuts it. False: `why` says what is against it, and the file is as it was.
bool open_results_file(uni::ofstream& file, const std::u16string& path, const evidence_files& evidence,
                       std::string& why);
// The same for rows that go behind what the file holds.
bool open_shared_results(uni::ofstream& file, const std::u16string& path, const evidence_files& evidence,
                         std::string& why);
// False: a source lies there, or nothing.
bool may_be_removed(const std::u16string& path, const evidence_files& evidence);
