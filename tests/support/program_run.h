// The program's stages in one process, without its console: options into a context, an $MFT from memory into rows.
// Used by unit tests that state something about whole rows or settings.
// Writes one temporary file per $MFT, removed with the object that stands for it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "run/run_context.h"
#include "support/record_builder.h"

using arguments = std::vector<std::string>;
arguments operator+(arguments left, const arguments& right);

// A file with these bytes, for as long as the object lives.
class temporary_file {
public:
    explicit temporary_file(const build::bytes& content);
    ~temporary_file();
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// The context as the option passes leave it, and what they returned. "grelmoor" stands ahead of the arguments.
struct read_options {
    std::unique_ptr<mft_entries_ctx> ctx;
    int result = 0;
    arguments left;  // arguments that no pass took
};
read_options options_of(arguments given);

// What a run writes to its results, header block excluded: lines of the report's header and its rows.
std::vector<std::string> report_lines(const build::bytes& mft, const arguments& given);
// The cells of one row, divided at the separator.
std::vector<std::string> cells_of(const std::string& row, const std::string& separator = ",");
