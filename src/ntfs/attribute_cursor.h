// The walk over the attributes of one record: where each begins and what ends the walk.
// Called by every loop over attributes; what a caller wants ended by stands in its limits, so that the differences
// show. Decodes nothing: an attribute that it stands at may still turn out to leave the record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "base/bytes.h"
#include "ntfs/layout.h"

struct attribute_limits {
    std::uint64_t longest = std::numeric_limits<std::uint64_t>::max();  // bytes of one attribute
    // Kept: starts at twice the first offset and never counts the first attribute's length. Ends the walk when it
    // exceeds the record.
    bool budget = false;
};

// Inlined by word: it has more callers than a compiler copies it to, and one of them is the walk's innermost loop.
class attribute_cursor {
public:
    attribute_cursor(byte_view record, std::size_t first, attribute_limits limits)
        : record_(record), limits_(limits), at_(first), budget_(2 * static_cast<std::uint64_t>(first)) {}

    // True while it stands at an attribute: no end mark, no length of 0, which bytes beyond the record have too.
    [[gnu::always_inline]] bool valid() {
        if (record_.u32(at_ + attribute_at::type) == type_end) return false;
        cut_by_budget_ = limits_.budget && budget_ > record_.size;
        return !cut_by_budget_ && length() != 0 && length() <= limits_.longest;
    }
    [[gnu::always_inline]] void next() {
        at_ += length();
        budget_ += length();
    }

    std::size_t at() const { return at_; }  // offset in the record
    std::uint32_t type() const { return record_.u32(at_ + attribute_at::type); }
    [[gnu::always_inline]] std::uint32_t length() const { return record_.u32(at_ + attribute_at::length); }
    std::uint16_t id() const { return record_.u16(at_ + attribute_at::id); }
    // From the attribute's header to the record's end.
    byte_view bytes() const { return record_.part(at_, record_.size); }
    bool cut_by_budget() const { return cut_by_budget_; }

private:
    byte_view record_;
    attribute_limits limits_;
    std::size_t at_;
    std::uint64_t budget_;
    bool cut_by_budget_ = false;
};
