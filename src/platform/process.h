// Further instances of this program: one is run to its end while its standard output is thrown away.
// Called by instances/, from a thread for each instance; an instance asks here for what it was handed over.
// Tells how an instance ended; what that means for its results is the caller's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct instance_end {
    bool started = false;
    int status = 0;  // its exit code; 128 and the signal's number where one ended it
};

struct environment_variable {
    std::string name, value;  // UTF-8
};

// Runs this program anew, with its standard error on ours, and waits for its end. The first argument is the name it is
// called by; all others reach it unchanged, but on Windows without their double quotes. `text` is handed over
// to it. It ends with this process, however that ends.
instance_end run_instance(const std::vector<std::string>& arguments, const std::string& text);
// Ends those that are being waited for, from another thread; none is started from then on.
void stop_instances();

// What run_instance handed over to this process; nothing in one that it did not start, whatever stands in the
// environment. First asked while there is one thread, and ahead of everything that reads the environment.
const std::optional<std::string>& handed_over();
// The variable that an instance is given for it.
environment_variable hand_over(const std::string& text);
std::uint32_t own_process();
// By its run_instance, or by what that needs in between.
bool is_started_by(std::uint32_t process);
