// Folding of the times of one $STANDARD_INFORMATION or $FILE_NAME into the fewest timeline rows, by exact equality.
// Called by the timeline report with the four times and whatever change times other sources add.
// Writes nothing: a row is a time, its MACB text and its label.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "report/time_text.h"

// Raw numbers, read as `time_mode` says. A time of 0 makes no row.
struct macb_input {
    std::uint64_t m = 0, a = 0, c = 0, b = 0;        // modified, accessed, MFT changed, created
    std::string label_m, label_a, label_c, label_b;  // specific texts, usually empty
    std::string default_label;                       // "$SI:" and the like; empty if unused
    std::int32_t row_kind = 0, row_extra = 0;        // passed through to each row
    // Change times of further sources, with their texts: all four lists run in parallel.
    std::vector<std::uint64_t> extra_times;
    std::vector<std::string> extra_labels, extra_texts_a, extra_texts_b;
    std::vector<std::uint8_t> extra_done;  // set as each is used
};

struct macb_row {
    std::int32_t row_kind = 0, row_extra = 0;
    std::uint64_t time = 0;
    time_point date;
    std::string macb_text;   // such as "M.C."
    std::string label_text;  // such as "$SI: [M.C.]"
    std::string extra_text_a, extra_text_b;
};

// Rows in rising time; rows of equal time in the order of their making. A sorted vector, as a group has a handful of
// them; clear() keeps the storage, so that a walk allocates nothing for its rows.
class macb_rows {
public:
    const macb_row* begin() const { return rows_.data(); }
    const macb_row* end() const { return rows_.data() + used_; }
    void clear() { used_ = 0; }
    void add(macb_row&& row);

private:
    std::vector<macb_row> rows_;
    std::size_t used_ = 0;
};

void group_macb(macb_rows& result, macb_input& input, time_mode mode);
