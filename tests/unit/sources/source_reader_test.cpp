#include "sources/source_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/devices.h"
#include "platform/drive_names.h"
#include "platform/paths.h"
#include "sources/image_source.h"
#include "support/disk_builder.h"

namespace {

// `count` bytes of a pattern from `from` on, then zeros.
build::bytes pattern(std::size_t from, std::size_t count, std::size_t size) {
    build::bytes bytes(size);
    for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<std::uint8_t>((from + at) % 251);
    return bytes;
}

// `came` is the size given back; the buffer holds zeros behind the `there` bytes that the source has.
struct read_case {
    std::int64_t offset;
    std::uint32_t size;
    bool worked;
    std::uint32_t came = 0, there = 0;
};

template <class source>
void expect_reads(source& reader, const std::vector<read_case>& cases) {
    for (const read_case& c : cases) {
        build::bytes bytes(c.size, 0xEE);
        std::uint32_t size = c.size;
        EXPECT_EQ(reader.read_at(bytes.data(), size, c.offset), c.worked) << c.offset;
        if (!c.worked) continue;
        EXPECT_EQ(size, c.came) << c.offset;
        EXPECT_EQ(bytes, pattern(static_cast<std::size_t>(c.offset), c.there, c.size)) << c.offset;
    }
}

TEST(source_reader, an_image_shortens_a_read_at_its_end_and_zeroes_what_is_missing) {
    const build::disk_file file(pattern(0, 1000, 1000));
    source_reader reader;
    ASSERT_TRUE(open_source(reader, image_choice(file.path(), 0)));
    expect_reads(reader, {{0, 1000, true, 1000, 1000},
                          {990, 512, true, 10, 10},
                          {1, 4096, true, 999, 999},
                          {999, 1, true, 1, 1},
                          {1000, 1, false},
                          {0, 0, false},
                          {-1, 1, false},
                          {INT64_MAX, 1, false}});
    std::filesystem::resize_file(file.path(), 100);
    expect_reads(reader, {{0, 512, true, 512, 100}});
    reader.close();
    expect_reads(reader, {{0, 1, false}});
    EXPECT_EQ(reader.size(), 0u);
}

TEST(source_reader, an_image_is_read_beyond_four_gibibytes_and_two_tebibytes) {
    const build::disk_file file({});
    for (const std::uint64_t offset : {std::uint64_t{0x1'0000'0200}, std::uint64_t{0x300'0000'0000}}) {
        std::fstream(std::filesystem::path(file.path()), std::ios::binary | std::ios::in | std::ios::out)
                .seekp(static_cast<std::streamoff>(offset))
            << "here";
        image_source reader(file.path());
        EXPECT_EQ(reader.size(), offset + 4);
        build::bytes bytes(8);
        std::uint32_t size = 8;
        EXPECT_TRUE(reader.read_at(bytes.data(), size, static_cast<std::int64_t>(offset - 1)));
        EXPECT_EQ(bytes, (build::bytes{0, 'h', 'e', 'r', 'e', 0, 0, 0}));
    }
}

TEST(source_reader, a_path_claims_to_be_open_and_a_number_tells_the_truth) {
    const build::disk_file file(pattern(0, 4096, 4096));
    const std::vector<std::u16string> path = {file.path()};
    const std::tuple<const char*, source_choice, bool> cases[] = {
        {"missing image", {.kind = kind_file, .paths = {file.path() + u"-missing"}}, true},
        {"empty path", {.kind = kind_file, .paths = {u""}}, false},
        {"no source", {}, false},
        {"no volume", {.kind = kind_mft_file, .paths = path}, false},
        {"file as a device", {.kind = kind_device_path, .paths = path}, true},
        {"file as a volume", {.kind = kind_volume, .paths = path}, true},
        {"drive 25", drive_choice(25, 0), false},
        {"drive beyond 32 bits", drive_choice(std::uint64_t{1} << 32, 0), false},
    };
    for (const auto& [what, choice, claims] : cases) {
        source_reader reader;
        EXPECT_EQ(open_source(reader, choice), claims) << what;
        EXPECT_EQ(reader.is_open(), claims) << what;
        EXPECT_EQ(reader.size(), 0u) << what;
        expect_reads(reader, {{0, 512, false}});
        EXPECT_EQ(reader.system_error() != 0, claims) << what;
    }
}

TEST(source_reader, device_reads_are_widened_to_whole_sectors) {
    constexpr std::uint64_t beyond = std::uint64_t{1} << 32;
    const struct {
        std::uint64_t offset;
        std::uint32_t size, sector;
        sector_span span;  // of 0 bytes: refused
    } cases[] = {
        {100, 512, 512, {0, 1024, 100}},
        {512, 512, 512, {512, 512, 0}},
        {0, 1024, 4096, {0, 4096, 0}},
        {beyond + 5000, 4096, 4096, {0x1'0000'1000, 8192, 904}},
        {beyond + 520, 520, 520, {0x1'0000'0208, 520, 0}},  // by the low half: 2^32 + 520 is no multiple of 520
        {0, 512, 0, {}},
        {1, UINT32_MAX, 512, {}},
    };
    for (const auto& c : cases) {
        sector_span span;
        ASSERT_EQ(widen_to_sectors(c.offset, c.size, c.sector, span), c.span.bytes != 0) << c.offset;
        if (c.span.bytes == 0) continue;
        EXPECT_EQ(std::tuple(span.position, span.bytes, span.head),
                  std::tuple(c.span.position, c.span.bytes, c.span.head));
    }
}

// A plain file stands in for the drive: it delivers a read that crosses its end short, as drives do.
TEST(source_reader, a_device_read_copies_what_was_asked_for_and_a_short_one_counts_as_whole) {
    const build::disk_file file(pattern(0, 8292, 8292));
    device_source reader;
    ASSERT_TRUE(open_for_reading(reader.handle, file.path()));
    reader.total_size = 16384;
    reader.facts.bytes_per_sector = 4096;
    expect_reads(reader, {{0, 4096, true, 4096, 4096},
                          {100, 512, true, 512, 512},
                          {4095, 4098, true, 4098, 4098},
                          {8192, 4096, true, 4096, 100},
                          {8200, 512, true, 512, 92},
                          {16384, 512, false}});
    reader.facts.bytes_per_sector = 0;
    expect_reads(reader, {{0, 512, false}});
}

TEST(devices, letters_become_device_paths_where_the_host_has_letters) {
    const bool letters = host_separator() == u'\\';
    for (const std::u16string path : {u"e", u"E:", u"e:\\"}) {
        EXPECT_EQ(letter_device_path(path), letters ? u"\\\\.\\" + path.substr(0, 1) + u":" : path);
    }
    EXPECT_EQ(letter_device_path(u"1:"), u"1:");
    const std::u16string drive = drive_device_path(24);
    EXPECT_TRUE(letters ? drive == u"\\\\.\\PhysicalDrive24" : drive.empty() || drive.starts_with(u"/dev/"));
}

TEST(devices, drives_are_counted_as_a_person_would) {
    std::vector<std::string> names = {"sdaa",    "nvme10n1", "sr0", "sda", "loop1", "zram0", "ram15",  "dm-3",
                                      "nvme2n1", "vda",      "sdb", "md0", "srv",   "sdz",   "nvme2n2"};
    order_drive_names(names);
    EXPECT_EQ(names, (std::vector<std::string>{"md0", "nvme2n1", "nvme2n2", "nvme10n1", "sda", "sdb", "sdz", "sdaa",
                                               "srv", "vda"}));
}

}  // namespace
