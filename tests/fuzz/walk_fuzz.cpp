// Whatever is changed in a disk that holds one of each thing: a run over it ends, from the options to the last row, in
// each shape of report and with each filter, from a file, an extracted $MFT and a source that fails. Each row of -csv
// has the columns of the header line, each of -jsonl is one object in UTF-8.
//
// An input: the shape, two bytes of filters, the source, then changes: two bytes of position, a count, as many bytes.
#include <iterator>
#include <optional>

#include "fuzz/target.h"
#include "ntfs/streams.h"
#include "ntfs/volume.h"
#include "report/report_output.h"
#include "support/open_volume.h"
#include "support/sample_volume.h"
#include "support/temp_folder.h"
#include "walk/phases.h"

namespace {

using arguments = std::vector<std::string>;

const arguments shapes[] = {
    {},
    {"-csv", "-action_include_clusterinfo"},
    {"-csvperpath"},
    {"-filepath_only"},
    {"-csvl2t"},
    {"-bodyfile"},
    {"-hashfile", "md5|sha1", "-skip_sparse_clusters"},
    {"-multiline"},
    {"-find_mft", "1"},
    {"-find_mft", "7", "-hexdump"},
    {"-find_mft", "10", "-base10"},
    {"-find_mft", "13"},
    {"-default_output", "-base10", "-pair_datetime"},
    {"-csv", "-base10", "-filerecord_offset", "-hide_dos_fntimes", "-no_whitespace"},
    {"-action_copy_files", "-all"},  // the folder comes between them
    {"-jsonl", "-action_include_clusterinfo", "-filerecord_offset"},
};

const arguments filters[] = {
    {"-action_include_header", "-action_include_clusterinfo"},
    {"-filter_sig", "mz|16bit_mz|32bit_pe|64bit_pe|pe|hive|evt|sqlite|lnk"},
    {"-filter_dir", "\\dir*2"},
    {"-filter_dir", "c:\\link*?"},
    {"-filter_file", "\\dir\\sub|\\text.txt:stream|\\dir\\tool.exe"},
    {"-filter_inode", "1:stream|3|8|13|4294967295"},
    {"-filter_dir_inode", "2|5"},
    {"-mftstart", "2", "-mftrange", "0xffffffffffffffff"},
    {"-filter_unalloc_clusters"},
    {"-filter_all_clusters"},
    {"-filter_deleted_files_all"},
    {"-filter_deleted_files"},
    {"-filter_AND_logic"},
    {"-filter_ext", "txt|exe", "-filter_name", "a|text:stream", "-filter_wildcard", "?e", "-filter_fullname", "hive"},
    {"-filter_max_size", "4096", "-filter_min_size", "1"},
    {"-filter_start_time", "01/01/1980", "-filter_stop_time", "01/01/2030", "-filter_pattern", "4d 5a"},
};

// Bits of the byte that says how the disk is read.
enum source_bits : unsigned {
    from_memory = 1,   // else from a file, its offset checked
    as_device = 2,     // whole sectors, nothing said of the end
    bad_records = 4,   // memory: some of $MFT cannot be read
    bad_clusters = 8,  // memory: some of the files
    whole_image = 16,  // file: no -offset
    cut_short = 32,
    thorough = 64,
    as_mft = 128,  // file: the volume's $MFT alone
};

build::bytes changed_disk(byte_view changes) {
    static const build::bytes sample = build::sample_disk();
    build::bytes disk = sample;
    for (std::size_t at = 0; at < changes.size;) {
        const byte_view bytes = changes.part(at + 3, changes.u8(at + 2));
        byte_span(disk).put(changes.u16(at), bytes);
        at += 3 + std::max<std::size_t>(bytes.size, 1);
    }
    return disk;
}

build::bytes mft_of(byte_view disk) {
    build::bytes mft;
    for (std::size_t inode = 0; inode < build::sample_records; ++inode) {
        const byte_view record = disk.part(build::sample_record_at(inode), build::sample_cluster);
        mft.insert(mft.end(), record.data, record.data + record.size);
    }
    return mft;
}

arguments options_of_run(byte_view input) {
    arguments options = shapes[input.u8(0) % std::size(shapes)];
    for (std::size_t bit = 0; bit < std::size(filters); ++bit) {
        if ((input.u16(1) >> bit & 1) != 0) options.insert(options.end(), filters[bit].begin(), filters[bit].end());
    }
    options.push_back("-quiet");
    if ((input.u8(3) & thorough) != 0) options.push_back("-thorough");
    return options;
}

void open_in_memory(mft_entries_ctx& ctx, build::bytes disk, unsigned bits) {
    auto source = std::make_unique<faulty_source>(std::move(disk));
    source->sector_size = (bits & as_device) != 0 ? 512 : 0;
    const std::size_t middle = build::sample_record_at(7) + 512, cluster = build::sample_cluster;
    if ((bits & bad_records) != 0) source->bad.push_back({middle, middle + cluster});
    if ((bits & bad_clusters) != 0)
        source->bad.push_back({build::sample_volume_offset + 21 * cluster, build::sample_volume_offset + 26 * cluster});
    open_volume_in(std::make_unique<source_reader>(std::move(source)), build::sample_volume_offset, ctx.volume, ctx.log,
                   ctx.thorough);
}

// A hole may declare more bytes than can be digested or copied in an hour, and all of them count.
bool has_endless_stream(mft_entries_ctx& ctx) {
    constexpr std::uint64_t most_bytes = 1 << 20;
    file_record record;
    for (std::uint64_t inode = 0; ctx.volume != nullptr && inode < build::sample_records; ++inode) {
        read_and_decode_record(record, ctx, inode, false);
        for (const auto& [key, attribute] : record.attributes) {
            if (attribute.non_resident() && stream_size(attribute, ctx.volume->cluster_bytes()) > most_bytes)
                return true;
        }
    }
    return false;
}

void check_object(const std::string& line) {
    expect(line.starts_with("{\"datetime\":") && line.ends_with("\"}"));
    expect(std::none_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }));
    for (std::size_t at = 0; at < line.size();) expect(take_unit_or_utf8(line, at) == 0);
    bool inside = false;  // of a string
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '\\')
            ++at;
        else if (line[at] == '"')
            inside = !inside;
        else
            expect(inside || std::string_view("{},:null0123456789").find(line[at]) != std::string_view::npos);
    }
    expect(!inside);
}

