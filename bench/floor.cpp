// What no implementation can avoid: the $MFT read in blocks, and one write call for the rows of each record that has
// some, with the same bytes.
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
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t record_size = 1024;
constexpr std::size_t block_size = 64 * 1024;  // of one read: as far as the program may look ahead
// Small enough to stay in the processor's cache: who writes a row has just made it there.
constexpr std::size_t batch_size = 64 * 1024;

struct cpu_time {
    double user = 0, system = 0;
};

// Lines of the results that begin with the same record number: what leaves in one write.
struct row_groups {
    int file = -1;
    bool ended = false;                // the file
    std::vector<char> bytes;           // whole groups, and the beginning of what follows them
    std::size_t held = 0, begin = 0;   // bytes; where the next group stands
    std::vector<std::size_t> lengths;  // of the groups at hand
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

// A line that holds no record number stands for itself.
std::string_view record_number(std::string_view line) {
    constexpr std::string_view mark = "0x";
    if (!line.starts_with(mark)) return {};
    const std::size_t end = line.find_first_not_of("0123456789abcdef", mark.size());
    return line.substr(0, end);
}

void find_groups(row_groups& groups) {
    const std::string_view text(groups.bytes.data(), groups.held);
    std::string_view number;
    std::size_t group = 0, at = 0;
    for (std::size_t end = 0; (end = text.find('\n', at)) != std::string_view::npos; at = end + 1) {
        const std::string_view of_line = record_number(text.substr(at, end - at));
        if (at > group && (of_line.empty() || of_line != number)) {
            groups.lengths.push_back(at - group);
            group = at;
        }
        number = of_line;
    }
    // More lines of the last group may follow.
    if (groups.ended && at > group) groups.lengths.push_back(at - group);
}

// The next groups of the file; what is cut off at the end comes first the next time.
bool refill(row_groups& groups) {
    groups.lengths.clear();
    groups.next = 0;
    groups.held -= groups.begin;
    if (groups.held > 0) std::memmove(groups.bytes.data(), groups.bytes.data() + groups.begin, groups.held);
    groups.begin = 0;
    while (groups.lengths.empty() && !groups.ended) {
        groups.bytes.resize(std::max(groups.bytes.size(), groups.held + batch_size));
        const ssize_t got = read(groups.file, groups.bytes.data() + groups.held, groups.bytes.size() - groups.held);
        groups.ended = got <= 0;
        if (!groups.ended) groups.held += static_cast<std::size_t>(got);
        find_groups(groups);
    }
    return !groups.lengths.empty();
}

row_groups open_groups(const char* path) {
    row_groups groups;
    groups.file = open_or_give_up(path, O_RDONLY);
    return groups;
}

std::uint64_t count_groups(const char* path) {
    row_groups groups = open_groups(path);
    std::uint64_t count = 0;
    while (refill(groups)) {
        count += groups.lengths.size();
        for (const std::size_t length : groups.lengths) groups.begin += length;
    }
    close(groups.file);
    return count;
}

void write_group(row_groups& groups, int out) {
    const std::size_t length = groups.lengths[groups.next++];
    if (write(out, groups.bytes.data() + groups.begin, length) != static_cast<ssize_t>(length)) give_up("cannot write");
    groups.begin += length;
}

struct work {
    int mft = -1, out = -1;
    std::uint64_t records = 0, groups = 0;  // to read; to write
    std::uint64_t reads = 0, writes = 0;    // done
};

cpu_time do_work(work& job, row_groups& groups) {
    std::vector<char> block(block_size);
    constexpr std::uint64_t at_once = block_size / record_size;
    cpu_time total, start = used_so_far();
    for (std::uint64_t number = 0; number < job.records; ++number) {
        if (number % at_once == 0) {
            const std::size_t wanted = std::min(at_once, job.records - number) * record_size;
            const ssize_t got = pread(job.mft, block.data(), wanted, static_cast<off_t>(number * record_size));
            if (got != static_cast<ssize_t>(wanted)) give_up("cannot read");
            ++job.reads;
        }
        // Writes spread evenly over the records, as those of the program nearly do.
        for (const std::uint64_t due = job.groups * (number + 1) / job.records; job.writes < due; ++job.writes) {
            if (groups.next == groups.lengths.size()) {
                add_since(total, start);
                if (!refill(groups)) give_up("the results became shorter");
                start = used_so_far();
            }
            write_group(groups, job.out);
        }
    }
    add_since(total, start);
    return total;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) give_up("floor <$MFT file> <results> <file to write>");
    work job;
    job.mft = open_or_give_up(arguments[1], O_RDONLY);
    struct stat facts;
    if (fstat(job.mft, &facts) != 0) give_up("no size");
    job.records = static_cast<std::uint64_t>(facts.st_size) / record_size;
    job.groups = count_groups(arguments[2]);
    row_groups groups = open_groups(arguments[2]);
    job.out = open_or_give_up(arguments[3], O_WRONLY | O_CREAT | O_TRUNC);
    const cpu_time total = do_work(job, groups);
    std::printf("user=%.6f sys=%.6f reads=%llu writes=%llu\n", total.user, total.system,
                static_cast<unsigned long long>(job.reads), static_cast<unsigned long long>(job.writes));
    return 0;
}
