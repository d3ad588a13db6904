#include "support/program_run.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "front/option_reader.h"
#include "report/report_output.h"
#include "walk/walkers.h"

namespace {

// Memory, where the host has a folder for it: a fuzz target makes a file for each input.
std::filesystem::path folder_of_files() {
    const std::filesystem::path memory = "/dev/shm";
    std::error_code ignored;
    // Where the path is none of the host's own, Wine shows the folder, too.
    const bool usable = memory.is_absolute() && std::filesystem::is_directory(memory, ignored);
    return usable ? memory : std::filesystem::temp_directory_path();
}

}  // namespace

temporary_file::temporary_file(const build::bytes& content) {
    static const unsigned run = std::random_device()();
    static unsigned count = 0;
    const std::string name = "grelmoor_test_" + std::to_string(run) + "_" + std::to_string(++count);
    static const std::filesystem::path folder = folder_of_files();
    path_ = (folder / name).string();
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
}

temporary_file::~temporary_file() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

arguments operator+(arguments left, const arguments& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

read_options options_of(arguments given) {
    read_options read{std::make_unique<mft_entries_ctx>(), 0, arguments{"grelmoor"} + given};
    read.result = parse_run_options(*read.ctx, read.left, "ver", "NTFS$MFT");
    return read;
}

std::vector<std::string> report_lines(const build::bytes& mft, const arguments& given) {
    const temporary_file file(mft);
    const read_options read = options_of(given + arguments{"-mftfile", file.path(), "-quiet"});
    std::stringstream out;
    report_output results{out, read.ctx->header_pending};
    walk_mft_sequence(results, *read.ctx);
    std::vector<std::string> lines;
    for (std::string line; std::getline(out, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> cells_of(const std::string& row, const std::string& separator) {
    std::vector<std::string> cells;
    for (std::size_t from = 0;;) {
        const std::size_t to = row.find(separator, from);
        cells.push_back(row.substr(from, to - from));
        if (to == std::string::npos) return cells;
        from = to + separator.size();
    }
}
