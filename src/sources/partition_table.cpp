#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>

#include "sources/disk_layout.h"
#include "sources/partitions.h"

namespace {

constexpr std::uint32_t first_read = 16384;
constexpr std::uint32_t table_sector = 512;
constexpr std::uint32_t search_block = 1024 * 1024;
constexpr std::uint32_t larger_sectors[] = {1024, 2048, 4096, 8192, 16384};
// Where an old partitioner left the first track free and the first volume began.
constexpr std::uint64_t first_track = 63;

// Types that make an entry. Shorter than the list of names, and kept apart from it: 0x87, 0x0E and others have a name
// and never an entry.
constexpr std::uint8_t accepted_types[] = {
    0x01, 0x04, 0x05, 0x06, 0x07, 0x0B, 0x0C, 0x0F, 0x11, 0x14, 0x16, 0x1B, 0x1C, 0x1E,
    0x82, 0x83, 0x86, 0x88, 0x8B, 0x8C, 0x8D, 0x8E, 0x90, 0x91, 0x92, 0x93, 0x97, 0x98,
};

struct table_walk {
    disk_bytes disk;
    partition_list& list;
    std::uint32_t sector_size;
    bool follows_gpt;
};

struct table_slot {
    std::uint8_t type = 0;
    std::uint32_t start = 0, count = 0;  // sectors

    bool is_accepted() const {
        return std::find(std::begin(accepted_types), std::end(accepted_types), type) != std::end(accepted_types);
    }
    bool is_extended() const { return type == type_extended || type == type_extended_lba; }
};

table_slot slot_of(byte_view sector, std::size_t index) {
    const std::size_t at = slot_table_at::first_slot + index * slot_table_at::slot_size;
    return {sector.u8(at + slot_at::type), sector.u32(at + slot_at::start), sector.u32(at + slot_at::count)};
}

bool has_mark(byte_view bytes, std::size_t sector_size = table_sector) {
    return bytes.u16(sector_size - sizeof boot_mark) == boot_mark;
}

// The first four characters of the OEM name; a volume's own boot sector is no table.
bool begins_like(byte_view sector, std::string_view text) {
    const byte_view name = sector.part(boot_at::oem_name, text.size());
    return std::equal(text.begin(), text.end(), name.data, name.data + name.size,
                      [](char left, std::uint8_t right) { return static_cast<std::uint8_t>(left) == right; });
}
bool is_exfat_like(byte_view sector) { return begins_like(sector, "EXFA"); }
bool is_fat_or_ntfs_like(byte_view sector) { return begins_like(sector, "MSDO") || begins_like(sector, "NTFS"); }
bool is_table(byte_view sector) { return has_mark(sector) && !is_exfat_like(sector) && !is_fat_or_ntfs_like(sector); }

void add_entry(table_walk& walk, const table_slot& slot, std::uint64_t start) {
    partition_entry entry;
    entry.start_sector = start;
    entry.sector_count = slot.count;
    entry.type = slot.type;
    entry.sector_size = walk.sector_size;
    walk.list.push_back(std::move(entry));
}

// The first boot record of the chain: its link, if it has one, and the type at which its slots ended.
std::optional<std::uint64_t> read_chain_base(table_walk& walk, byte_view sector, std::uint64_t base,
                                             std::uint8_t& last_type) {
    for (std::size_t index = 0; index < slot_table_at::slot_count; ++index) {
        const table_slot slot = slot_of(sector, index);
        last_type = slot.type;
        if (!slot.is_accepted()) return std::nullopt;
        add_entry(walk, slot, slot.start + base);
        if (slot.is_extended()) return slot.start + base;
    }
    return std::nullopt;
}

// A volume at sector 63 that no table knows of.
void add_guess(table_walk& walk, std::uint64_t base, std::uint8_t last_type) {
    partition_entry entry;
    entry.start_sector = first_track;
    entry.sector_count = base - first_track;
    entry.type = static_cast<std::uint16_t>(last_type | guessed_type);
    entry.sector_size = walk.sector_size;
    walk.list.push_front(std::move(entry));
}

// One further boot record, at sector `here`; the place of the one behind it, if there is one.
std::optional<std::uint64_t> read_chain_sector(table_walk& walk, byte_view sector, std::uint64_t base,
                                               std::uint64_t here) {
    for (std::size_t index = 0; index < slot_table_at::slot_count; ++index) {
        const table_slot slot = slot_of(sector, index);
        if (!slot.is_accepted() || slot.count == 0) return std::nullopt;
        if (slot.is_extended()) {
            add_entry(walk, slot, base + slot.start);
            return base + slot.start;
        }
        add_entry(walk, slot, slot.start + here);
    }
    return std::nullopt;
}

// False: the first boot record of the chain cannot be read.
bool follow_extended_chain(table_walk& walk, std::uint64_t base) {
    std::vector<std::uint8_t> sector;
    if (!walk.disk.read(sector, walk.sector_size * base, table_sector)) return false;
    std::uint8_t last_type = type_empty;
    std::optional<std::uint64_t> next = read_chain_base(walk, sector, base, last_type);
    if (is_ntfs_at(walk.disk, first_track * walk.sector_size)) add_guess(walk, base, last_type);
    // Guard: a chain that comes back to one of its sectors would never end.
    std::set<std::uint64_t> met;
    while (next.has_value() && met.insert(*next).second) {
        if (!walk.disk.read(sector, walk.sector_size * *next, table_sector) || !is_table(sector)) break;
        next = read_chain_sector(walk, sector, base, *next);
    }
    return true;
}

// What the volumes say of themselves goes before what the table says of them.
bool finish(table_walk& walk) {
    std::vector<std::uint8_t> sector;
    for (partition_entry& entry : walk.list) {
        if (!walk.disk.read(sector, entry.start_sector * entry.sector_size, entry.sector_size)) continue;
        fill_from_boot_sector(entry, sector);
    }
    return !walk.list.empty();
}

bool read_primary_table(table_walk& walk, byte_view sector) {
    for (std::size_t index = 0; index < slot_table_at::slot_count; ++index) {
        const table_slot slot = slot_of(sector, index);
        if (slot.type == type_gpt && walk.follows_gpt) return read_gpt(walk.disk, walk.list);
        if (!slot.is_accepted() || slot.count == 0) continue;
        add_entry(walk, slot, slot.start);
        if (!slot.is_extended()) continue;
        // Kept: slots behind the extended partition are not looked at.
        if (slot.start != 0 && !follow_extended_chain(walk, slot.start)) return false;
        break;
    }
    return finish(walk);
}

bool add_bare_volume(partition_list& list, byte_view sector) {
    list.clear();
    partition_entry entry;
    entry.from_boot_sector = true;
    fill_from_boot_sector(entry, sector);
    list.push_back(std::move(entry));
    return true;
}

// The place of the first table in `block`, which lies at `position`: a multiple of 512.
std::optional<std::uint64_t> table_in_block(byte_view block, std::uint64_t position) {
    for (std::size_t at = 0; at < block.size; at += table_sector) {
        if (is_table(block.part(at, table_sector))) return position + at;
    }
    return std::nullopt;
}

// Every sector from the second on. Read ahead in blocks; where a block cannot be read its sectors are asked for one by
// one, so that a bad spot ends the search where it lies and not a block earlier. Grains that no virtual disk holds are
// passed over.
std::optional<std::uint64_t> search_table(disk_bytes disk) {
    const std::uint64_t size = disk.size();
    std::vector<std::uint8_t> bytes;
    std::uint32_t step = search_block;
    for (std::uint64_t position = disk.next_data(table_sector); position < size; position = disk.next_data(position)) {
        const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(step, size - position));
        if (!disk.read(bytes, position, wanted)) {
            if (step == table_sector) return std::nullopt;
            step = table_sector;
            continue;
        }
        if (const auto found = table_in_block(bytes, position)) return found;
        position += step;
    }
    return std::nullopt;
}

