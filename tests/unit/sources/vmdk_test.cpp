#include <gtest/gtest.h>

#include <deque>
#include <sstream>

#include "base/diagnostic_log.h"
#include "sources/vmdk_source.h"
#include "sources/volume_offset.h"
#include "support/disk_builder.h"
#include "support/temp_folder.h"

namespace {

// Header, descriptor, directory, two tables of four grains of one sector, then the grains: `held` numbers them on the
// virtual disk, and each is full of `fill`.
build::bytes sparse(const std::string& text, const std::vector<std::size_t>& held, std::uint8_t fill) {
    build::bytes bytes(5 * 512);
    build::poke_u32(bytes, 0, 0x564D444B);
    const std::pair<std::size_t, std::uint32_t> fields[] = {{12, 8}, {20, 1}, {28, 1},   {36, 1},  {44, 4},
                                                            {56, 2}, {64, 5}, {1024, 3}, {1028, 4}};
    for (const auto& [at, value] : fields) build::poke_u32(bytes, at, value);
    std::copy(text.begin(), text.end(), bytes.begin() + 512);
    for (const std::size_t grain : held) {
        build::poke_u32(bytes, (3 + grain / 4) * 512 + grain % 4 * 4, static_cast<std::uint32_t>(bytes.size() / 512));
        bytes.resize(bytes.size() + 512, fill);
    }
    return bytes;
}

const build::bytes base = sparse("CID=b\r\nparentCID=ffffffff\n", {0, 1, 4}, 'b');

// One letter a grain, a point for zeros; from the middle of one grain to the middle of another.
std::string letters(const std::vector<build::bytes>& contents) {
    std::deque<build::disk_file> files;
    vmdk_chain chain;
    for (const build::bytes& content : contents)
        if (!chain.add(files.emplace_back(content).path())) return "refused";
    build::bytes bytes(9 * 512, 0xEE);
    std::uint32_t size = 9 * 512;
    if (!chain.link() || !chain.read(bytes.data(), 256, size) || size != bytes.size()) return "apart";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 512) text += bytes[at] == 0 ? '.' : static_cast<char>(bytes[at]);
    return text;
}

TEST(vmdk, the_newest_disk_that_holds_a_grain_is_read_and_what_none_holds_is_zeros) {
    const build::bytes middle = sparse("ParentCID=b\ncid=\"m\"\n", {1, 2}, 'm'),
                       leaf = sparse("cid=a\nparentcid=\"m\"", {2, 7}, 'l');
    EXPECT_EQ(letters({base, leaf, middle, leaf}), "bml.b..l.");
    EXPECT_EQ(letters({leaf, base}), "apart");
}

TEST(vmdk, a_damaged_field_costs_what_it_says_and_no_more) {
    const struct {
        const char* what;
        std::size_t at;
        std::uint32_t value;
        const char* letters;
    } cases[] = {
        {"magic", 0, 0x564D444C, "refused"},
        {"grain size 0", 20, 0, "refused"},
        {"grain size beyond all disks", 24, 0x00400000, "refused"},
        {"no entries in a table", 44, 0, "refused"},
        {"tables larger than the file", 44, 0x40000000, "refused"},
        {"descriptor larger than the file", 40, 1, "refused"},
        {"descriptor behind the end", 28, 9, "refused"},
        {"none", 36, 0, "refused"},
        {"directory outside of the overhead", 56, 5, "refused"},
        {"overhead larger than the file", 64, 9, "refused"},
        {"first table ahead of the directory", 1024, 1, "refused"},
        {"first table outside of the overhead", 1024, 5, "refused"},
        {"first grain behind the end", 1536, 99, "refused"},
        {"second table behind the end", 1028, 99, "bb......."},
        {"second grain behind the end", 1540, 99, "b...b...."},
    };
    for (const auto& c : cases) {
        build::bytes bytes = base;
        build::poke_u32(bytes, c.at, c.value);
        EXPECT_EQ(letters({bytes}), c.letters) << c.what;
    }
}

TEST(vmdk, a_cut_file_is_refused_or_loses_its_last_grains) {
    for (std::size_t size = 0; size < base.size(); size += 51) {
        std::string held = ".........";
        for (const std::size_t grain : {0, 1, 4})
            held[grain] = size > 256 + (5 + std::min<std::size_t>(grain, 2)) * 512 ? 'b' : '.';
        EXPECT_EQ(letters({build::bytes(base.data(), base.data() + size)}), size <= 5 * 512 ? "refused" : held) << size;
    }
}

TEST(vmdk, zeros_in_the_place_of_a_grain_are_told_once) {
    build::bytes cut = base, bytes(8 * 512);
    build::poke_u32(cut, 1540, 99);
    const build::disk_file file(cut);
    vmdk_chain chain;
    ASSERT_TRUE(chain.add(file.path()) && chain.link());
    std::ostringstream told;
    const diagnostic_log log{std::make_unique<std::ostream>(told.rdbuf())};
    chain.log = &log;
    for (const long lines : {1, 3, 3}) {
        std::uint32_t size = 8 * 512;
        EXPECT_TRUE(chain.read(bytes.data(), 0, size));
        const std::string text = told.str();
        EXPECT_EQ(text.find("->err: zeros from 200 of the virtual disk on: behind the end: "), 0u) << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), lines) << text;
        close_file(chain.base->file);  // from now on the system refuses
    }
}

TEST(vmdk, a_parent_that_is_found_is_evidence_and_is_not_looked_for_on_another_machine) {
    const build::disk_file parent(base);
    const temporary_file log({});
    const std::string hint = "\\\\0.0.0.0\\c\\" + std::filesystem::path(parent.path()).filename().string();
    const build::disk_file child(sparse("parentCID=b\nencoding=windows\nparentFileNameHint=" + hint, {2}, 'c'));
    const read_options read = options_of({"-vmdk", child.file.path(), "-diags", log.path()});
    file_identity found;
    EXPECT_TRUE(identify(parent.path(), found) && is_evidence(read.ctx->evidence, found));
    const std::string told = temp_folder::content(utf16_from_utf8(log.path()));
    EXPECT_EQ(told.find("on another machine") != std::string::npos, temp_folder::separator() == u'\\') << told;
}

TEST(vmdk, a_search_for_tables_passes_over_what_no_disk_holds) {
    build::bytes huge = base;
    build::poke_u32(huge, 16, 1 << 20);  // 2^52 sectors
    const build::disk_file file(huge);
    vmdk_source disk;
    ASSERT_TRUE(disk.open({file.path()}));
    EXPECT_EQ(disk.size(), (std::uint64_t{1} << 61) + 8 * 512);
    EXPECT_EQ(disk.next_data(600), 600u);
    EXPECT_EQ(disk.next_data(1024), 4u * 512);
    // Entries of 0 share a table, here with a grain in it: a search sees it once.
    build::poke_u32(huge, 8, 7);
    const build::disk_file sharing(huge);
    vmdk_source shared;
    ASSERT_TRUE(shared.open({sharing.path()}));
    EXPECT_EQ(shared.next_data(5 * 512), 10u * 512);
    EXPECT_EQ(shared.next_data(11 * 512), shared.size());
    offset_check check;
    EXPECT_FALSE(check_vmdk_disks(check, {file.path()}));
    EXPECT_EQ(check.text, "couldn't find any partitions on disk\n");
}

}  // namespace
