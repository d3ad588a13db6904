// Whatever record 1 of a small volume says: decoding ends, and no stream delivers more than its runs or its record
// hold. The first 1024 bytes are the record with its fixups on it, the rest lies in the clusters from 30 on.
#include "fuzz/target.h"
#include "ntfs/streams.h"
#include "support/open_volume.h"

namespace {

constexpr std::uint64_t most_delivered = 1 << 20;

bool count_bytes(void* target, byte_view bytes) {
    auto& count = *static_cast<std::uint64_t*>(target);
    count += bytes.size;
    return count < most_delivered;  // streams of holes may go on for ever
}

void read_range(ntfs_volume& volume, stream_runs& stream, std::uint64_t offset, std::uint32_t flags) {
    std::uint8_t buffer[5000 + 1];
    buffer[5000] = 0x5A;
    std::uint32_t size = 5000;
    const bool came = read_stream(volume, stream, offset, buffer, size, flags);
    expect(buffer[5000] == 0x5A && size <= 5000 && (came || size == 5000));
}

void check_stream(opened_volume& opened, const attr_entry& attribute) {
    std::uint64_t count = 0;
    read_attribute_data(&opened.volume(), attribute, {count_bytes, &count}, opened.ctx.log);
    stream_runs stream(attribute.runs);
    const std::uint64_t held = run_bytes(stream.runs, opened.volume().cluster_bytes(), false);
    // A damaged compression unit may decode to more than it should.
    if (!is_compressed_attribute(attribute)) expect(count <= (attribute.non_resident() ? held : 1024));
    for (const std::uint64_t offset : {std::uint64_t{0}, std::uint64_t{777}, held / 2, held, ~std::uint64_t{0} - 100}) {
        read_range(opened.volume(), stream, offset, 0);
        read_range(opened.volume(), stream, offset, read_skips_holes);
    }
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t record_size = 1024, most_bytes = 32 * 1024;
    if (size < record_size || size > most_bytes) return 0;
    static const build::volume blank = build::volume(64, record_size).mft({{8, 4}}, {}, 2 * record_size);
    build::volume built = blank;
    built.put(30, build::bytes(data + record_size, data + size)).put(9, build::bytes(data, data + record_size));
    opened_volume opened(built.all());
    file_record record;
    if (!opened.valid() || !opened.decode(record, 1)) return 0;
    for (const auto& item : record.attributes) check_stream(opened, item.value);
    return 0;
}
