// The program's own pass: source, filter and action options, read into mft_entries_ctx.
// Called by the option reader on the wide list, behind the generic pass.
// Fills the filter tables; how they are evaluated is walk/'s matter.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

// -hashfile, ahead of the generic pass.
void take_hashfile(mft_entries_ctx& ctx, std::vector<std::u16string>& list);
// 0 to go on, -1 after a failure that has been reported, -3 without a source.
int parse_walk_options(mft_entries_ctx& ctx, std::vector<std::u16string>& list);

// The pass's three parts, in their order.
void parse_general_options(mft_entries_ctx& ctx, std::vector<std::u16string>& list);
int parse_filter_options(mft_entries_ctx& ctx, std::vector<std::u16string>& list);
int parse_source_options(mft_entries_ctx& ctx, std::vector<std::u16string>& list);
