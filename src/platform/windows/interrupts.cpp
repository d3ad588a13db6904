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

void remove_at_close(const native_file& file, bool removed) {
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = static_cast<BOOLEAN>(removed);
    SetFileInformationByHandle(reinterpret_cast<HANDLE>(file.handle), FileDispositionInfo, &disposition,
                               sizeof disposition);
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

void lose_when_interrupted(const native_file& file, const std::u16string&) { remove_at_close(file, true); }

void keep_when_interrupted(const native_file& file) { remove_at_close(file, false); }

// A process that another one ends is asked nothing.
void hold_requests() {}

void let_requests() {}
