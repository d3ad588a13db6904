// Whatever the volume: the walk over its free clusters ends, each row has the columns of the header line and says where
// it comes from, and no more records come out than slots that begin like one. The first byte picks the shape.
#include <set>

#include "fuzz/target.h"
#include "report/report_output.h"
#include "support/open_volume.h"
#include "walk/unallocated.h"

namespace {

std::size_t signatures_in(const build::bytes& image) {
    const std::string_view text(reinterpret_cast<const char*>(image.data()), image.size());
    std::size_t count = 0;
    for (const char* word : {"FILE", "BAAD"}) {
        for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 4)) ++count;
    }
    return count;
}

void check(const std::string& report, std::size_t most_records) {
    check_columns(report, ',');
    std::istringstream lines(report);
    std::string line;
    std::set<std::string> records;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        expect(line.find(",unalloc") != std::string::npos);
        records.insert(line.substr(0, line.find(',')));
    }
    expect(records.size() <= most_records);
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most_bytes = 64 * 1024;
    if (size == 0 || size > most_bytes) return 0;
    const build::bytes image(data + 1, data + size);
    opened_volume opened(image);
    if (!opened.valid()) return 0;
    mft_entries_ctx& ctx = opened.ctx;
    ctx.format_csv = ctx.no_whitespace = ctx.unalloc_phase = true;
    ctx.separator = ",";
    ctx.replace_from = ',';
    ctx.replace_to = ' ';
    ctx.omit_cluster_info = data[0] % 2 == 0;
    ctx.deleted_only = ctx.and_logic = data[0] % 4 == 3;
    std::ostringstream out;
    report_output results{out};
    walk_unallocated(results, ctx);
    check(out.str(), signatures_in(image));
    return 0;
}
