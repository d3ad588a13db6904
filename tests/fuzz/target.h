// What the fuzz targets share: the function that each of them is, what they expect, and how they open an $MFT.
// Included by every target; limits.cpp calls it.
// Does not build inputs: those are the target's bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "base/text.h"
#include "run/run_context.h"
#include "sources/plain_file.h"
#include "support/program_run.h"

int run_input(const std::uint8_t* data, std::size_t size);

inline void expect(bool law) {
    if (!law) std::abort();
}

// The file as an extracted $MFT with records of 1024 bytes.
inline void open_mft(mft_entries_ctx& ctx, const temporary_file& file) {
    ctx.record_size_learned = true;
    ctx.mft_reader = std::make_unique<plain_file>();
    expect(ctx.mft_reader->open_read(utf16_from_utf8(file.path())));
}

// Each row has the columns of the first line: no name, path or value carries a separator into it.
inline void check_columns(const std::string& report, char separator) {
    std::istringstream lines(report);
    std::string labels, line;
    std::getline(lines, labels);
    const auto columns = std::count(labels.begin(), labels.end(), separator);
    while (std::getline(lines, line)) expect(std::count(line.begin(), line.end(), separator) == columns);
}
