#include "instances/portable_thread.h"

#include <system_error>

portable_thread::portable_thread(thread_function function, void* argument) : argument_(argument), function_(function) {
    running_ = true;
    try {
        handle_ = std::thread(&portable_thread::enter, this);
        started_ = true;
    } catch (const std::system_error&) {
        running_ = false;
    }
}

portable_thread::~portable_thread() {
    if (handle_.joinable()) handle_.join();
}

void portable_thread::enter() {
    function_(argument_);
    running_ = false;
}
