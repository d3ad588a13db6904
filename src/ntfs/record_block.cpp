#include "ntfs/record_block.h"

#include <algorithm>
#include <new>

#include "ntfs/record_source.h"
#include "ntfs/volume.h"
#include "sources/plain_file.h"

namespace {

constexpr std::uint64_t block_limit = 64 * 1024;  // bytes

// Bytes from the first record's first to the last one's last.
std::uint64_t length_of(const record_block& block) { return (block.count - 1) * block.stride + block.record_size; }

bool read_from_file(record_block& block, plain_file& file, std::uint64_t record_size) {
    const auto held = static_cast<std::uint64_t>(file.file_size());
    const std::uint64_t position = block.first * record_size;
    block.stride = block.record_size = static_cast<std::uint32_t>(record_size);
    block.count = std::min(block.count, position < held ? (held - position) / record_size : 0);
    return block.count > 1 && file.read_into(block.bytes, length_of(block), position) &&
           block.bytes.size() == length_of(block);
}

bool read_from_runs(record_block& block, ntfs_volume& volume, std::uint32_t record_size) {
    block.stride = volume.record_alloc_size;
    block.record_size = record_size;
    block.count = std::min(block.count, records_in_row(volume, block.first));
    if (block.count < 2) return false;
    auto size = static_cast<std::uint32_t>(length_of(block));
    block.bytes.resize(size);
    return read_at_volume(volume, record_position(volume, block.first), block.bytes.data(), size) &&
           size == block.bytes.size() && !volume.reader->ended_early();
}

// False, also where memory does not reach for it: the block holds nothing that could be relied on.
bool read_block(record_block& block, record_source& records) {
    const std::uint32_t record_size = records.effective_record_size();
    try {
        return records.mft_reader != nullptr ? read_from_file(block, *records.mft_reader, record_size)
                                             : read_from_runs(block, *records.volume, record_size);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// False: the record at `inode` and those that would have stood behind it are to be read alone.
bool fill(record_block& block, record_source& records, std::uint64_t inode, std::uint64_t end) {
    const std::uint32_t record_size = records.effective_record_size();
    const std::uint32_t stride = records.volume != nullptr ? records.volume->record_alloc_size : record_size;
    const std::uint64_t wanted = std::min(end - inode, block_limit / std::max(stride, record_size));
    block.first = inode;
    block.count = wanted;
    if (wanted > 1 && read_block(block, records)) return true;
    block.alone_to = inode + std::max<std::uint64_t>(std::min(block.count, wanted), 1);
    block.count = 0;
    return false;
}

}  // namespace

byte_span take_from_block(record_block& block, record_source& records, std::uint64_t inode, std::uint64_t end,
                          std::vector<std::uint8_t>& buffer) {
    const bool size_known = records.mft_reader == nullptr || records.record_size_learned;
    if (!block.holds(inode) &&
        (!size_known || inode < block.alone_to || inode >= end || !fill(block, records, inode, end)))
        return {};
    const auto at = static_cast<std::size_t>((inode - block.first) * block.stride);
    const byte_span bytes = byte_span(block.bytes).part(at, block.record_size);
    if (block.stride >= block.record_size) return bytes;
    buffer.assign(bytes.data, bytes.data + bytes.size);
    return buffer;
}
