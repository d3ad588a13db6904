// Whatever the bytes of a few records that name each other: the dump of each ends and is no longer than what
// the record's parts can need.
#include "fuzz/target.h"
#include "ntfs/record_read.h"
#include "report/record_dump.h"
#include "report/report_output.h"
#include "walk/acceptance.h"
#include "walk/walk_state.h"

static std::size_t most_bytes(const file_record& record) {
    constexpr std::size_t block = 2048, most_pairs = 65'536, of_each_byte = 1024;
    std::size_t most = block, path = block;
    for (const auto& item : record.parents) path = std::max(path, block + item.value.path.size());
    for (const auto& [key, entry] : record.attributes)
        most += block + of_each_byte * (entry.raw.size() + entry.runs.size());
    return most + std::min(record.parents.size() * record.file_names.size(), most_pairs) * path;
}

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t record_size = 1024, most_bytes_read = 12 * record_size;
    size = std::min(size, most_bytes_read);
    const temporary_file file(build::bytes(data, data + size));
    const read_options read = options_of({"-mftfile", file.path()});
    open_mft(*read.ctx, file);
    file_record record;
    walk_state state;
    std::vector<std::uint8_t> buffer;
    for (std::uint64_t inode = 0; inode * record_size < size; ++inode) {
        bool bad = false;
        if (!read_file_record(buffer, bad, *read.ctx, inode) ||
            !parse_file_record(record, buffer, inode, *read.ctx, state))
            continue;
        read.ctx->hex_numbers = inode % 2 == 0;
        std::ostringstream out;
        report_output results{out};
        write_record_dump(record, results, *read.ctx);
        expect(out.view().size() <= most_bytes(record));
    }
    return 0;
}
