// The filter engine: tables that options fill, and the tests that a decoded record goes through.
// Called by the option passes (making entries) and by parse_file_record (evaluating them).
// Does not parse options and does not decide the order of the acceptance pipeline.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "front/run_context.h"
#include "run/filter_tables.h"

struct file_record;
struct attr_entry;

// A signature word of -filter_sig: its rule kind and how many head bytes its test wants.
struct signature_word {
    const char* word;
    rule_kind kind;
    std::uint32_t head_length;
};
// Null for an unknown word.
const signature_word* find_signature_word(const std::u16string& word);

void make_filter_entry(filter_entry& entry, std::uint64_t inode, const std::u16string& text, std::uint32_t kind);
void make_name_entry(filter_entry& entry, const std::u16string& text, bool partial, std::uint32_t kind);
// Fills dir_text, file_text and description from the other fields.
void describe_filter_entry(filter_entry& entry);
// Adds `stream` to a sorted list of distinct names.
void add_stream(std::vector<std::u16string>& streams, const std::u16string& stream);
// An entry under `inode` with the stream as its text; an inode met before gets the stream added. Lower-case input.
void add_inode_entry(flat_map<std::uint64_t, filter_entry>& table, std::uint64_t inode, const std::u16string& stream,
                     std::uint32_t kind);
// "?" is any UTF-16 unit; everything else, "*" too, stands for itself. The text is lower-cased first.
wildcard_pattern compile_wildcard(const std::u16string& text);
// A rule with the built-in matcher.
filter_rule make_rule(rule_kind kind);
// What a hit of a rule kind is called in results.
const char* signature_text(std::int32_t kind);
// Marks every rule that can be asked. After all options.
void prepare_rules(mft_entries_ctx& ctx);

bool has_or_filters(const mft_entries_ctx& ctx);
// True with no filter at all, or at the first stage that hits; the hit's flag and text go to the record.
bool evaluate_or_filters(file_record& record, mft_entries_ctx& ctx);
bool evaluate_rules(file_record& record, mft_entries_ctx& ctx);
// Any of the record's times inside time_start..time_stop, both ends included. Sets time_match.
bool evaluate_time_range(file_record& record, const mft_entries_ctx& ctx);
// The first `length` bytes of the stream at `start`, into head_bytes. A non-resident stream needs a volume.
bool fetch_attribute_head(attr_entry& attribute, mft_entries_ctx& ctx, std::uint64_t start, std::uint32_t length);
