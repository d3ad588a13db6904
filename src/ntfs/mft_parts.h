// The parts of $MFT that its own attribute list names: a fragmented $MFT does not fit into record 0.
// Called once by the volume's validation, and only where it is to be read thoroughly.
// Follows what the parts known so far can reach; decides nothing about the number of records that a walk visits.
#pragma once

struct ntfs_volume;

// Appends the runs of each listed part, in list order, to those of record 0, and places the records anew. A part that
// fails any test is passed over; without a list nothing changes.
void add_listed_mft_parts(ntfs_volume& volume);
