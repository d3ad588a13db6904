// Requests to end that come from outside: Ctrl-C, a terminal that closes, a system that shuts down.
// Watched by run_instances, whose children leave files that must not stay.
// Cleans nothing up itself: who watches asks now and then.
#pragma once

// From now on a request does not end the process; interrupted() tells of it. One that was ignored stays ignored.
void watch_interrupts();
bool interrupted();
// Ends the process in the way of the request.
[[noreturn]] void end_interrupted();
