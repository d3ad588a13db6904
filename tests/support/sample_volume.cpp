#include "support/sample_volume.h"

#include <algorithm>

#include "support/disk_builder.h"
#include "support/index_builder.h"
#include "support/volume_builder.h"

namespace build {
namespace {

constexpr std::uint32_t list = 0x20, object_id = 0x40, security = 0x50, label = 0x60, version = 0x70, data = 0x80,
                        allocation = 0xA0, reparse = 0xC0;
constexpr std::uint64_t cluster = sample_cluster;

record file(std::u16string_view name, std::uint64_t parent = 5) {
    return record().std_info().name(name, win32, reference(parent, 1));
}

bytes text(std::string_view content) { return {content.begin(), content.end()}; }

bytes executable() {
    bytes out = text("MZ");
    poke_u16(out, 6, 1);
    poke_u16(out, 24, 32);
    poke_u32(out, 60, 64);
    poke_u32(out, 64, 0x4550);
    poke_u16(out, 64 + 24, 0x20B);
    out.resize(2 * cluster);
    return out;
}

bytes link_to(std::u16string_view path) {
    bytes out(20);
    const auto size = static_cast<std::uint16_t>(2 * path.size());
    poke_u16(out, 4, size);
    for (const std::size_t at : {10u, 12u, 14u}) poke_u16(out, at, size);
    return out + utf16_bytes(path) + utf16_bytes(path);
}

// One list of one entry that lets everyone in.
bytes access() {
    return {1, 0, 4, 0x80, 0, 0, 0,  0, 0,   0, 0,  0, 0, 0, 0, 0, 20, 0, 0, 0, 2, 0, 28, 0,
            1, 0, 0, 0,    0, 0, 20, 0, 255, 1, 31, 0, 1, 1, 0, 0, 0,  0, 0, 1, 0, 0, 0,  0};
}

bytes large_directory() {
    record made = directory(u"Dir", {3, 7, 8});
    return made.non_resident(allocation, pairs({{4, 20}}), 4 * cluster, u"$I30").on_disk();
}

// Two clusters of a unit of 16, the others a hole: the pairs stand behind the longer header.
bytes compressed_file() {
    bytes compressed_size(8);
    poke_u64(compressed_size, 0, 2 * cluster);
    bytes made = file(u"packed").non_resident(data, compressed_size + pairs({{2, 28}, {14, hole}}), 3).fixed_up();
    const std::size_t at = attribute_at(made, data);
    made[at + 12] = 1;
    made[at + 34] = 4;
    made[at + 32] = static_cast<std::uint8_t>(made[at + 32] + 8);
    poke_u16(made, 6, 0);  // no fixups
    return made;
}

std::vector<bytes> records() {
    return {
        file(u"Text.txt")
            .name(u"TEXT~1.TXT", dos)
            .resident(object_id, bytes(64, 7))
            .resident(security, access())
            .data("some text")
            .data("more", u"stream")
            .on_disk(),
        large_directory(),
        file(u"tool.exe", 2).non_resident(data, pairs({{2, 25}}), 1900).on_disk(),
        file(u"hive").non_resident(data, pairs({{1, 27}, {1, 40}}), 2 * cluster).on_disk(),
        directory(u".", {1, 2, 4, 5, 9, 10, 11, 20}).sequence(5).on_disk(),
        file(u"$Bitmap").non_resident(data, pairs({{1, 2}}), 8).on_disk(),
        directory(u"Sub", {17, 18}, 2).on_disk(),
        compressed_file(),
        file(u"sparse").non_resident(data, pairs({{1, 41}, {20, hole}, {1, 42}}), 22 * cluster).on_disk(),
        directory(u"link", {}).resident(reparse, link_to(u"C:\\dir\\sub")).on_disk(),
        file(u"parts").attribute_list({{0x10, reference(11, 1), 0}, {data, reference(12, 1), 0}}).on_disk(),
        record().base(reference(11, 1)).non_resident(data, pairs({{2, 43}}), 2 * cluster).on_disk(),
        file(u"far parts").non_resident(list, pairs({{1, 24}}), 64).on_disk(),
        record().base(reference(13, 1)).id(3).data("far", u"named").data("and near").on_disk(),
        file(u"gone.jpg").deleted().data("old").on_disk(),
        file(u"torn").signature("BAAD").on_disk(),
        directory(u"ring", {18}, 18).on_disk(),
        directory(u"round", {17}, 17).on_disk(),
        file(u"$Volume")
            .resident(label, utf16_bytes(u"sample"))
            .resident(version, {0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0})
            .on_disk(),
        file(u"one")
            .name(u"two, with | lines\n", posix, reference(2, 1))
            .name(u"three", posix, reference(17, 1))
            .on_disk(),
        file(u"short.lnk").resident(data, {0x4c, 0, 0, 0, 1, 0x14, 2, 0, 0, 0, 0, 0, 0xc0, 0, 0, 0}).on_disk(),
        file(u"log.evt", 99).non_resident(data, pairs({{1, 45}}), cluster).on_disk(),
        file(u"base").non_resident(data, pairs({{1, 46}}), cluster).on_disk(),
    };
}

constexpr std::uint64_t first_piece = 4, first_records = 16, second_piece = 30;

}  // namespace

std::size_t sample_record_at(std::size_t inode) {
    const std::size_t lcn = inode < first_records ? first_piece + inode : second_piece + inode - first_records;
    return sample_volume_offset + lcn * cluster;
}

bytes sample_disk() {
    volume made(sample_clusters, cluster, first_piece);
    const bytes in_use = {0xF7, 0xFF, 0xFF, 0xFF, 0x3F, 0x7F, 0x00, 0x80};
    made.put(2, in_use)
        .put(20, index_block({index_entry(8), index_entry(20), index_entry(21)}))
        .put(24, list_bytes({{0x10, 0, 0}, {data, reference(14, 1), 4}}));
    made.put(25, executable()).put(27, text("regf\1\0\0\0padding and more")).put(28, {0x03, 0xB0, 0, 'a', 'b', 'c'});
    made.put(45, text("ElfFile padding and more")).put(46, text("SQLite format 3 and more"));
    // Of free clusters, those are read that lie the volume's offset behind them.
    made.put(51, file(u"lost.txt", 2).data("lost").on_disk()).put(52, file(u"lost too").deleted().on_disk());
    made.mft({{first_records, first_piece}, {sample_records - first_records, second_piece}}, records());
    disk whole((sample_volume_offset + sample_clusters * cluster) / 512);
    constexpr std::uint32_t start = sample_volume_offset / 512;
    bytes out = whole.table(0, {{7, start, sample_clusters * 2}}).all();
    std::copy(made.all().begin(), made.all().end(), out.begin() + sample_volume_offset);
    return out;
}

}  // namespace build
