// The acceptance pipeline: decode one record, select it or drop it, and give it its paths and its time verdict.
// Called by every walker for every record it reads.
// Owns the order of the stages; what each stage tests lies in filters, paths and time_analysis.
#pragma once

#include <cstdint>

#include "base/bytes.h"

struct file_record;
struct mft_entries_ctx;
struct walk_state;

// `bytes` is a record with its fixups applied ("BAAD" records come as they lie). False: not decodable, or not wanted.
bool parse_file_record(file_record& record, byte_view bytes, std::uint64_t inode, mft_entries_ctx& ctx,
                       walk_state& state);
