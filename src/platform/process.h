// Further instances of this program: one is run to its end while its standard output is thrown away.
// Called by instances/, from a thread for each instance.
// Tells how an instance ended; what that means for its results is the caller's.
#pragma once

#include <string>
#include <vector>

struct instance_end {
    bool started = false;
    int status = 0;  // its exit code; 128 and the signal's number where one ended it
};

struct environment_variable {
    std::string name, value;  // UTF-8; no name: none
};

// Runs this program anew, with its standard error on ours, and waits for its end. The first argument is the name it is
// called by; all others reach it unchanged, but on Windows without their double quotes. `added` stands in its
// environment beside what is in ours. It ends with this process, however that ends.
instance_end run_instance(const std::vector<std::string>& arguments, const environment_variable& added = {});
// Ends those that are being waited for, from another thread; none is started from then on.
void stop_instances();
