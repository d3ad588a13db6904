// Which records a directory holds: the $I30 index, in the record itself or behind its attribute list.
// Called by path lookups. Works on volumes alone.
// Reads no names from the index and no entries behind a node's stated length; sub-nodes are not followed, for every
// block is read anyway.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "base/bytes.h"
#include "ntfs/runs.h"

struct ntfs_volume;

// Record numbers, without their sequence numbers.
using inode_set = std::set<std::uint64_t>;

constexpr std::uint32_t index_block_bytes = 4096;  // whatever the index says of its blocks

// Adds the children of a directory; an extension record stands for its base. What was added before a failure stays.
bool list_directory_children(ntfs_volume& volume, std::uint64_t inode, inode_set& children);
// Adds the children of one node, ending without a word at the first entry that cannot be one. `node` reaches from the
// node's header to the end of what was read. False: its length is none that a node can have.
bool parse_index_node(byte_view node, inode_set& children);
// Adds the children in all blocks of one $INDEX_ALLOCATION, viewed from its header to the record's end. True if its
// blocks could be read, whatever stands in them.
bool read_index_allocation(ntfs_volume& volume, byte_view attribute, inode_set& children);
// Up to `count` blocks from `first_block` on, fixed up, counted over allocated clusters alone; `count` takes how many
// there are. A cluster that cannot be read ends `bytes` there. False: there is no such block.
bool read_index_blocks(ntfs_volume& volume, const std::vector<stream_run>& runs, std::uint64_t first_block,
                       std::uint64_t& count, std::vector<std::uint8_t>& bytes);
