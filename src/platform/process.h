// Further instances of this program: one is run to its end while its standard output is thrown away.
// Called by instances/, from a thread for each instance.
// Looks at no exit status: what an instance left in its files tells how far it came.
#pragma once

#include <string>
#include <vector>

// Runs this program anew, with its standard error on ours, and waits for its end. The first argument is the name it is
// called by; all others reach it unchanged, but on Windows without their double quotes, which the command processor
// would count. It ends with this process, however that ends. False: it could not be started.
bool run_instance(const std::vector<std::string>& arguments);
