// JSON lines: one object for each row of the default report, for tools that read such files (-jsonl).
// Called by the default shape in place of the writer's cells.
// Chooses neither rows nor columns: names are the labels of the chosen columns in snake case, behind three of its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "report/text_buffer.h"

struct row_in_hand;
struct timeline_entry;

// What a row has of its own, from the opening brace on: "datetime", in ISO 8601 with 100 nanoseconds, UTC, or null
// behind the year 9999; "timestamp_desc", which names each kind of time that the row stands for; the group's cells of
// its date and letters.
void append_json_own(text_buffer& line, const row_in_hand& group, std::uint64_t filetime, const timeline_entry& entry);
// What rows of the same names have in common, to the closing brace: "message", and all other cells. Numbers are in
// decimal, dates as the run's formats have them.
void append_json_back(text_buffer& line, const row_in_hand& group);

// As the inside of a JSON string: quotes, back slashes and control characters escaped. Bytes that are no UTF-8 are
// shown as "<U+D800>", the unit that they stand for: escapes of lone surrogates are refused by strict readers, and
// "<" and ">" stand in no name that Windows makes.
void append_json_text(text_buffer& out, std::string_view text);
