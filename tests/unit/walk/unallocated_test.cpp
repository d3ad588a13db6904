#include "walk/unallocated.h"

#include <gtest/gtest.h>

#include <sstream>

#include "report/report_output.h"
#include "support/open_volume.h"

namespace {

using build::bytes, build::operator+;

constexpr std::uint32_t cluster_size = 2048, clusters = 64;
constexpr std::uint64_t mft_cluster = 4, first_free = 32;

// Clusters below `first_free` are in use, as all `in_use` are; the bitmap is cut or padded to `bitmap_size` bytes.
struct scanned_volume {
    std::vector<std::uint64_t> in_use;
    std::size_t bitmap_size = clusters / 8;
    std::vector<build::run> runs = {};  // of the bitmap, which lies in cluster 20, too; none: resident
    std::uint64_t claimed = 8;          // bytes, by the header of one with runs

    build::volume built() const {
        bytes bitmap(bitmap_size, 0);
        const auto use = [&bitmap](std::uint64_t cluster) {
            if (cluster / 8 < bitmap.size()) bitmap[cluster / 8] |= static_cast<std::uint8_t>(1u << (cluster % 8));
        };
        for (std::uint64_t cluster = 0; cluster < first_free; ++cluster) use(cluster);
        for (const std::uint64_t cluster : in_use) use(cluster);
        std::vector<bytes> records(6);
        records[5] = (runs.empty() ? build::record().resident(0x80, bitmap)
                                   : build::record().non_resident(0x80, build::pairs(runs), claimed))
                         .on_disk();
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
    bytes record = build::record().std_info().name(name).on_disk();
    return build::poke_u32(record, 44, number), record;
}

bytes spoiled(bytes record, std::size_t at, std::uint8_t value) { return record[at] = value, record; }

}  // namespace

TEST(unallocated, what_a_free_slot_gives) {
    const bytes seven = carrying(7, u"file-a");
    const auto signed_as = [&](const char* four) {
        bytes record = seven;
        return std::copy_n(four, 4, record.begin()), record;
    };
    const std::tuple<const char*, bytes, const char*> cases[] = {
        {"a record", seven, "00000007a "},
        {"two in one cluster", seven + seven, "00000007a 00000007a "},
        {"the older form carries no number", build::record(1024, 42).std_info().name(u"file-b").on_disk(),
         "ffffffffffffffffb "},
        {"an index block", signed_as("INDX"), ""},
        {"a bad record is fixed up all the same", signed_as("BAAD"), "00000007a "},
        {"no signature", signed_as("fILE"), ""},
        {"an update sequence too far behind", spoiled(seven, 4, 49), ""},
        {"an update sequence too long", spoiled(seven, 6, 10), ""},
        {"away from a multiple of the record size", bytes(512) + seven, ""},
    };
    for (const auto& [what, content, found] : cases) {
        opened_volume opened(scanned_volume().built().put(40, content).all());
        EXPECT_EQ(found_in(opened), found) << what;
    }
}

TEST(unallocated, the_bitmap_says_where_to_look) {
    const std::vector<build::run> endless = {{1 << 30, build::hole}};
    const std::uint64_t claim = (std::uint64_t{cluster_size} << 30) - 0xFFFF'FFC0;  // 64 in the low 32 bits that count
    const std::tuple<const char*, scanned_volume, const char*> cases[] = {
        {"free", {}, "00000001a 00000002b 00000003c "},
        {"the second is in use", {{50}}, "00000001a 00000003c "},
        {"bitmap in a cluster", {{50}, 8, {{1, 20}}}, "00000001a 00000003c "},
        {"a short bitmap", {{}, 7}, "00000001a 00000002b "},
        {"a bitmap longer than the volume", {{}, 300}, "00000001a 00000002b 00000003c "},
        {"an empty one", {{}, 0}, ""},
        {"larger than its runs", {{}, 8, {{1, 20}}, 0x2000'0000}, "00000001a 00000002b 00000003c "},
        {"not to be read to its end", {{}, 8, endless, claim}, "00000000? 00000001a 00000002b 00000003c "},
    };
    const auto plant = [](const scanned_volume& volume) {
        return volume.built()
            .put(33, carrying(1, u"file-a"))
            .put(50, carrying(2, u"file-b"))
            .put(63, carrying(3, u"file-c"))
            .all();
    };
    for (const auto& [what, volume, found] : cases) {
        opened_volume opened(plant(volume));
        EXPECT_EQ(found_in(opened), found) << what;
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
