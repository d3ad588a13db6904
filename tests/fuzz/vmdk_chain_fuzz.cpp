// Whatever two files say of each other: looking for parents ends, proposing a longer list or none; in any order they
// make the same chain, and it reads the same bytes.
#include "fuzz/target.h"
#include "sources/vmdk_chain.h"
#include "support/disk_builder.h"

// Two bytes with the size of the first file, the two files.
int run_input(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::uint8_t* const second = data + std::min<std::size_t>(2 + data[0] + 256u * data[1], size);
    const build::disk_file one(build::bytes(data + 2, second)), two(build::bytes(second, data + size));
    vmdk_chain resolved, linked, turned;
    std::string text;
    std::vector<std::u16string> proposed;
    const bool complete = resolved.resolve({one.path(), two.path()}, text, proposed);
    if (proposed.size() < 2 || (complete && (proposed.size() > 2 || !resolved.ready))) std::abort();
    const bool all = linked.add(one.path()) && linked.add(two.path());
    if (all != (turned.add(two.path()) && turned.add(one.path()))) std::abort();
    if (!all || linked.disks.size() < 2 || !linked.link()) return 0;
    if (!turned.link()) std::abort();
    for (std::uint64_t offset = 0, steps = 0; steps < 50 && offset < linked.size(); ++steps) {
        build::bytes bytes(2000, 0xEE), again(2000, 0xDD);
        std::uint32_t count = 2000;
        if (!linked.read(bytes.data(), offset, count) || !turned.read(again.data(), offset, count)) std::abort();
        if (bytes != again) std::abort();
        offset = linked.next_data(offset + count);
    }
    return 0;
}
