// The files that a run reads and must never write to: each source that an option named, and what lies behind it.
// Filled when the options have been read; asked before a results file or a log is cut.
// Knows files by identity, so that no other spelling and no link gets around it. Opens nothing for writing.
#pragma once

#include <string>
#include <vector>

#include "platform/files.h"
#include "sources/source_choice.h"

struct evidence_files {
    std::vector<file_identity> files;
};

// By whatever way a source's path is opened; one that leads to nothing is passed over. A device counts with the file
// that holds its bytes.
void protect(evidence_files& evidence, const std::u16string& path);
void protect(evidence_files& evidence, const named_sources& named);
bool is_evidence(const evidence_files& evidence, const file_identity& file);
