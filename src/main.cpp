// The entry: the process's own arguments as UTF-8, then the run.

#include <cstdlib>
#include <exception>
#include <new>

#include "front/run_driver.h"
#include "platform/console.h"

namespace {

constexpr int failed = -1;

int fail_without_memory() {
    write_standard_error("out of memory, aborting\n");
    return failed;
}

std::terminate_handler usual_end = nullptr;

// Guard: where memory does not reach for an exception, none can be caught: the run ends with the same words.
[[noreturn]] void end_run_at_once() {
    if (std::current_exception() == nullptr) std::_Exit(fail_without_memory());
    usual_end();
    std::abort();
}

}  // namespace

int main(int count, char** values) try {
    usual_end = std::set_terminate(end_run_at_once);
    prepare_console();
    return run(native_arguments(count, values));
} catch (const std::bad_alloc&) {
    return fail_without_memory();
}
