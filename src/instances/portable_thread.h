// A thread that tells whether it has ended, for a main thread that looks now and then.
// Used by run_instances, one for each child process.
// Shares nothing but its flags; what the function works on must outlive it.
#pragma once

#include <atomic>
#include <thread>

class portable_thread {
public:
    using thread_function = void (*)(void* argument);

    portable_thread(thread_function function, void* argument);
    portable_thread(const portable_thread&) = delete;
    portable_thread& operator=(const portable_thread&) = delete;
    // Waits for the function's end.
    virtual ~portable_thread();

    bool is_running() const { return started_ && running_; }

private:
    void enter();

    std::thread handle_;
    void* argument_ = nullptr;
    thread_function function_ = nullptr;
    bool started_ = false;  // the system had a thread for it
    std::atomic<bool> running_ = false;
};
