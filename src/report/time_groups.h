// Sets of four times of a record, each with the path and the name it belongs to: what the timeline formats list.
// Collected by l2t_report and body_file_report, both in this order.
// Applies no time range: the two formats differ there.
#pragma once

#include <vector>

#include "report/record_text.h"

struct time_group {
    const path_entry* path = nullptr;  // null only for a record without any
    const name_entry* name = nullptr;  // null: no name belongs to the group
    const char* time_label = "$SI:";
    std::uint64_t modified = 0, accessed = 0, mft_changed = 0, created = 0;  // FILETIMEs
};

// The one group of a record without paths: its $STANDARD_INFORMATION, or zero times.
void add_pathless_group(std::vector<time_group>& groups, const file_record& record);
// $STANDARD_INFORMATION with no name but the path entry's own text. None where the record has none.
void add_path_group(std::vector<time_group>& groups, const file_record& record, const path_entry& path);
// $STANDARD_INFORMATION once for each long name in the path's directory; once alone if the record has no names at all.
void add_si_groups(std::vector<time_group>& groups, const file_record& record, const path_entry& path);
// The names' own times, those of 8.3 names among them unless they are hidden.
void add_name_groups(std::vector<time_group>& groups, const file_record& record, const path_entry& path,
                     bool hide_dos_names);

// The path with the group's name behind it, or what there is of the two.
void append_path_and_name(text_buffer& out, const time_group& group);
