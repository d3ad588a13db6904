// Valid file records and extracted $MFT files, built field by field, so that a test shows only what it is about.
// Used by unit tests and to seed the fuzz corpora; damage is a valid record with a byte changed behind bytes().
// Knows nothing of the decoder: offsets are written here a second time, on purpose.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace build {

using bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t posix = 0, win32 = 1, dos = 2, both = 3;
constexpr std::uint64_t tick_2020 = 132'223'104'000'000'000;  // 2020-01-01 00:00:00 UTC
constexpr std::uint64_t day = 864'000'000'000;

constexpr std::uint64_t reference(std::uint64_t inode, std::uint16_t sequence) {
    return (static_cast<std::uint64_t>(sequence) << 48) | inode;
}

struct times {
    std::uint64_t created = tick_2020, modified = tick_2020, mft_changed = tick_2020, accessed = tick_2020;
};

struct list_entry {
    std::uint32_t type;
    std::uint64_t reference;
    std::uint16_t id;
};

void poke_u16(bytes& target, std::size_t at, std::uint16_t value);
void poke_u32(bytes& target, std::size_t at, std::uint32_t value);
void poke_u64(bytes& target, std::size_t at, std::uint64_t value);
bytes operator+(bytes left, const bytes& right);
bytes utf16_bytes(std::u16string_view text);
// The value of an attribute list.
bytes list_bytes(const std::vector<list_entry>& entries);
// Offset of the first attribute of a type; the record's size if there is none.
std::size_t attribute_at(const bytes& record, std::uint32_t type);

class record {
public:
    explicit record(std::size_t size = 1024, std::uint16_t fixup_offset = 48);

    record& sequence(std::uint16_t value) { return poke_u16(bytes_, 16, value), *this; }
    record& directory() { return bytes_[22] |= 2, *this; }
    record& deleted() { return bytes_[22] &= 0xFE, *this; }
    record& signature(std::string_view four) { return std::copy_n(four.begin(), 4, bytes_.begin()), *this; }
    record& base(std::uint64_t reference) { return poke_u64(bytes_, 32, reference), *this; }
    // The id of the attribute that comes next; otherwise they count from 0.
    record& id(std::uint16_t value) { return next_id_ = value, *this; }

    record& std_info(times values = {});
    record& name(std::u16string_view text, std::uint8_t name_space = win32, std::uint64_t parent = reference(5, 5),
                 times values = {});
    record& data(std::string_view text, std::u16string_view stream = {});
    // Any resident attribute.
    record& resident(std::uint32_t type, const bytes& value, std::u16string_view attribute_name = {});
    // Any non-resident attribute: mapping pairs as they lie on disk, their final 0 included.
    record& non_resident(std::uint32_t type, const bytes& pairs, std::uint64_t size,
                         std::u16string_view attribute_name = {}, std::uint64_t first_vcn = 0);
    record& attribute_list(const std::vector<list_entry>& entries) { return resident(0x20, list_bytes(entries)); }

    // Ended, its sizes set and its update sequence in place: ready to be read from a disk.
    bytes on_disk() const;
    // The same after a reader put the replaced words back.
    bytes fixed_up() const;

private:
    std::size_t begin(std::uint32_t type, bool non_resident_form, std::u16string_view attribute_name,
                      std::size_t header_size);
    void end(std::size_t at);

    bytes bytes_;
    std::size_t size_;
    std::uint16_t fixup_offset_;
    std::uint16_t next_id_ = 0;
};

// Record `number` of an extracted $MFT is item `number`; empty items are zeros. Record 0 is made here and covers the
// file; so is the root, unless item 5 is given.
bytes mft(std::vector<bytes> records, std::size_t record_size = 1024);

// The same of a few records; the last has the highest number.
struct placed {
    std::size_t inode;
    record content;
};
bytes mft_with(const std::vector<placed>& items);

}  // namespace build
