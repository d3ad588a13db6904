#include "support/record_builder.h"

#include <algorithm>
#include <cstring>

namespace build {
namespace {

template <class number>
void poke(bytes& target, std::size_t at, number value) {
    if (target.size() < at + sizeof value) target.resize(at + sizeof value);
    std::memcpy(target.data() + at, &value, sizeof value);
}

void poke_times(bytes& target, std::size_t at, const times& values) {
    poke_u64(target, at, values.created);
    poke_u64(target, at + 8, values.modified);
    poke_u64(target, at + 16, values.mft_changed);
    poke_u64(target, at + 24, values.accessed);
}

void append(bytes& target, const bytes& more) { target.insert(target.end(), more.begin(), more.end()); }

std::size_t sectors_of(std::size_t size) { return size / 512; }

}  // namespace

void poke_u16(bytes& target, std::size_t at, std::uint16_t value) { poke(target, at, value); }
void poke_u32(bytes& target, std::size_t at, std::uint32_t value) { poke(target, at, value); }
void poke_u64(bytes& target, std::size_t at, std::uint64_t value) { poke(target, at, value); }

bytes operator+(bytes left, const bytes& right) { return append(left, right), left; }

bytes utf16_bytes(std::u16string_view text) {
    bytes out(2 * text.size());
    if (!out.empty()) std::memcpy(out.data(), text.data(), out.size());
    return out;
}

std::size_t attribute_at(const bytes& record, std::uint32_t type) {
    std::uint16_t first = 0;
    std::memcpy(&first, record.data() + 20, sizeof first);
    for (std::size_t at = first; at + 8 <= record.size();) {
        std::uint32_t found = 0, length = 0;
        std::memcpy(&found, record.data() + at, sizeof found);
        std::memcpy(&length, record.data() + at + 4, sizeof length);
        if (found == type) return at;
        if (found == 0xFFFFFFFF || length == 0) break;
        at += length;
    }
    return record.size();
}

record::record(std::size_t size, std::uint16_t fixup_offset) : size_(size), fixup_offset_(fixup_offset) {
    const std::size_t words = sectors_of(size) + 1;
    const std::size_t first = (fixup_offset + 2 * words + 7) / 8 * 8;
    bytes_.resize(first);
    signature("FILE");
    poke_u16(bytes_, 4, fixup_offset);
    poke_u16(bytes_, 6, static_cast<std::uint16_t>(words));
    sequence(1);
    poke_u16(bytes_, 18, 1);
    poke_u16(bytes_, 20, static_cast<std::uint16_t>(first));
    poke_u16(bytes_, 22, 1);
}

std::size_t record::begin(std::uint32_t type, bool non_resident_form, std::u16string_view attribute_name,
                          std::size_t header_size) {
    const std::size_t at = bytes_.size();
    bytes_.resize(at + header_size);
    poke_u32(bytes_, at, type);
    bytes_[at + 8] = non_resident_form ? 1 : 0;
    bytes_[at + 9] = static_cast<std::uint8_t>(attribute_name.size());
    poke_u16(bytes_, at + 10, static_cast<std::uint16_t>(header_size));
    poke_u16(bytes_, at + 14, next_id_++);
    append(bytes_, utf16_bytes(attribute_name));
    while (bytes_.size() % 8 != 0) bytes_.push_back(0);
    return at;
}

void record::end(std::size_t at) {
    while (bytes_.size() % 8 != 0) bytes_.push_back(0);
    poke_u32(bytes_, at + 4, static_cast<std::uint32_t>(bytes_.size() - at));
}

record& record::resident(std::uint32_t type, const bytes& value, std::u16string_view attribute_name) {
    const std::size_t at = begin(type, false, attribute_name, 24);
    poke_u32(bytes_, at + 16, static_cast<std::uint32_t>(value.size()));
    poke_u16(bytes_, at + 20, static_cast<std::uint16_t>(bytes_.size() - at));
    append(bytes_, value);
    end(at);
    return *this;
}

record& record::non_resident(std::uint32_t type, const bytes& pairs, std::uint64_t size,
                             std::u16string_view attribute_name, std::uint64_t first_vcn) {
    const std::size_t at = begin(type, true, attribute_name, 64);
    poke_u64(bytes_, at + 16, first_vcn);
    poke_u16(bytes_, at + 32, static_cast<std::uint16_t>(bytes_.size() - at));
    poke_u64(bytes_, at + 40, (size + 4095) / 4096 * 4096);
    poke_u64(bytes_, at + 48, size);
    poke_u64(bytes_, at + 56, size);
    append(bytes_, pairs);
    end(at);
    return *this;
}

record& record::std_info(times values) {
    bytes value(72);
    poke_times(value, 0, values);
    return resident(0x10, value);
}

record& record::name(std::u16string_view text, std::uint8_t name_space, std::uint64_t parent, times values) {
    bytes value(66);
    poke_u64(value, 0, parent);
    poke_times(value, 8, values);
    value[64] = static_cast<std::uint8_t>(text.size());
    value[65] = name_space;
    append(value, utf16_bytes(text));
    return resident(0x30, value);
}

record& record::data(std::string_view text, std::u16string_view stream) {
    return resident(0x80, bytes(text.begin(), text.end()), stream);
}

bytes list_bytes(const std::vector<list_entry>& entries) {
    bytes value(32 * entries.size());
    for (std::size_t at = 0; at < value.size(); at += 32) {
        const list_entry& entry = entries[at / 32];
        poke_u32(value, at, entry.type);
        poke_u16(value, at + 4, 32);
        poke_u64(value, at + 16, entry.reference);
        poke_u16(value, at + 24, entry.id);
    }
    return value;
}

bytes record::fixed_up() const {
    bytes out = bytes_;
    poke_u32(out, out.size(), 0xFFFFFFFF);
    poke_u32(out, out.size(), 0);
    poke_u32(out, 24, static_cast<std::uint32_t>(out.size()));
    poke_u32(out, 28, static_cast<std::uint32_t>(size_));
    poke_u16(out, 40, next_id_);
    out.resize(size_);
    return out;
}

bytes record::on_disk() const {
    bytes out = fixed_up();
    constexpr std::uint16_t check_word = 0x0107;
    poke_u16(out, fixup_offset_, check_word);
    for (std::size_t sector = 1; sector <= sectors_of(size_); ++sector) {
        const std::size_t tail = 512 * sector - 2;
        std::memcpy(out.data() + fixup_offset_ + 2 * sector, out.data() + tail, 2);
        poke_u16(out, tail, check_word);
    }
    return out;
}

bytes mft(std::vector<bytes> records, std::size_t record_size) {
    records.resize(std::max<std::size_t>(records.size(), 6));
    const std::uint64_t size = records.size() * record_size;
    const bytes no_runs = {0};
    records[0] = record(record_size).std_info().name(u"$MFT", both).non_resident(0x80, no_runs, size).on_disk();
    if (records[5].empty()) {
        records[5] = record(record_size).sequence(5).directory().std_info().name(u".", both).on_disk();
    }
    bytes out;
    for (const bytes& each : records) {
        append(out, each);
        out.resize((out.size() + record_size - 1) / record_size * record_size);
        if (each.empty()) out.resize(out.size() + record_size);
    }
    return out;
}

bytes mft_with(const std::vector<placed>& items) {
    std::vector<bytes> records(items.back().inode + 1);
    for (const placed& item : items) records[item.inode] = item.content.on_disk();
    return mft(records);
}

}  // namespace build
