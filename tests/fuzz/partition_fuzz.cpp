// Whatever the bytes of a disk: reading its tables ends, with a bounded list, and "true" means a list that holds
// entries.
#include "fuzz/target.h"
#include "sources/memory_source.h"
#include "sources/partitions.h"

namespace {

// Four slots in each sector that the chain can meet, and what stands in the first sector.
void check_list(bool worked, const partition_list& list, std::size_t disk_size) {
    expect(!worked || !list.empty());
    expect(list.size() <= 4 * (disk_size / 512 + 2) + 5);
    for (const partition_entry& entry : list) expect(!type_name(entry.type).empty());
}

// Table order, each entry behind the gap that leads to it.
void check_gpt(bool worked, const partition_list& list) {
    if (!worked) return;
    std::uint64_t next_free = 0;
    for (const partition_entry& entry : list) {
        expect(entry.from_gpt && (entry.type != 0 || entry.start_sector == next_free));
        expect(entry.start_sector <= next_free);
        next_free = entry.type != 0 ? entry.start_sector + entry.sector_count : UINT64_MAX;
    }
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    const byte_view bytes(data, size);
    memory_source disk(bytes);
    partition_list list;
    bool worked = read_partition_table(disk, list, true);
    if (list.empty() || !list.front().from_gpt) check_list(worked, list, size);
    worked = read_partition_table_from_memory(bytes.part(0, 512), list, false);
    check_list(worked, list, 512);
    worked = read_gpt(disk, list);
    check_gpt(worked, list);
    is_ntfs_at(disk, size / 2);
    return 0;
}
