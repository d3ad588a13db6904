// Paths from parent references: the climb to the root and the cache of directories that one walk fills.
// Called by the acceptance pipeline for each parent of an accepted record, and by the directory filter.
// Works from $FILE_NAME alone: no directory index is read.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct record_source;
struct file_record;

// One directory as climbs see it, in 32 bytes. Of the parents only the smallest reference is kept: no climb takes
// another.
struct path_node {
    std::uint64_t reference = 0;     // sequence << 48 | record number
    std::uint64_t parent = 0;        // whole reference; 0, for none, leads through $MFT to the root
    std::uint32_t visit = 0;         // the climb that passed here last, by a whole reference
    std::uint32_t number_visit = 0;  // the same, by a reference without sequence number
    std::uint32_t name_low = 0;      // see name_at
    std::uint8_t name_high = 0;
    std::uint8_t state = 0;  // node_state bits
    std::uint16_t name_bytes = 0;

    // The UTF-8 name's place in path_cache::names, in 40 bits: six million directories can have names of over 4 GiB.
    std::uint64_t name_at() const { return (static_cast<std::uint64_t>(name_high) << 32) | name_low; }
    void set_name_at(std::uint64_t at);
};
static_assert(sizeof(path_node) == 32);

enum node_state : std::uint8_t {
    node_cached = 1,      // found by its whole reference
    node_fresh = 2,       // what reading the record now would give
    node_unreadable = 4,  // reading the record fails, or it names no parent
    node_silent = 8,      // the name is empty or ".": it shows in no path
    node_name_cut = 16,   // the name's conversion to UTF-8 ended early: so does every path through it
    node_directory = 32,  // a flag of the record, as the next one
    node_in_use = 64,
};

// The text of a climb that reached the root, kept to shorten later climbs through the same directory.
struct known_path {
    std::uint64_t reference = 0;
    std::uint32_t node = 0;  // index + 1; 0: free
    std::uint32_t steps = 0;
    bool cut = false;
    std::string text;
};

// Every directory met in one walk, found by record number in constant time; nothing is evicted.
struct path_cache {
    std::vector<path_node> nodes;
    std::string names;                   // the names of all nodes, end to end
    std::vector<std::uint32_t> slots;    // open addressing by record number; index + 1 of a node, 0: free
    std::array<known_path, 1024> known;  // by record number
    std::vector<std::uint32_t> parts;    // nodes of the present climb
    std::uint32_t climbs = 0;
    bool whole_names = false;      // a name is converted to its end, whatever units it holds: none is cut
    bool numbers_are_live = true;  // a walked record is the one that its number names: false for records of free space
    std::unique_ptr<file_record> lookup;  // reused to read directories ahead of the walk

    path_cache();
    ~path_cache();
    void clear();
};

// Adds the node of a directory that the walk decoded, under its sequence and number, unless one is there.
// `reads_alike`: reading the record by its number would decode to the same.
void add_directory_node(path_cache& cache, const file_record& record, const record_source& records, bool reads_alike);

// A directory as a record's $FILE_NAME names it, for build_path. By default its sequence number is left out, so that
// the record passes for the parent that has the number now; a thorough climb tests it like every other step.
std::uint64_t parent_to_climb(std::uint64_t reference, const record_source& records);

// The path of a directory, UTF-8, "[root]\" first, with a back slash at its end. True only if the climb reached the
// root; otherwise the text shows how far it came. The reference may come without its sequence number (0 there).
bool build_path(std::string& path, std::uint64_t inode_reference, record_source& records, path_cache& cache);
