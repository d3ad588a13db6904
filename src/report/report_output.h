// Where a run's reports write to, and what they keep between records: the columns of the header line, and buffers
// reused for every row. Made by the run driver, handed through the walkers to the report handlers.
// Holds no setting: those are the context's.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "extract/stream_state.h"
#include "report/macb_groups.h"
#include "report/time_groups.h"
#include "report/time_text.h"
#include "report/timeline_entry.h"
#include "report/writer.h"

struct row_in_hand;

struct report_scratch {
    // As the first call chose them: later calls keep them.
    std::vector<result_cell> columns;
    std::vector<void (*)(row_in_hand& row)> fills;
    std::size_t label_width = 0;  // longest label and a blank
    bool rows_planned = false;    // made at the first row:
    date_plan date;
    time_plan clock;
    bool tags_line_ends = false;          // that stand inside a text
    char separator[16] = {};              // its head, for a copy of a fixed size
    std::vector<std::string> json_names;  // of each column: ,"name":
    std::size_t fixed_room = 0;           // bytes that the cells of a row take at most, beside their texts

    result_row row;
    text_buffer line;
    text_buffer shared_front, shared_back;  // text of the first and last cells that rows of a group have in common
    short_text macb;
    text_buffer inode, ext, other_info, path_and_name, clusters, head_bytes, type, name, links, object_ids, streams;
    std::u16string wide_ext;
    std::vector<text_buffer> names;  // narrow names of the present group
    timeline times;
    row_places places;
    std::vector<time_group> groups;  // of the timeline formats
    macb_input group_times;
    macb_rows group_rows;

    stream_state stream;
    // Of the stream in hand, as its row shows it: where it was copied to, and its digests.
    std::string extracted_path, md5_text, sha1_text;
};

// One for all walks of a run, so that a second walk goes on below the header line of the first.
struct report_output {
    std::ostream& stream;
    bool header_pending = true;
    bool failed = false;  // a row could not be written: the walk stops
    report_scratch scratch{};
    text_buffer held{};       // rows of the record in hand that have not left yet
    bool holds_rows = false;  // a held_rows lives
};
