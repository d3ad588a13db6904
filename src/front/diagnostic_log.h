// The -diags log: a text file that tells what the results do not.
// Opened by the generic pass; written through log_diag from everywhere.
// Decides nothing: without it the program runs the same.
#pragma once

#include "report/result_stream.h"

struct diagnostic_log {
    uni::ofstream stream;
};
