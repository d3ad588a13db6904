// Requests to end that come from outside: Ctrl-C, a terminal that closes, a system that shuts down.
// Watched by run_instances, whose children leave files that must not stay; the copy-out names its temporary file here.
// Cleans nothing else up: who watches asks now and then.
#pragma once

#include <string>

#include "platform/files.h"

// From now on a request does not end the process; interrupted() tells of it. One that was ignored stays ignored.
void watch_interrupts();
bool interrupted();
// Ends the process in the way of the request.
[[noreturn]] void end_interrupted();

// From now on `file`, claimed at `path`, goes when a request ends the process; on Windows however that ends. One at a
// time, and not in a process that watches. To be told while requests are held, so that it stands for no other file.
void lose_when_interrupted(const native_file& file, const std::u16string& path);
// No longer. On Windows the file can be renamed from then on.
void keep_when_interrupted(const native_file& file);
void hold_requests();
void let_requests();
// Requests wait as long as one of these lives.
struct held_requests {
    held_requests() { hold_requests(); }
    held_requests(const held_requests&) = delete;
    held_requests& operator=(const held_requests&) = delete;
    ~held_requests() { let_requests(); }
};
