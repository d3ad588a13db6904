// The arguments of an instance on their way past the command processor, which would take some of them for its own.
// Left in the environment by run_instance, and taken out of it by native_arguments in the instance.
// Takes no line apart.
#pragma once

#include <string>

// What stands in the place of the process's own command line; empty where it was not started as an instance.
std::wstring take_instance_line();
