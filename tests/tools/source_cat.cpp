// Reads one stretch of a source as the program's own reader delivers it:
//   source_cat volume|device <path> <offset> <count>
// One line "size sector partition-number partition-start", then the bytes. Ends with 1 if they cannot be read.
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "sources/source_reader.h"

int main(int count, char** arguments) {
    if (count != 5) return 2;
    source_reader reader;
    const reader_kind kind = arguments[1] == std::string_view("volume") ? kind_volume : kind_device_path;
    open_source(reader, {.kind = kind, .paths = {utf16_from_utf8(arguments[2])}});
    std::printf("%llu %u %d %llu\n", static_cast<unsigned long long>(reader.size()), reader.bytes_per_sector,
                reader.partition_number, static_cast<unsigned long long>(reader.partition_offset));
    auto size = static_cast<std::uint32_t>(std::strtoul(arguments[4], nullptr, 10));
    std::vector<std::uint8_t> bytes(size);
    if (!reader.read_at(bytes.data(), size, std::strtoll(arguments[3], nullptr, 10))) return 1;
    std::fwrite(bytes.data(), 1, size, stdout);
    return 0;
}
