// Whatever record 1 and the index blocks of a small volume say: a listing ends, and every child's number stands
// somewhere in the bytes. The first 1024 bytes are the record with its fixups on it, the rest lies in the clusters from
// 30 on. The cluster size is picked by one of the last bytes.
#include <cstdlib>

#include "ntfs/directory_index.h"
#include "ntfs/layout.h"
#include "support/open_volume.h"

namespace {

void expect(bool law) {
    if (!law) std::abort();
}

// The low 48 bits of a reference, anywhere: fixups change two bytes at a sector's end, so four in a row are looked for.
bool stands_in(byte_view bytes, std::uint64_t child) {
    for (std::size_t at = 0; at + 6 <= bytes.size; ++at) {
        if (bytes.u32(at) == static_cast<std::uint32_t>(child) || bytes.u32(at + 2) == child >> 16) return true;
    }
    return false;
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t record_size = 1024, most_bytes = 24 * 1024;
    constexpr std::uint32_t cluster_sizes[] = {512, 1024, 4096, 8192};
    if (size < record_size || size > most_bytes) return 0;
    const byte_view all(data, size);
    inode_set node_children;
    parse_index_node(all, node_children);
    for (const std::uint64_t child : node_children) expect(stands_in(all, child));

    build::volume built(80, cluster_sizes[data[record_size - 3] % 4]);
    built.put(30, build::bytes(data + record_size, data + size));
    built.mft({{12, 4}}, {build::bytes(data, data + record_size)});
    opened_volume opened(built.all());
    if (!opened.valid()) return 0;
    inode_set children;
    list_directory_children(opened.volume(), 1, children);
    for (const std::uint64_t child : children) expect(child <= inode_mask && stands_in(built.all(), child));
    return 0;
}
