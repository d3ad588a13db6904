// Pieces of text that several reports take from a record: type word, cluster text, joined lists.
// Called by the report shapes; each appends to a string or returns a word.
// Selects nothing and writes nothing.
#pragma once

#include <cstdint>

#include "base/flat_map.h"
#include "ntfs/file_record.h"
#include "report/text_buffer.h"

struct mft_entries_ctx;

using path_entry = flat_map_item<std::uint64_t, parent_entry>;

// "unalloc", "del", "dir", "file", or nothing.
const char* record_type_word(const file_record& record, const mft_entries_ctx& ctx);
// Behind the last "." of a name; empty without one. `leading_dot_counts`: also where that is the first character.
std::u16string_view extension_of(std::u16string_view name, bool leading_dot_counts);
// "0x" and hexadecimal digits, at least `digits` of them, or decimal under -base10.
void append_number_text(text_buffer& out, std::uint64_t value, std::size_t digits, const mft_entries_ctx& ctx);
// `whole`: a name that is no UTF-16 is not cut where it ceases to be.
void append_name(text_buffer& out, std::u16string_view name, bool whole);
// The same in lower case, made in `wide` where it takes more than ASCII.
void append_lowered(text_buffer& out, std::u16string_view name, std::u16string& wide, bool whole);
void append_reparse_targets(text_buffer& out, const file_record& record, bool whole = false);
void append_object_ids(text_buffer& out, const file_record& record);
// Runs of a non-resident attribute, or what a resident one holds.
void append_cluster_text(text_buffer& out, const attr_entry& attribute);
// "[unnamed data : sz: 0x1234]; ..." for every attribute that has a size.
void append_data_types(text_buffer& out, const file_record& record, bool whole);
// The filter hits of the record, "; " between and ahead of them if `out` holds text.
void append_filter_hits(text_buffer& out, const file_record& record);
// The first of them alone, in the order of the hash list.
void append_first_filter_hit(text_buffer& out, const file_record& record);
// Appends `item` behind "; " if `out` holds text already.
void append_item(text_buffer& out, std::string_view item);

bool has_stream_name(const attr_entry* attribute);
std::uint64_t parent_number(const path_entry* path);    // 5 without a path entry
std::uint16_t parent_sequence(const path_entry* path);  // 0 without one
