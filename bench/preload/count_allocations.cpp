// Counts a program's heap allocations: preloaded, it stands before malloc and its kin and prints the total at the end.
// Built as a shared object by bench/run.sh (hence apart from the programs), and set in LD_PRELOAD for one run.
// Sees what comes through the C library; operator new does, so it is not counted on its own. Frees do not count.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<unsigned long long> allocations{0};

// dlsym allocates before there is anything to pass the wish on to; a little memory that is never given back serves it.
alignas(std::max_align_t) char first_bytes[16 * 1024];
std::size_t first_used = 0;

void* take_first_bytes(std::size_t size) {
    const std::size_t aligned =
        (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    if (aligned > sizeof first_bytes - first_used) return nullptr;
    void* taken = first_bytes + first_used;
    first_used += aligned;
    return taken;
}

bool is_first(const void* memory) { return memory >= first_bytes && memory < first_bytes + sizeof first_bytes; }

template <class function>
function* next_of(const char* name) {
    return reinterpret_cast<function*>(dlsym(RTLD_NEXT, name));
}

// The C library's own, looked up once. While that goes on, `looking_up` holds.
struct originals {
    void* (*allocate)(std::size_t) = nullptr;
    void* (*allocate_zeroed)(std::size_t, std::size_t) = nullptr;
    void* (*resize)(void*, std::size_t) = nullptr;
    void* (*allocate_aligned)(std::size_t, std::size_t) = nullptr;
    int (*place_aligned)(void**, std::size_t, std::size_t) = nullptr;
    void (*release)(void*) = nullptr;
};

originals library;
bool looking_up = false;

bool ready() {
    if (library.release != nullptr) return true;
    if (looking_up) return false;
    looking_up = true;
    library.allocate = next_of<void*(std::size_t)>("malloc");
    library.allocate_zeroed = next_of<void*(std::size_t, std::size_t)>("calloc");
    library.resize = next_of<void*(void*, std::size_t)>("realloc");
    library.allocate_aligned = next_of<void*(std::size_t, std::size_t)>("aligned_alloc");
    library.place_aligned = next_of<int(void**, std::size_t, std::size_t)>("posix_memalign");
    library.release = next_of<void(void*)>("free");
    looking_up = false;
    return true;
}

struct print_at_exit {
    ~print_at_exit() {
        char line[64];
        const int length = std::snprintf(line, sizeof line, "allocations=%llu\n", allocations.load());
        if (write(STDERR_FILENO, line, static_cast<std::size_t>(length)) != length) _exit(1);
    }
} printer;

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
    ++allocations;
    return ready() ? library.allocate(size) : take_first_bytes(size);
}

void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return ready() ? library.allocate_zeroed(count, size) : take_first_bytes(count * size);
}

void* realloc(void* memory, std::size_t size) {
    if (!is_first(memory)) {
        ++allocations;
        return ready() ? library.resize(memory, size) : nullptr;
    }
    void* moved = malloc(size);
    const std::size_t left = static_cast<std::size_t>(first_bytes + sizeof first_bytes - static_cast<char*>(memory));
    if (moved != nullptr) std::memcpy(moved, memory, size < left ? size : left);
    return moved;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    ++allocations;
    return ready() ? library.allocate_aligned(alignment, size) : nullptr;
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    ++allocations;
    return ready() ? library.place_aligned(memory, alignment, size) : 12;
}

void free(void* memory) {
    if (memory != nullptr && !is_first(memory) && ready()) library.release(memory);
}
}
