#include "ntfs/directory_index.h"

#include <algorithm>
#include <string>

#include "ntfs/attribute_cursor.h"
#include "ntfs/attributes.h"
#include "ntfs/layout.h"
#include "ntfs/raw_record.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"

namespace {

constexpr std::u16string_view index_name = u"$I30";
constexpr std::uint32_t longest_node = 4096;
constexpr std::uint16_t longest_entry = 768;
constexpr std::uint64_t blocks_at_once = 1024;
// Guard: 4 GiB of index, some 40 million names.
constexpr std::uint64_t most_blocks = 1024 * 1024;

// What a listing wants of a directory's record; empty where there is none.
struct index_attributes {
    byte_view list, root, allocation;
};

// Kept: of several the last one counts.
index_attributes find_index_attributes(byte_view record, std::uint32_t limit) {
    index_attributes found;
    for (attribute_cursor cursor(record, attributes_start(record), {.longest = limit}); cursor.valid(); cursor.next()) {
        const byte_view attribute = cursor.bytes();
        const std::uint32_t type = cursor.type();
        if (type == type_attribute_list) found.list = attribute;
        if (type == type_index_root && attribute_has_name(attribute, index_name)) found.root = attribute;
        if (type == type_index_allocation && attribute_has_name(attribute, index_name)) found.allocation = attribute;
    }
    return found;
}

bool add_root_children(byte_view root, inode_set& children) {
    const byte_view value = root.part(root.u16(attribute_at::value_offset), root.size);
    const bool indexes_names = value.u32(index_root_at::indexed_type) == type_file_name;
    if (!indexes_names || value.u32(index_root_at::block_size) == 0) return false;
    return parse_index_node(value.part(index_root_at::node, value.size), children);
}

// The record that holds the first part of an index attribute, by the directory's attribute list.
bool find_listed_record(const attribute_list& list, std::uint32_t type, std::uint64_t& inode) {
    byte_view entry;
    std::u16string name;
    for (std::size_t at = 0; next_list_entry(list, at, entry);) {
        const std::uint32_t listed = entry.u32(list_entry_at::type);
        if (listed == type_end) return false;
        if (listed != type) continue;
        read_name(name, entry, entry.u8(list_entry_at::name_offset), entry.u8(list_entry_at::name_length));
        if (name != index_name) continue;
        inode = entry.u64(list_entry_at::reference) & inode_mask;
        return true;
    }
    return false;
}

// An index attribute in another record than the directory's own.
class listed_attribute {
public:
    listed_attribute(ntfs_volume& volume, const attribute_list& list, std::uint64_t directory)
        : volume_(volume), list_(list), directory_(directory) {}

    // False: its record cannot be read. Otherwise the attribute, empty if there is none.
    bool find(std::uint32_t type, byte_view& attribute) {
        attribute = {};
        std::uint64_t inode = 0;
        if (!find_listed_record(list_, type, inode) || inode == directory_) return true;
        if (!read_raw_record(volume_, inode, bytes_)) return false;
        const byte_view record(bytes_);
        std::size_t at = attributes_start(record);
        if (find_named_attribute(record, at, type, index_name, volume_.record_alloc_size)) {
            attribute = record.part(at, record.size);
        }
        return true;
    }

private:
    ntfs_volume& volume_;
    const attribute_list& list_;
    std::uint64_t directory_;
    std::vector<std::uint8_t> bytes_;
};

// For a directory without $INDEX_ALLOCATION in its own record. `listed` is the result so far.
// Kept: of an allocation in several records the first part alone is read, and a root found here does not count as one.
bool list_through_attribute_list(ntfs_volume& volume, std::uint64_t inode, const index_attributes& own, bool listed,
                                 inode_set& children) {
    const bool non_resident = own.list.u8(attribute_at::non_resident) != 0;
    if (non_resident && own.list.u64(attribute_at::initialised_size) == 0) return listed;
    attribute_list list;
    if (!read_attribute_list(volume, own.list, list)) return listed;
    listed_attribute elsewhere(volume, list, inode);
    byte_view attribute;
    if (!elsewhere.find(type_index_allocation, attribute)) return false;
    if (attribute.size > 0) listed = read_index_allocation(volume, attribute, children);
    if (own.root.size > 0) return listed;
    if (!elsewhere.find(type_index_root, attribute)) return false;
    if (attribute.size > 0) add_root_children(attribute, children);
    return listed;
}

// Guard: base records may form a ring.
bool read_base_record(ntfs_volume& volume, std::uint64_t& inode, std::vector<std::uint8_t>& record) {
    inode_set met;
    while (met.insert(inode).second && read_raw_record(volume, inode, record)) {
        const std::uint64_t base = byte_view(record).u64(record_at::base_reference);
        if (base == 0) return true;
        inode = base & inode_mask;
    }
    return false;
}

// The allocated clusters of a run list, one after the other.
class cluster_walk {
public:
    cluster_walk(const std::vector<stream_run>& runs, std::uint64_t first) : runs_(runs), in_run_(first) {}

