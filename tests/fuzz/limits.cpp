// What all fuzz targets have in common: their limits. An input that takes longer than a second, or more memory than a
// damaged volume may cost, is a finding like a crash, in a search and when the corpus is replayed.
// Linked into every target, which is a run_input.
#include <sys/resource.h>

#include <ctime>

#include "fuzz/target.h"

namespace {

// Of the processor, sanitizers included: other programs of a busy machine do not count.
constexpr std::clock_t longest_run = CLOCKS_PER_SEC;
// KiB by which one input may raise the peak of the process, sanitizers included.
constexpr long most_growth = 256 * 1024;

long peak_memory() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
}

// For runs that never end, by the wall's clock.
char endless[] = "-timeout=60";
char memory[] = "-rss_limit_mb=768";  // of the whole process, while an input still runs
char quiet[] = "-close_fd_mask=2";    // the program's own words
char plain[] = "-entropic=0";         // its bookkeeping takes longer than a small target

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const long peak = peak_memory();
    const std::clock_t start = std::clock();
    run_input(data, size);
    if (std::clock() - start > longest_run || peak_memory() - peak > most_growth) std::abort();
    return 0;
}

// Ahead of the arguments, which may say otherwise.
extern "C" int LLVMFuzzerInitialize(int* count, char*** values) {
    static std::vector<char*> all = {(*values)[0], endless, memory, quiet, plain};
    all.insert(all.end(), *values + 1, *values + *count);
    *count = static_cast<int>(all.size());
    all.push_back(nullptr);
    *values = all.data();
    return 0;
}

// A small quarantine, so that the limit of the whole process tells of the input; short stacks of allocations, which are
// a tenth of the time.
extern "C" const char* __asan_default_options() {
    return "max_allocation_size_mb=256:quarantine_size_mb=16:malloc_context_size=6";
}
