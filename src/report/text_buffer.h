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

// Copies the bytes of a text in place; returns where they end.
inline char* put_text(char* to, std::string_view text) {
    if (!text.empty()) std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

class text_buffer {
public:
    text_buffer() = default;
    text_buffer(text_buffer&&) = default;  // no copies: the places point into the bytes
    text_buffer& operator=(text_buffer&&) = default;

    // At least `count` bytes to write to, behind what is there. set_end says how far they were used.
    char* room(std::size_t count) {
        if (static_cast<std::size_t>(limit_ - at_) < count) [[unlikely]]
            grow(count);
        return at_;
    }
    void set_end(char* end) { at_ = end; }

    void clear() { at_ = bytes_.data(); }
    // Forgets what stands behind the first `count` bytes.
    void cut(std::size_t count) { at_ = bytes_.data() + count; }
    std::size_t size() const { return static_cast<std::size_t>(at_ - bytes_.data()); }
    bool empty() const { return at_ == bytes_.data(); }
    std::string_view view() const { return {bytes_.data(), size()}; }

    text_buffer& operator+=(std::string_view text) {
        set_end(put_text(room(text.size()), text));
        return *this;
    }
    // A literal: its length is known, and it is copied without a call.
    template <std::size_t size>
    text_buffer& operator+=(const char (&literal)[size]) {
        char* to = room(size);
        std::memcpy(to, literal, size);
        at_ = to + size - 1;
        return *this;
    }
    text_buffer& operator+=(char c) {
        *room(1) = c;
        ++at_;
        return *this;
    }

private:
    // Apart, so that room is small enough to stand wherever it is called.
    [[gnu::noinline]] void grow(std::size_t count) {
        const std::size_t used = size();
        bytes_.resize(2 * (used + count));
        at_ = bytes_.data() + used;
        limit_ = bytes_.data() + bytes_.size();
    }

    std::vector<char> bytes_;
    char* at_ = nullptr;     // behind what is there
    char* limit_ = nullptr;  // of the room that there is
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
