// The records behind the filter tables of a run: what an option said, in the form in which it is tested.
// Filled by the option passes and the path lookup (walk/filters.h); read by the filter stages and the copy-out.
// Plain data: it tests nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"

struct filter_rule {
    std::int32_t kind = 0;
    std::uint64_t read_start = 0;
    std::uint32_t read_length = 4096;
    std::u16string text_a;
    std::u16string display_text;
    std::vector<std::uint8_t> pattern;  // kind 39: stored, never compared
    bool (*match)(const filter_rule& rule, byte_view bytes) = nullptr;
    bool usable = false;
};

enum rule_kind : std::int32_t {
    rule_mz = 30,
    rule_mz_16bit = 31,
    rule_pe_32bit = 32,
    rule_pe_64bit = 33,
    rule_pe = 34,
    rule_hive = 35,
    rule_evt = 36,
    rule_sqlite = 37,
    rule_lnk = 38,
    rule_pattern = 39,
};

struct filter_entry {
    std::uint64_t inode = ~std::uint64_t{0};
    bool whole = false;                   // the whole record is selected
    bool by_stream = false;               // only the named streams are
    bool has_stream = false;              // a stream was named
    bool partial = false;                 // name entries: substring match
    std::u16string text;                  // path, name or stream, as typed
    std::vector<std::u16string> streams;  // lower case, sorted, distinct
    std::uint32_t kind = 4660;
    std::string dir_text, file_text, description;  // for lists of the rules
    std::string note;                              // narrow copy of `text`
};

enum entry_kind : std::uint32_t {
    entry_partial_name = 1,
    entry_file = 3,
    entry_directory = 5,
    entry_full_name = 8,
};

struct wildcard_pattern {
    struct segment {
        std::string literal;  // UTF-16LE bytes
        bool is_literal = false;
        std::uint16_t gap = 0;  // bytes passed over behind the literal
    };
    std::vector<segment> segments;
    std::size_t min_length = 0;  // bytes: all literals and gaps
};
