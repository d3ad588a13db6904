#include "ntfs/extension_records.h"

#include <algorithm>

#include "ntfs/attribute_cursor.h"

namespace {

// Kept: no attribute is too long to be stepped over. A record that says that they begin at 0 has none.
attribute_cursor cursor_for_ids(byte_view record) {
    const std::uint16_t first = record.u16(record_at::first_attribute);
    return {first == 0 ? byte_view() : record, first, {}};
}

}  // namespace

bool sequence_fits(std::uint16_t expected, std::uint16_t own, bool in_use) {
    if (expected == 0 || expected == own) return true;
    // 0 stands for "no number": it is left out when the count begins anew.
    const std::uint16_t raised = expected == 0xFFFF ? 1 : static_cast<std::uint16_t>(expected + 1);
    return !in_use && own == raised;
}

bool belongs_to(byte_view record, std::uint64_t base_inode, byte_view base) {
    const std::uint64_t reference = record.u64(record_at::base_reference);
    const bool in_use = (record.u16(record_at::flags) & record_in_use) != 0;
    const bool base_in_use = (base.u16(record_at::flags) & record_in_use) != 0;
    return (reference & inode_mask) == base_inode && (in_use || !base_in_use) &&
           sequence_fits(static_cast<std::uint16_t>(reference >> sequence_shift), base.u16(record_at::sequence),
                         base_in_use);
}

std::uint16_t highest_attribute_id(byte_view record) {
    std::uint16_t highest = 0;
    for (attribute_cursor cursor(record, record.u16(record_at::first_attribute), {}); cursor.valid(); cursor.next())
        highest = std::max(highest, cursor.id());
    return highest;
}

void note_ids(byte_view record, bool types_asked, std::vector<id_place>& ids) {
    ids.clear();
    for (attribute_cursor cursor = cursor_for_ids(record); cursor.valid(); cursor.next())
        ids.push_back({cursor.id(), types_asked ? cursor.type() : 0, static_cast<std::uint32_t>(cursor.at())});
    std::sort(ids.begin(), ids.end());
}

const id_place* find_id(const std::vector<id_place>& ids, std::uint16_t id, std::uint32_t type) {
    const auto place = std::lower_bound(ids.begin(), ids.end(), id_place{id, type, 0});
    return place != ids.end() && place->id == id && place->type == type ? &*place : nullptr;
}

bool has_id(byte_view record, std::uint16_t id) {
    attribute_cursor cursor = cursor_for_ids(record);
    while (cursor.valid() && cursor.id() != id) cursor.next();
    return cursor.valid();
}
