// A small disk with one of each thing that a walk can meet: a partition table and, behind it, an NTFS volume.
// Made for the fuzz target of whole walks, whose inputs are changes of these bytes: what is added goes into free
// places.
#pragma once

#include "support/record_builder.h"

namespace build {

constexpr std::size_t sample_volume_offset = 4096, sample_cluster = 1024, sample_clusters = 60, sample_records = 24;

// 64 KiB: a position fits into two bytes.
bytes sample_disk();
// Where a record lies on the disk.
std::size_t sample_record_at(std::size_t inode);

}  // namespace build
