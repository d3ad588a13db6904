// The parts of one stream in one record's maps: which entry a continuation from an attribute list belongs to.
// Called by attribute decoding; owned by the file_record whose entries it knows.
// Holds numbers and names only; the runs lie in the entries.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

// What an entry must share with a continuation to be an earlier part of it.
using stream_identity = std::pair<std::uint32_t, std::u16string>;  // type, name

// Made at a record's first continuation: ordinary records pay nothing for it.
struct stream_parts {
    // By first VCN, keys falling: a part that begins no earlier than another and has the larger key is never asked for.
    using part_keys = std::map<std::uint64_t, std::uint64_t>;
    std::map<stream_identity, part_keys> streams;
    bool in_use = false;

    void add(const stream_identity& stream, std::uint64_t first_vcn, std::uint64_t key);
    // The smallest key among the parts that begin ahead of `first_vcn`. False: there is none.
    bool find_earlier(const stream_identity& stream, std::uint64_t first_vcn, std::uint64_t& key) const;
    void clear();
};
