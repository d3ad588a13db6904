// Whatever the bytes of a virtual disk: opening it ends, what is kept of it is no larger than the file and one copy of
// its header, and every byte read is the file's byte at the mapped place, or 0.
#include "fuzz/target.h"
#include "sources/vmdk_chain.h"
#include "support/disk_builder.h"

int run_input(const std::uint8_t* data, std::size_t size) {
    const build::disk_file file(build::bytes(data, data + size));
    vmdk_chain chain;
    if (!chain.add(file.path())) return 0;
    vmdk_disk& disk = *chain.disks.begin()->second;
    if (disk.grains.size() * 4 > 2 * size || disk.table_places.size() * 4 > size) std::abort();
    disk.parent_cid = cid_of_no_parent;
    if (!chain.link()) std::abort();
    std::uint64_t offset = 0;
    for (int steps = 0; steps < 100 && offset < chain.size(); ++steps) {
        std::uint8_t bytes[3000];
        std::uint32_t count = sizeof bytes;
        if (!chain.read(bytes, offset, count) || count != sizeof bytes) std::abort();
        for (const std::uint8_t byte : bytes) {
            std::uint64_t place = 0;
            const bool held = disk.map(offset++, place) && place < size;
            if (byte != (held ? data[place] : 0)) std::abort();
        }
        offset = chain.next_data(offset);
    }
    return 0;
}
