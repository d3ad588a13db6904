// The grammar of -filter: terms of a name and a value around a ":".
// Called by the pass of cmd_params. Nothing reads the terms: the grammar is kept for the option's sake.
// Matches nothing itself.
#pragma once

#include <string>
#include <vector>

struct filter_term;

std::vector<filter_term> parse_filter_terms(const std::string& value);
