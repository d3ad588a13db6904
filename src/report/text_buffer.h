// Text of rows and cells under construction: a buffer that is written through a plain pointer and never filled with
// zeros first. Used by the writer and the report shapes for every row.
// Formats nothing but numbers; what it holds is lent as a view until the next change.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/digits.h"
#include "base/text.h"

class text_buffer {
public:
    // At least `count` bytes to write to, behind what is there. set_end says how far they were used.
    char* room(std::size_t count) {
        if (bytes_.size() - used_ < count) bytes_.resize(2 * (used_ + count));
        return bytes_.data() + used_;
    }
    void set_end(const char* end) { used_ = static_cast<std::size_t>(end - bytes_.data()); }

    void clear() { used_ = 0; }
    // Forgets what stands behind the first `count` bytes.
    void cut(std::size_t count) { used_ = count; }
    std::size_t size() const { return used_; }
    bool empty() const { return used_ == 0; }
    std::string_view view() const { return {bytes_.data(), used_}; }

    text_buffer& operator+=(std::string_view text) {
        char* to = room(text.size());
        set_end(to + text.copy(to, text.size()));
        return *this;
    }
    // A literal: its length is known, and it is copied without a call.
    template <std::size_t size>
    text_buffer& operator+=(const char (&literal)[size]) {
        char* to = room(size);
        std::memcpy(to, literal, size);
        used_ += size - 1;
        return *this;
    }
    text_buffer& operator+=(char c) {
        *room(1) = c;
        ++used_;
        return *this;
    }

private:
    std::vector<char> bytes_;
    std::size_t used_ = 0;
};

// As base/text.h and base/numbers.h append them to a string.
inline void append_utf8(text_buffer& out, std::u16string_view text) {
    bool complete = true;
    out.set_end(put_utf8(out.room(most_utf8 * text.size()), text, complete));
}
inline void append_whole_utf8(text_buffer& out, std::u16string_view text) {
    out.set_end(put_whole_utf8(out.room(most_utf8 * text.size()), text));
}
inline void append_decimal(text_buffer& out, std::uint64_t value) {
    out.set_end(digits::put_decimal(out.room(digits::most_decimal), value));
}
inline void append_hex(text_buffer& out, std::uint64_t value, std::size_t least) {
    out.set_end(digits::put_hex(out.room(digits::most_hex + least), value, least));
}