    bool next(std::uint64_t& lcn) {
        while (run_ < runs_.size() && (runs_[run_].sparse || in_run_ >= runs_[run_].clusters)) {
            if (!runs_[run_].sparse) in_run_ -= runs_[run_].clusters;
            ++run_;
        }
        if (run_ == runs_.size()) return false;
        lcn = runs_[run_].lcn + in_run_++;
        return true;
    }

private:
    const std::vector<stream_run>& runs_;
    std::size_t run_ = 0;
    std::uint64_t in_run_;
};

// The least piece that is whole in clusters and in blocks.
struct index_piece {
    explicit index_piece(std::uint32_t cluster_size)
        : clusters(std::max<std::uint32_t>(index_block_bytes / cluster_size, 1)),
          blocks(std::max<std::uint32_t>(cluster_size / index_block_bytes, 1)) {}
    std::uint32_t clusters, blocks;
};

// Appends the piece at the walk's place, filled up with zeros where a cluster cannot be read. False then.
bool append_piece(ntfs_volume& volume, cluster_walk& walk, const index_piece& piece, std::vector<std::uint8_t>& bytes) {
    const std::size_t start = bytes.size();
    bool whole = true;
    for (std::uint32_t done = 0; done < piece.clusters && whole; ++done) {
        std::uint64_t lcn = 0;
        whole = walk.next(lcn) && append_cluster(volume, lcn, bytes);
    }
    if (bytes.size() == start) return false;
    bytes.resize(start + piece.blocks * index_block_bytes);
    if (whole) fix_index_blocks(byte_span(bytes).part(start, bytes.size()), volume.sector_size());
    return whole;
}

// Guard: runs may claim the same clusters over and over, so what a source holds bounds the blocks as well.
std::uint64_t most_blocks_of(const ntfs_volume& volume) {
    return std::min(volume.reader->size() / index_block_bytes + 1, most_blocks);
}

// Blocks that begin ahead of the initialised size, holes left out as in their counting. By default those behind it are
// read as well, which were children once, or another file's bytes.
std::uint64_t written_blocks(const ntfs_volume& volume, const stream_runs& stream, byte_view attribute) {
    const std::uint64_t end = attribute.u64(attribute_at::initialised_size);
    std::uint64_t bytes = 0;
    for (const stream_run& run : stream.runs) {
        const std::uint64_t from = run.vcn * volume.cluster_bytes();
        const std::uint64_t length = std::uint64_t{run.clusters} * volume.cluster_bytes();
        if (!run.sparse && from < end) bytes += std::min(length, end - from);
    }
    return (bytes + index_block_bytes - 1) / index_block_bytes;
}

void add_block_children(byte_view block, inode_set& children) {
    if (block.u32(index_block_at::signature) != index_signature) return;
    parse_index_node(block.part(index_block_at::node, block.size), children);
}

}  // namespace

bool list_directory_children(ntfs_volume& volume, std::uint64_t inode, inode_set& children) {
    std::vector<std::uint8_t> record;
    if (!read_base_record(volume, inode, record)) return false;
    const index_attributes found = find_index_attributes(record, volume.record_alloc_size);
    const bool listed = found.root.size > 0 && add_root_children(found.root, children);
    if (found.allocation.size > 0) return read_index_allocation(volume, found.allocation, children);
    if (found.list.size == 0) return listed;
    return list_through_attribute_list(volume, inode, found, listed, children);
}

bool parse_index_node(byte_view node, inode_set& children) {
    const std::uint32_t total = node.u32(index_node_at::entries_bytes);
    if (total < 1 || total > longest_node) return false;
    std::int64_t left = total;
    std::size_t at = node.u32(index_node_at::first_entry);
    // Kept: a node of just the greatest length has no children.
    while (left > 0 && left < longest_node) {
        const byte_view entry = node.part(at, node.size);
        const std::uint16_t length = entry.u16(index_entry_at::length);
        const std::uint16_t key_length = entry.u16(index_entry_at::key_length);
        const std::uint16_t flags = entry.u16(index_entry_at::flags);
        const std::uint64_t reference = entry.u64(index_entry_at::reference);
        if (length > total || key_length > total || key_length > length || reference == 0) break;
        if (flags == index_entry_is_last || flags == (index_entry_is_last | index_entry_has_node)) break;
        children.insert(reference & inode_mask);
        at += length;
        left -= length;
        const std::uint16_t next_length = node.u16(at + index_entry_at::length);
        if (next_length == 0 || next_length > longest_entry) break;
    }
    return true;
}

bool read_index_allocation(ntfs_volume& volume, byte_view attribute, inode_set& children) {
    std::vector<cluster_run> runs;
    if (attribute.u64(attribute_at::initialised_size) == 0 || !decode_runs(attribute, runs)) return false;
    const stream_runs stream(runs);
    std::uint64_t end = most_blocks_of(volume);
    if (volume.thorough) end = std::min(end, written_blocks(volume, stream, attribute));
    std::vector<std::uint8_t> bytes;
    for (std::uint64_t block = 0; block < end; block += blocks_at_once) {
        std::uint64_t count = std::min(blocks_at_once, end - block);
        if (!read_index_blocks(volume, stream.runs, block, count, bytes)) return block > 0;
        const byte_view all(bytes);
        for (std::size_t at = 0; at < all.size; at += index_block_bytes) {
            add_block_children(all.part(at, index_block_bytes), children);
        }
        if (all.size < blocks_at_once * index_block_bytes) break;
    }
    return true;
}

bool read_index_blocks(ntfs_volume& volume, const std::vector<stream_run>& runs, std::uint64_t first_block,
                       std::uint64_t& count, std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    const index_piece piece(volume.cluster_bytes());
    const std::uint64_t blocks = run_bytes(runs, 1, true) / piece.clusters * piece.blocks;
    if (first_block >= blocks) return false;
    count = std::min(count, blocks - first_block);
    // A large cluster may begin ahead of the first block and end behind the last one.
    const std::size_t ahead = first_block % piece.blocks * index_block_bytes;
    const std::uint64_t wanted = ahead + count * index_block_bytes;
    cluster_walk walk(runs, first_block / piece.blocks * piece.clusters);
    while (bytes.size() < wanted && append_piece(volume, walk, piece, bytes)) {
    }
    if (bytes.size() > wanted) bytes.resize(wanted);
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(ahead, bytes.size())));
    return true;
}
