// Text of a row under construction: a buffer that is written through a plain pointer and never filled with zeros first.
// Used by the writer and the default report for every row.
// Formats nothing; what it holds is lent as a view until the next change.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

class text_buffer {
public:
    // At least `count` bytes to write to, behind what is there. set_end says how far they were used.
    char* room(std::size_t count) {
        if (bytes_.size() - used_ < count) bytes_.resize(2 * (used_ + count));
        return bytes_.data() + used_;
    }
    void set_end(const char* end) { used_ = static_cast<std::size_t>(end - bytes_.data()); }
    void clear() { used_ = 0; }
    void append(std::string_view text) {
        char* to = room(text.size());
        set_end(to + text.copy(to, text.size()));
    }
    std::string_view view() const { return {bytes_.data(), used_}; }

private:
    std::vector<char> bytes_;
    std::size_t used_ = 0;
};
