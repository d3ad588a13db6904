#include "walk/unallocated.h"

#include <gtest/gtest.h>

#include <sstream>

#include "report/report_output.h"
#include "support/open_volume.h"

namespace {

using build::bytes;

constexpr std::uint32_t cluster_size = 2048, clusters = 64;
constexpr std::uint64_t mft_cluster = 4, first_free = 32;

bytes named(std::u16string_view name) { return build::record().std_info().name(name).on_disk(); }

// Clusters below `first_free` are in use, as all `in_use` are; the bitmap is cut or padded to `bitmap_size` bytes.
struct scanned_volume {
    std::vector<std::uint64_t> in_use;
    std::size_t bitmap_size = clusters / 8;
    bool resident = true;
    std::uint64_t hole = 0;  // clusters; the bitmap is nothing else then
    std::uint64_t lie = 0;   // bytes that its header claims; it has one cluster

    build::volume built() const {
        bytes bitmap(bitmap_size, 0);
        const auto use = [&bitmap](std::uint64_t cluster) {
            if (cluster / 8 < bitmap.size()) bitmap[cluster / 8] |= static_cast<std::uint8_t>(1u << (cluster % 8));
        };
        for (std::uint64_t cluster = 0; cluster < first_free; ++cluster) use(cluster);
        for (const std::uint64_t cluster : in_use) use(cluster);
        std::vector<bytes> records(6);
        records[5] = resident ? build::record().data(std::string(bitmap.begin(), bitmap.end())).on_disk()
                              : build::record().non_resident(0x80, build::pairs({{1, 20}}), bitmap.size()).on_disk();
        const std::uint64_t claimed = hole * cluster_size - 0xFFFF'FFC0;  // 64 in its low 32 bits, all that counts
        if (hole != 0)
            records[5] = build::record().non_resident(0x80, build::pairs({{hole, build::hole}}), claimed).on_disk();
        if (lie != 0) records[5] = build::record().non_resident(0x80, build::pairs({{1, 20}}), lie).on_disk();
        build::volume volume(clusters, cluster_size, mft_cluster);
        volume.mft({{8, mft_cluster}}, records).put(20, bitmap);
        for (std::uint64_t cluster = first_free; cluster < clusters; ++cluster)
            volume.put(cluster, bytes(cluster_size));
        return volume;
    }
};

// The first column of each row and the last letter of its name.
std::string found_in(opened_volume& opened) {
    std::stringstream out;
    opened.ctx.format_csv = opened.ctx.no_whitespace = true;
    opened.ctx.separator = ",";
    opened.ctx.unalloc_phase = opened.ctx.record_offset_wanted = true;
    report_output results{out};
    walk_unallocated(results, opened.ctx);
    std::string found, line;
    for (std::getline(out, line); std::getline(out, line);) {
        const std::size_t at = line.find("file-");
        found +=
            line.substr(0, line.find(',')).substr(2) + (at == std::string::npos ? "?" : line.substr(at + 5, 1)) + " ";
        EXPECT_NE(line.find(",unalloc,"), std::string::npos) << line;
        EXPECT_EQ(line.find("filerecord:"), std::string::npos) << "its place is not told";
    }
    return found;
}

bytes carrying(std::uint32_t number, std::u16string_view name) {
    bytes record = named(name);
    build::poke_u32(record, 44, number);
    return record;
}

bytes spoiled(bytes record, std::size_t at, std::uint8_t value) {
    record[at] = value;
    return record;
}

}  // namespace

TEST(unallocated, what_a_free_slot_gives) {
    const bytes seven = carrying(7, u"file-a");
    bytes old_form = build::record(1024, 42).std_info().name(u"file-b").on_disk();
    bytes two = seven;
    two.insert(two.end(), seven.begin(), seven.end());
    bytes index = seven;
    std::copy_n("INDX", 4, index.begin());
    bytes baad = seven;
    std::copy_n("BAAD", 4, baad.begin());
    const struct {
        const char* what;
        bytes content;
        const char* found;
    } cases[] = {
        {"a record", seven, "00000007a "},
        {"two in one cluster", two, "00000007a 00000007a "},
        {"the older form carries no number", old_form, "ffffffffffffffffb "},
        {"an index block", index, ""},
        {"a bad record is fixed up all the same", baad, "00000007a "},
        {"no signature", spoiled(seven, 0, 'f'), ""},
        {"an update sequence too far behind", spoiled(seven, 4, 49), ""},
        {"an update sequence too long", spoiled(seven, 6, 10), ""},
        {"away from a multiple of the record size",
         [&] {
             bytes moved(512);
             moved.insert(moved.end(), seven.begin(), seven.end());
             return moved;
         }(),
         ""},
    };
    for (const auto& c : cases) {
        opened_volume opened(scanned_volume().built().put(40, c.content).all());
        EXPECT_EQ(found_in(opened), c.found) << c.what;
    }
}

TEST(unallocated, the_bitmap_says_where_to_look) {
    const struct {
        const char* what;
        scanned_volume volume;
        const char* found;
    } cases[] = {
        {"free", {}, "00000001a 00000002b 00000003c "},
        {"the second is in use", {{50}}, "00000001a 00000003c "},
        {"bitmap in a cluster", {{50}, 8, false}, "00000001a 00000003c "},
        {"a short bitmap", {{}, 7}, "00000001a 00000002b "},
        {"a bitmap longer than the volume", {{}, 300}, "00000001a 00000002b 00000003c "},
        {"an empty one", {{}, 0}, ""},
        {"a size of which its runs hold little", {{}, 8, false, 0, 0x2000'0000}, "00000001a 00000002b 00000003c "},
        {"one that nobody could read to its end",
         {{}, 8, true, std::uint64_t{1} << 30},
         "00000000? 00000001a 00000002b 00000003c "},
    };
    const auto plant = [](const scanned_volume& volume) {
        return volume.built()
            .put(33, carrying(1, u"file-a"))
            .put(50, carrying(2, u"file-b"))
            .put(63, carrying(3, u"file-c"))
            .all();
    };
    for (const auto& c : cases) {
        opened_volume opened(plant(c.volume));
        EXPECT_EQ(found_in(opened), c.found) << c.what;
    }
    // A place that cannot be read costs its own slots; a cut image what lies behind the cut.
    opened_volume damaged(plant({}));
    damaged.disk->bad = {{50 * cluster_size, 50 * cluster_size + 512}};
    EXPECT_EQ(found_in(damaged), "00000001a 00000003c ");
    bytes cut = plant({});
    cut.resize(50 * cluster_size + 1024);
    opened_volume shorter(cut);
    EXPECT_EQ(found_in(shorter), "00000001a 00000002b ");
}

TEST(unallocated, behind_an_offset_the_scan_looks_at_twice_that_offset) {
    bytes image = scanned_volume{{36}}.built().put(40, carrying(1, u"file-a")).put(44, carrying(2, u"file-b")).all();
    image.insert(image.begin(), 4 * cluster_size, 0);
    opened_volume opened(image, 4 * cluster_size);
    // Cluster 36, in use, stands for what lies in 40; cluster 40 for 44.
    EXPECT_EQ(found_in(opened), "00000002b ");
}
