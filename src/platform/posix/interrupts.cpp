#include "platform/interrupts.h"

#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t caught = 0;

void note_signal(int number) { caught = number; }

}  // namespace

void watch_interrupts() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(number, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
        struct sigaction watch {};
        watch.sa_handler = note_signal;
        watch.sa_flags = SA_RESTART;
        sigaction(number, &watch, nullptr);
    }
}

bool interrupted() { return caught != 0; }

void end_interrupted() {
    std::signal(caught, SIG_DFL);
    std::raise(caught);
    _exit(128 + caught);
}
