// Does the volume's offset name an NTFS volume that the source holds? If not: what is on the disk, and a proposal.
// Called by the source options, once a source, before the source is opened for the run.
// Never chooses a partition by itself; the words go into `text`, which the caller shows when it gives up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sources/partitions.h"

struct source_reader;

// What the offset options ask, and what comes of it.
struct offset_check {
    std::uint64_t offset = 0;  // bytes; takes 0 for a bare volume, or the proposal when the check fails
    bool ignore_size = false;  // a volume may reach beyond the end of the source
    bool found = false;        // there is an NTFS volume somewhere
    std::string text{};        // lines, each with its line feed
    std::string reason{};      // what the system said where the source could not be opened or read
    search_progress progress = nullptr;
    bool thorough = false;  // an offset may be accepted by what lies there, whatever a partition table says
};

// True: `offset` is the start of an NTFS volume. False otherwise, with the reason and the list in `text`.
bool check_volume_offset(offset_check& check, source_reader& reader);
// The same over a source that is opened for this call.
bool check_image(offset_check& check, const std::u16string& path);
bool check_drive(offset_check& check, std::int64_t number);
bool check_vmdk_disks(offset_check& check, const std::vector<std::u16string>& paths);
