#include "platform/interrupts.h"

#include <unistd.h>

#include <csignal>
#include <initializer_list>

#include "base/text.h"

namespace {

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t caught = 0;
std::string temporary_path;  // empty: there is none; changes only while requests are held

void note_signal(int number) { caught = number; }

// As a signal handler it may call nothing that takes a lock or memory.
void remove_and_end(int number) {
    if (!temporary_path.empty()) unlink(temporary_path.c_str());
    std::signal(number, SIG_DFL);
    std::raise(number);  // comes when this returns
}

void handle_requests(void (*handler)(int)) {
    for (const int number : requests) {
        struct sigaction before {};
        if (sigaction(number, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
        struct sigaction watch {};
        watch.sa_handler = handler;
        watch.sa_flags = SA_RESTART;
        sigaction(number, &watch, nullptr);
    }
}

// Signals that wait in any case.
const sigset_t& mask_at_first() {
    static const sigset_t mask = [] {
        sigset_t now;
        sigprocmask(SIG_BLOCK, nullptr, &now);
        return now;
    }();
    return mask;
}

}  // namespace

void watch_interrupts() { handle_requests(note_signal); }

bool interrupted() { return caught != 0; }

void end_interrupted() {
    std::signal(caught, SIG_DFL);
    std::raise(caught);
    _exit(128 + caught);
}

void lose_when_interrupted(const native_file&, const std::u16string& path) {
    temporary_path = bytes_from_utf16(path);
    static const bool is_handled = (handle_requests(remove_and_end), true);
    static_cast<void>(is_handled);
}

void keep_when_interrupted(const native_file&) { temporary_path.clear(); }

void hold_requests() {
    sigset_t mask = mask_at_first();
    for (const int number : requests) sigaddset(&mask, number);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
}

void let_requests() { sigprocmask(SIG_SETMASK, &mask_at_first(), nullptr); }
