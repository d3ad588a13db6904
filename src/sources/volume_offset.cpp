#include "sources/volume_offset.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "sources/boot_layout.h"
#include "sources/partitions.h"
#include "sources/plausible_boot.h"
#include "sources/source_reader.h"

namespace {

// "0x" and the offset, between two texts.
void say_offset(offset_check& check, const char* ahead, std::uint64_t offset, const char* behind) {
    check.text += ahead;
    append_hex(check.text, offset);
    check.text += behind;
}

// The table, or the reason in words why there is nothing to compare the offset with. `settled`: no table is needed.
bool find_partitions(offset_check& check, byte_source& disk, partition_list& list, bool& settled) {
    if (read_partition_table(disk, list, false)) return true;
    if (is_ntfs_at(disk, 0)) {
        check.found = settled = true;
        check.offset = 0;
        return true;
    }
    if (!read_partition_table(disk, list, true, check.progress)) {
        check.text += "couldn't find any partitions on disk\n";
        return false;
    }
    check.text += "disk is corrupted, partition info questionable\n";
    return true;
}

bool is_ntfs(const partition_entry& entry) { return type_name(entry.type).find("ntfs") != std::string::npos; }

std::uint64_t start_of(const partition_entry& entry) { return entry.start_sector * entry.sector_size; }
std::uint64_t end_of(const partition_entry& entry) {
    return (entry.start_sector + entry.sector_count) * entry.sector_size;
}

// The offset is the start of an NTFS volume: all that is left to ask is whether the source holds it up to its end.
bool accept_volume(offset_check& check, std::uint64_t end, std::uint64_t size) {
    check.found = true;
    if (size >= end || check.ignore_size) return true;
    say_offset(check, "volume offset 0x", check.offset,
               " is a NTFS partition, however image size does not encapsulate entire volume\n");
    return false;
}

// By default an offset counts only as the start of a partition that a table names. A thorough check looks there first:
// tables get lost, and a volume that begins at the offset is what was asked for.
bool volume_lies_at(const offset_check& check, byte_source& disk, std::vector<std::uint8_t>& sector) {
    if (!check.thorough || check.offset == 0) return false;
    return read_bytes(disk, sector, check.offset, boot_at::size) && is_plausible_ntfs_boot(sector);
}

// Guard: the boot sector may claim any number of sectors.
std::uint64_t end_of_volume(const offset_check& check, byte_view sector) {
    const std::uint64_t bytes = ntfs_volume_bytes(sector);
    return bytes + std::min(check.offset, ~bytes);
}

void propose(offset_check& check, const partition_list& list, std::uint64_t proposal) {
    check.text += "\n";
    for (const partition_entry& entry : list) {
        say_offset(check, "volume offset [ 0x", start_of(entry), " ] : ");
        check.text += type_name(entry.type) + "\n";
    }
    check.text += "\n";
    if (proposal == 0) {
        check.text += "prob detecting ntfs partition\n";
        return;
    }
    check.offset = proposal;
    say_offset(check, "use option [-offset 0x", proposal, "]\n");
}

std::string reason_of(const source_reader& reader) {
    if (reader.system_error() != 0) return system_error_text(reader.system_error());
    return reader.size() == 0 ? "it is empty" : "";
}

// The source is open for this call alone; `words` if it cannot be opened.
bool check_source(offset_check& check, const source_choice& choice, const std::string& words) {
    source_reader reader;
    const bool opened = open_source(reader, choice);
    if (!opened) check.text += words;
    if (opened && check_volume_offset(check, reader)) return true;
    check.reason = reason_of(reader);
    return false;
}

}  // namespace

bool check_volume_offset(offset_check& check, source_reader& reader) {
    check.found = false;
    if (!reader.is_open()) return false;
    const std::uint64_t size = reader.size();
    if (size < check.offset) {
        say_offset(check, "volume offset 0x", check.offset, " is not within image bounds\n");
        return false;
    }
    std::vector<std::uint8_t> sector;
    if (volume_lies_at(check, *reader.bytes, sector)) return accept_volume(check, end_of_volume(check, sector), size);
    partition_list list;
    bool settled = false;
    if (!find_partitions(check, *reader.bytes, list, settled)) return false;
    if (settled) return true;
    std::uint64_t proposal = 0;
    for (const partition_entry& entry : list) {
        const std::uint64_t start = start_of(entry);
        if (check.offset == start) {
            if (is_ntfs(entry)) return accept_volume(check, end_of(entry), size);
            say_offset(check, "volume offset selected 0x", start, " is not a NTFS partition, but [");
            check.text += type_name(entry.type) + "]\n";
            break;
        }
        if (!is_ntfs(entry)) continue;
        check.found = true;
        proposal = start;  // the last one in list order
        if (size < start) say_offset(check, "volume offset 0x", start, " is not within image bounds\n");
    }
    propose(check, list, proposal);
    return false;
}

bool check_image(offset_check& check, const std::u16string& path) {
    return check_source(check, {.kind = kind_file, .paths = {path}}, "invalid image: " + utf8_from_utf16(path) + "\n");
}

bool check_drive(offset_check& check, std::int64_t number) {
    return check_source(check, drive_choice(static_cast<std::uint64_t>(number), 0),
                        "problems accessing physical disk #" + std::to_string(number) + ", aborting\n");
}

bool check_vmdk_disks(offset_check& check, const std::vector<std::u16string>& paths) {
    return check_source(check, {.kind = kind_vmdk, .paths = paths}, "invalid disk collection of snaps\n");
}
