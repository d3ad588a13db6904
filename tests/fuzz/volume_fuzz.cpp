// Whatever the boot sector and record 0: opening ends; in a valid volume every record has a place, numbers that are
// stepped over only rise, and the three kinds of record read agree with each other.
#include "fuzz/target.h"
#include "support/open_volume.h"

namespace {

void check_reads(ntfs_volume& volume, std::uint64_t inode) {
    std::vector<std::uint8_t> plain, checked;
    record_kind kind = record_kind::none;
    const bool is_plain = read_record(volume, inode, plain);
    const bool is_checked = read_record_checked(volume, inode, checked, kind);
    expect(is_checked ? kind != record_kind::none : true);
    if (is_plain && is_checked && plain.size() == checked.size()) expect(plain == checked);
    read_record_at(volume, record_position(volume, inode), plain, kind);
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most_bytes = 64 * 1024;
    if (size > most_bytes) return 0;
    opened_volume opened(build::bytes(data, data + size));
    if (!opened.valid()) return 0;
    ntfs_volume& volume = opened.volume();
    expect(volume.geometry.cluster_size > 0 && volume.record_alloc_size > 0);
    std::uint64_t inode = 0;
    for (int steps = 0; steps < 200; ++steps) {
        const std::uint64_t next = next_record_inside(volume, inode);
        expect(next >= inode);
        if (next == ~std::uint64_t{0}) break;
        check_reads(volume, next);
        inode = next + 1;
    }
    file_record record;
    opened.decode(record, 0);
    return 0;
}