void check_rows(const mft_entries_ctx& ctx, const std::string& report) {
    std::istringstream lines(report);
    std::string line;
    while (ctx.format_jsonl && std::getline(lines, line)) check_object(line);
    if (ctx.find_mft || report.empty()) return;
    if (ctx.format_csv) check_columns(report, ',');
    if (!ctx.csv_per_path || ctx.filepath_only || ctx.copy_files) return;
    // Without -csv a name's line feeds stay: rows cannot be told apart then.
    const auto separators_in = [](const std::string& text) { return std::count(text.begin(), text.end(), '|'); };
    expect(separators_in(report) % separators_in(report.substr(0, report.find('\n'))) == 0);
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t head = 4;
    const byte_view input(data, size);
    const unsigned bits = input.u8(3);
    build::bytes disk = changed_disk(input.part(head, size));
    if ((bits & cut_short) != 0) disk.resize(disk.size() / 2 + input.u8(0));
    arguments options = options_of_run(input);
    // In memory: the name of an index file counts as a source, and is never opened.
    const bool is_mft = (bits & (from_memory | as_mft)) == as_mft;
    const temporary_file file((bits & from_memory) != 0 ? build::bytes() : is_mft ? mft_of(disk) : disk);
    options.insert(options.end(), {(bits & from_memory) != 0 ? "-indxfile"
                                   : is_mft                  ? "-mftfile"
                                                             : "-image",
                                   file.path()});
    if ((bits & whole_image) == 0 && !is_mft)
        options.insert(options.end(), {"-offset", "0x1000", "-ignore_image_size"});
    std::optional<temp_folder> copies;
    if (options.front() == "-action_copy_files")
        options.insert(options.begin() + 1, utf8_from_utf16(copies.emplace().path()));
    const read_options read = options_of(options);
    mft_entries_ctx& ctx = *read.ctx;
    if (read.result != 0) return 0;
    if ((bits & from_memory) != 0) open_in_memory(ctx, std::move(disk), bits);
    open_and_prepare(ctx);
    if ((ctx.hash_output || ctx.copy_files) && has_endless_stream(ctx)) return 0;
    std::ostringstream out;
    report_output results{out, ctx.header_pending};
    run_walks(results, ctx);
    check_rows(ctx, out.str());
    return 0;
}
