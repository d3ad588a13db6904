// The program's own pass: source, filter and action options, read into mft_entries_ctx in their order.
// Called by the option reader on the wide list, behind the pass of cmd_params.
// Fills the filter tables; how they are evaluated is walk/'s matter. What an option does lies by theme: walk_effects.h.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

// 0 to go on, -1 after a failure that has been reported, -3 without a source.
int parse_walk_options(mft_entries_ctx& ctx, std::vector<std::u16string>& list);

// -hashfile, ahead of the pass of cmd_params.
void take_hashfile(mft_entries_ctx& ctx, std::vector<std::u16string>& list);
