#include "platform/interrupts.h"

#include <windows.h>

#include <atomic>

namespace {

std::atomic<bool> caught = false;

// Called on a thread of its own.
BOOL WINAPI note_event(DWORD event) {
    caught = true;
    // When this returns from any other event, the process ends on the spot.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

}  // namespace

void watch_interrupts() { SetConsoleCtrlHandler(note_event, TRUE); }

bool interrupted() { return caught; }

void end_interrupted() {
    // As the system's own handler of such an event ends a process (STATUS_CONTROL_C_EXIT).
    constexpr UINT status = 0xC000013A;
    TerminateProcess(GetCurrentProcess(), status);
    for (;;) Sleep(INFINITE);
}
