// What no implementation can avoid: one positioned read per record, and one write call per row with the same bytes.
// Run by bench/run.sh beside the program: floor <$MFT file> <results that the program made of it> <file to write>.
// Decodes nothing. Taking the rows from the results file is left out of what it prints.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t record_size = 1024;
// Small enough to stay in the processor's cache: who writes a row has just made it there.
constexpr std::size_t batch_size = 64 * 1024;

struct cpu_time {
    double user = 0, system = 0;
};

struct row_batches {
    int file = -1;
    std::vector<char> bytes = std::vector<char>(batch_size);
    std::size_t held = 0, begin = 0;   // bytes; where the next row stands
    std::vector<std::size_t> lengths;  // of the rows at hand
    std::size_t next = 0;
};

[[noreturn]] void give_up(const char* what) {
    std::fprintf(stderr, "floor: %s\n", what);
    std::exit(1);
}

int open_or_give_up(const char* path, int flags) {
    const int file = open(path, flags, 0644);
    if (file < 0) give_up(path);
    return file;
}

cpu_time used_so_far() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {seconds(usage.ru_utime), seconds(usage.ru_stime)};
}

void add_since(cpu_time& total, const cpu_time& start) {
    const cpu_time now = used_so_far();
    total.user += now.user - start.user;
    total.system += now.system - start.system;
}

// The next whole rows of the file; what is cut off at the end comes first in the next batch.
bool refill(row_batches& rows) {
    rows.held -= rows.begin;
    std::memmove(rows.bytes.data(), rows.bytes.data() + rows.begin, rows.held);
    const ssize_t got = read(rows.file, rows.bytes.data() + rows.held, rows.bytes.size() - rows.held);
    if (got > 0) rows.held += static_cast<std::size_t>(got);
    rows.lengths.clear();
    rows.begin = rows.next = 0;
    std::size_t at = 0;
    while (const void* end = std::memchr(rows.bytes.data() + at, '\n', rows.held - at)) {
        const std::size_t behind = static_cast<std::size_t>(static_cast<const char*>(end) - rows.bytes.data()) + 1;
        rows.lengths.push_back(behind - at);
        at = behind;
    }
    return !rows.lengths.empty();
}

std::uint64_t count_rows(const char* path) {
    row_batches rows;
    rows.file = open_or_give_up(path, O_RDONLY);
    std::uint64_t count = 0;
    while (refill(rows)) {
        count += rows.lengths.size();
        for (const std::size_t length : rows.lengths) rows.begin += length;
    }
    close(rows.file);
    return count;
}

void write_row(row_batches& rows, int out) {
    const std::size_t length = rows.lengths[rows.next++];
    if (write(out, rows.bytes.data() + rows.begin, length) != static_cast<ssize_t>(length)) give_up("cannot write");
    rows.begin += length;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) give_up("floor <$MFT file> <results> <file to write>");
    const int mft = open_or_give_up(arguments[1], O_RDONLY);
    struct stat facts;
    if (fstat(mft, &facts) != 0) give_up("no size");
    const std::uint64_t records = static_cast<std::uint64_t>(facts.st_size) / record_size;
    const std::uint64_t row_count = count_rows(arguments[2]);
    row_batches rows;
    rows.file = open_or_give_up(arguments[2], O_RDONLY);
    const int out = open_or_give_up(arguments[3], O_WRONLY | O_CREAT | O_TRUNC);

    char record[record_size];
    std::uint64_t written = 0;
    cpu_time total, start = used_so_far();
    for (std::uint64_t number = 0; number < records; ++number) {
        const auto at = static_cast<off_t>(number * record_size);
        if (pread(mft, record, record_size, at) != static_cast<ssize_t>(record_size)) give_up("cannot read");
        // Rows spread evenly over the records, as those of the program nearly do.
        for (const std::uint64_t due = row_count * (number + 1) / records; written < due; ++written) {
            if (rows.next == rows.lengths.size()) {
                add_since(total, start);
                if (!refill(rows)) give_up("the results became shorter");
                start = used_so_far();
            }
            write_row(rows, out);
        }
    }
    add_since(total, start);
    std::printf("user=%.6f sys=%.6f reads=%llu writes=%llu\n", total.user, total.system,
                static_cast<unsigned long long>(records), static_cast<unsigned long long>(written));
    return 0;
}
