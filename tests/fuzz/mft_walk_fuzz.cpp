// Whatever the bytes of an $MFT file: its walk ends, in each shape of report, and every row has the columns of the
// header line: no name, path or value carries a separator into it. The first byte picks the shape and the filters.

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "report/report_output.h"
#include "support/program_run.h"
#include "walk/walkers.h"

namespace {

using arguments = std::vector<std::string>;

// In the bare list a path is written as it stands. Without -csv a name's line feeds stay: rows cannot be told apart
// then.
enum class law { none, columns_of_all_rows, columns_of_each_row };

struct shape {
    law holds;
    arguments options;
    char separator = ',';
};

const shape shapes[] = {
    {law::columns_of_each_row, {"-csv"}},
    {law::columns_of_all_rows, {"-csvperpath"}, '|'},
    {law::none, {"-filepath_only", "-action_include_clusterinfo"}},
    {law::columns_of_each_row, {"-csv", "-action_include_clusterinfo", "-action_include_header", "-filerecord_offset"}},
    {law::columns_of_each_row, {"-csv", "-base10", "-pair_datetime", "-filter_deleted_files", "-hide_dos_fntimes"}},
    {law::columns_of_each_row,
     {"-csv", "-filter_ext", "txt|jpg", "-filter_wildcard", "?e", "-filter_name", "a", "-filter_max_size", "100",
      "-filter_dir_inode", "5", "-filter_start_time", "01/01/1980"}},
};

void expect(bool law) {
    if (!law) std::abort();
}

void check(const shape& shape, const std::string& report) {
    if (shape.holds == law::none || report.empty()) return;
    const auto separators_of = [&shape](const std::string& text) {
        return std::count(text.begin(), text.end(), shape.separator);
    };
    expect(report.back() == '\n');
    std::istringstream lines(report);
    std::string line;
    std::getline(lines, line);
    const auto columns = separators_of(line);
    if (shape.holds == law::columns_of_all_rows) expect(separators_of(report) % columns == 0);
    if (shape.holds != law::columns_of_each_row) return;
    while (std::getline(lines, line)) expect(separators_of(line) == columns);
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most_bytes = 64 * 1024;
    if (size == 0 || size > most_bytes) return 0;
    const temporary_file file(build::bytes(data + 1, data + size));
    const shape& picked = shapes[data[0] % std::size(shapes)];
    arguments options = picked.options;
    options.insert(options.end(), {"-mftfile", file.path(), "-quiet"});
    const read_options read = options_of(options);
    std::ostringstream out;
    report_output results{out, read.ctx->header_pending};
    walk_mft_sequence(results, *read.ctx);
    check(picked, out.str());
    return 0;
}
