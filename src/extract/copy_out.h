// The copy-out: selected streams into files below the destination, sorted by how and why their record was selected.
// Called by the default report, once per path entry and attribute entry of an accepted record.
// Writes no row: a copy that fails shows as an empty path in the state, and the log learns why.
#pragma once

#include <cstdint>

#include "extract/stream_state.h"
#include "ntfs/file_record.h"

struct mft_entries_ctx;

// Whether the sub-options, or a stream that -filter_inode named, select this attribute of the record.
bool is_selected_for_copy(const file_record& record, const attr_entry& attribute, const mft_entries_ctx& ctx);

// For -diags: the streams that -filter_inode names of this record, and it does not have.
void tell_missing_streams(const file_record& record, const mft_entries_ctx& ctx);

// Copies one attribute. `state` has begun this stream and holds the file's own name in extracted_path, which becomes
// the copy's path. A file of that path that is there already is this copy: its name holds time, digest and name.
// False, with an empty path: nothing to copy, a failed read or write, or no place for it. No temporary file stays.
bool copy_stream(const file_record& record, const mft_entries_ctx& ctx, const attr_entry& attribute,
                 stream_state& state);

// "2015_06_01_1200_30_123" of a FILETIME, UTC; zeros for one that is no valid time.
std::u16string copy_time_text(std::uint64_t filetime);
