// Writes every $DATA stream of a volume to a file, as the program's own reader delivers it:
//   stream_cat <image> <byte offset of the volume> <file>
// One line per stream, "number TAB name TAB declared size TAB runs TAB delivered TAB whole|cut", then the bytes.
// Streams above 64 MiB are listed and not read.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "base/text.h"
#include "ntfs/record_read.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "walk/open_source.h"

namespace {

// "first cluster+count", "hole+count", joined by commas.
std::string run_text(const attr_entry& attribute) {
    std::string text;
    for (const stream_run& run : stream_runs(attribute.runs).runs) {
        if (!text.empty()) text += ',';
        if (run.sparse)
            text += "hole";
        else
            append_decimal(text, run.lcn);
        text += '+';
        append_decimal(text, run.clusters);
    }
    return text;
}

void write_stream(std::FILE* out, mft_entries_ctx& ctx, std::uint64_t number, const attr_entry& attribute) {
    std::vector<std::uint8_t> bytes;
    const bool whole = attribute.data_size() <= 64 * 1024 * 1024 &&
                       read_attribute_data(ctx.volume.get(), attribute, sink_into(bytes), ctx.log);
    std::fprintf(out, "%llu\t%s\t%llu\t%s\t%zu\t%s\n", static_cast<unsigned long long>(number),
                 utf8_from_utf16(attribute.name).c_str(), static_cast<unsigned long long>(attribute.data_size()),
                 run_text(attribute).c_str(), bytes.size(), whole ? "whole" : "cut");
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), out);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) return 2;
    mft_entries_ctx ctx;
    ctx.image_path_volume = utf16_from_utf8(arguments[1]);
    ctx.volume_offset = std::strtoull(arguments[2], nullptr, 10);
    if (!open_and_prepare(ctx)) return 1;
    std::FILE* out = std::fopen(arguments[3], "wb");
    if (out == nullptr) return 1;
    file_record record;
    const auto total = static_cast<std::uint64_t>(ctx.volume->record_count);
    for (std::uint64_t number = 0; number < total; ++number) {
        if (!read_and_decode_record(record, ctx, number, true) || record.is_extension) continue;
        for (const auto& item : record.attributes) {
            if (item.value.is_data) write_stream(out, ctx, number, item.value);
        }
    }
    return std::fclose(out) == 0 ? 0 : 1;
}
