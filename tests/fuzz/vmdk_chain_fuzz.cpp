// Whatever two files say of each other: looking for parents ends, with the list that was given at the head of the one
// that came out; in any order the same chain, which is read the same way twice, and from the newest disk first.
#include <cstdlib>

#include "sources/vmdk_chain.h"
#include "support/disk_builder.h"

namespace {

void expect(bool law) {
    if (!law) std::abort();
}

build::bytes read_some(vmdk_chain& chain, std::uint64_t offset) {
    build::bytes bytes(2000, 0xEE);
    std::uint32_t count = 2000;
    expect(chain.read(bytes.data(), offset, count) && count == bytes.size());
    return bytes;
}

}  // namespace

// Two bytes with the size of the first file, the two files.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t first = std::min<std::size_t>(data[0] + 256u * data[1], size - 2);
    const build::disk_file one(build::bytes(data + 2, data + 2 + first)), two(build::bytes(data + 2 + first, data + size));
    const std::vector<std::u16string> paths = {one.path(), two.path()};
    vmdk_chain resolved, linked, turned;
    std::string text;
    std::vector<std::u16string> proposed;
    const bool complete = resolved.resolve(paths, text, proposed);
    expect(proposed.size() >= 2 && std::equal(paths.begin(), paths.end(), proposed.begin()));
    expect(!complete || (proposed.size() == 2 && text.empty()));
    const bool all = linked.add(paths[0]) && linked.add(paths[1]), also = turned.add(paths[1]) && turned.add(paths[0]);
    expect(all == also);
    if (!all || !linked.link() || linked.disks.size() < 2) return 0;
    expect(turned.link() && resolved.ready == complete);
    for (std::uint64_t offset = 0, steps = 0; steps < 50 && offset < linked.size(); ++steps) {
        const build::bytes bytes = read_some(linked, offset);
        expect(bytes == read_some(linked, offset) && bytes == read_some(turned, offset));
        std::uint64_t place = 0;
        std::uint32_t one_byte = 1;
        std::uint8_t value = 0;
        if (linked.leaf->map(offset, place) && linked.leaf->read_grains(&value, offset, one_byte)) expect(bytes[0] == value);
        offset = linked.next_data(offset + 2000);
    }
    return 0;
}
