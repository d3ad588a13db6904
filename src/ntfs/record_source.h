// What the readers of a volume need of a run: the open source, the size of its records, and the log.
// Filled by walk/open_source; a base of the run context, so that ntfs/ and what stands on it need no more of a run.
// Opens nothing and reads nothing itself.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct diagnostic_log;
struct ntfs_volume;
struct plain_file;

struct record_source {
    std::unique_ptr<plain_file> mft_reader;  // an extracted $MFT: the source while it is there
    std::unique_ptr<ntfs_volume> volume;
    std::u16string source_text;           // describes the source in results
    bool record_size_learned = false;     // from the first record of an extracted $MFT
    std::uint32_t record_size = 1024;     // bytes; 0 reads as 1024
    std::uint32_t sector_size = 512;      // bytes: the stride of fixups
    std::uint64_t future_limit = 0;       // FILETIME: a $FILE_NAME time beyond it lies in the future
    bool thorough = false;                // the true result where a kept oddity would stand otherwise
    const diagnostic_log* log = nullptr;  // not owned

    record_source();
    ~record_source();
    record_source(const record_source&) = delete;
    record_source& operator=(const record_source&) = delete;

    std::uint32_t effective_record_size() const { return record_size == 0 ? 1024 : record_size; }
};