// Kept: what is found this way is not compared with the volumes' boot sectors.
bool read_without_mark(table_walk& walk, bool deep) {
    if (!deep) return false;
    const std::optional<std::uint64_t> found = search_table(walk.disk);
    if (!found.has_value()) return false;
    return follow_extended_chain(walk, *found / table_sector) && !walk.list.empty();
}

bool read_table(table_walk& walk, bool deep) {
    walk.list.clear();
    std::vector<std::uint8_t> bytes;
    if (!walk.disk.is_open() || !walk.disk.read(bytes, 0, first_read)) return false;
    bytes.resize(first_read);
    const byte_view sector = byte_view(bytes).part(0, table_sector);
    if (is_exfat_like(sector) || is_fat_or_ntfs_like(sector)) return add_bare_volume(walk.list, sector);
    if (!has_mark(sector)) {
        const auto* const larger = std::find_if(std::begin(larger_sectors), std::end(larger_sectors),
                                                [&](std::uint32_t size) { return has_mark(bytes, size); });
        if (larger == std::end(larger_sectors)) return read_without_mark(walk, deep);
        walk.sector_size = *larger;
    }
    return read_primary_table(walk, sector);
}

}  // namespace

bool read_partition_table(disk_bytes disk, partition_list& list, bool deep) {
    table_walk walk{disk, list, table_sector, true};
    return read_table(walk, deep);
}

bool read_partition_table_from_memory(byte_view bytes, partition_list& list, bool deep) {
    table_walk walk{bytes, list, table_sector, false};
    return read_table(walk, deep);
}
