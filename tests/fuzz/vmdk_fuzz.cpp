// Whatever the bytes of a virtual disk: opening it ends, what is kept of it is no larger than the file, and every byte
// read is the file's byte at the mapped place, or 0.
#include <cstdlib>

#include "sources/vmdk_chain.h"
#include "support/disk_builder.h"

namespace {

void expect(bool law) {
    if (!law) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const build::bytes content(data, data + size);
    const build::disk_file file(content);
    vmdk_chain chain;
    if (!chain.add(file.path())) return 0;
    vmdk_disk& disk = *chain.disks.begin()->second;
    // Beside the tables that share no byte there may be one copy of the header.
    expect(disk.grains.size() * 4 <= 2 * size && disk.table_places.size() * 4 <= size);
    disk.parent_cid = cid_of_no_parent;
    expect(chain.link());
    std::uint64_t offset = 0;
    for (int steps = 0; steps < 100 && offset < chain.size(); ++steps) {
        build::bytes bytes(3000, 0xEE);
        std::uint32_t count = 3000;
        expect(chain.read(bytes.data(), offset, count) && count == bytes.size());
        for (std::uint32_t at = 0; at < count; ++at) {
            std::uint64_t place = 0;
            const bool held = disk.map(offset + at, place) && place < size;
            expect(bytes[at] == (held ? content[place] : 0));
        }
        const std::uint64_t next = chain.next_data(offset + count);
        expect(next >= offset + count || next == chain.size());
        offset = next;
    }
    return 0;
}
