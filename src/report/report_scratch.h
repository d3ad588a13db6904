// What the reports keep between calls: the columns of the run's header line, and buffers reused for every row.
// Owned by the run context; touched by report/ alone.
// Holds no setting: those are the context's.
#pragma once

#include <string>
#include <vector>

#include "front/run_context.h"
#include "report/time_text.h"
#include "report/timeline_entry.h"
#include "report/writer.h"

struct report_scratch {
    std::vector<result_cell> columns;
    bool columns_show_clusters = false;  // as the first call had it: later calls keep the columns
    bool rows_planned = false;           // made at the first row:
    date_plan date;
    time_plan clock;
    char separator[16] = {};      // its head, for a copy of a fixed size
    std::size_t fixed_room = 0;   // bytes that the cells of a row take at most, beside their texts
    std::size_t label_width = 0;  // longest label and a blank

    result_row row;
    text_buffer line;
    text_buffer shared_back;  // text of the last cells that rows of a group have in common
    text_buffer macb, inode, ext, other_info, path_and_name, clusters, head_bytes, type, name, links, object_ids,
        streams;
    std::u16string wide_ext;
    std::vector<text_buffer> names;  // narrow names of the present group
    timeline times;

    // Of the stream in hand: where it was copied to, and its digests.
    std::string extracted_path, md5_text, sha1_text;
};

// The context's, made at first use.
inline report_scratch& scratch_of(mft_entries_ctx& ctx) {
    if (ctx.report_state == nullptr) ctx.report_state = std::make_unique<report_scratch>();
    return *ctx.report_state;
}
