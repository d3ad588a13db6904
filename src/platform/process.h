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

// Runs this program anew, with its standard error on ours, and waits for its end. The first argument is the name it is
// called by; all others reach it unchanged, but on Windows without their double quotes, which the command processor
// would count. It ends with this process, however that ends.
instance_end run_instance(const std::vector<std::string>& arguments);
