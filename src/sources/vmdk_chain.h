// A base disk and its snapshots as one source of bytes: each read is served by the newest file that holds the grain.
// Made by source_reader for a run, and by the options to look for parents that the user did not name.
// Prints nothing; a grain that cannot be read is zeros, as one that nobody holds, and the log learns of it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sources/vmdk_disk.h"

struct diagnostic_log;

// How far a search through a chain has come, and what it need not look at again.
struct vmdk_search {
    std::uint64_t asked = 0;  // last offset
    std::uint64_t steps = 0, answers = 0;
    std::uint64_t span = UINT64_MAX;       // the table span in hand: offset / table_span
    std::uint64_t span_kind = 0;           // see kind_of_span; 0: like no other
    std::set<std::uint64_t> passed_kinds;  // of spans that lie behind the search
};

struct vmdk_chain {
    std::map<std::string, std::unique_ptr<vmdk_disk>> disks;  // by cid
    vmdk_disk* base = nullptr;                                // the disk without a parent
    vmdk_disk* leaf = nullptr;                                // the newest
    std::vector<vmdk_disk*> ordered_disks;                    // base first
    bool ready = false;                                       // from base to leaf without a gap
    std::uint32_t system_error = 0;                           // of the last disk that could not be opened or read
    const diagnostic_log* log = nullptr;
    std::set<std::uint64_t> lost_grains;  // offsets of those that the log has been told of

    // False: not opened, or no disk of the form that can be read. Of two files with one id the first stays.
    bool add(const std::u16string& path);
    // Joins the disks by their ids. False: no base, or a parent that is not there.
    bool link();
    // Opens `paths` and joins them, and looks on the host for parents that are missing; `text` takes lines on what was
    // found. `out_paths` is `paths` and behind them the parents found: true only if there were none to be found.
    bool resolve(const std::vector<std::u16string>& paths, std::string& text, std::vector<std::u16string>& out_paths);

    // `size` bytes at `offset` of the virtual disk, zeros where no disk holds any. False: not ready, or nothing asked.
    bool read(void* buffer, std::uint64_t offset, std::uint32_t& size);
    // Bytes of the virtual disk; 0 before it is ready.
    std::uint64_t size() const;
    // For a search in rising order: the first place from `offset` on of which a disk holds a grain; the size where
    // there is none. Entries of a grain directory may share a table: what the search has passed is not told again.
    std::uint64_t next_data(std::uint64_t offset);
    vmdk_search searched;
};

constexpr const char* cid_of_no_parent = "ffffffff";

void join_disks(vmdk_disk& parent, vmdk_disk& child);
// From the base by the children; `ready` when that ends.
void order_disks(vmdk_chain& chain);
