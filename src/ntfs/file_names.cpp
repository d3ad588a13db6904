#include "ntfs/file_names.h"

#include <set>

#include "ntfs/attributes.h"
#include "ntfs/extension_records.h"
#include "ntfs/layout.h"
#include "ntfs/raw_record.h"
#include "ntfs/volume.h"

namespace {

// Kept: the limit of an attribute's length is that of the usual record, whatever the record's size.
constexpr std::uint32_t longest_attribute = 1024;
// Guard: one file costs at most so many reads, and no more than 64 MiB.
constexpr std::uint64_t most_loads = 16'384;

bool is_path_name(std::uint8_t name_space) {
    return name_space == name_posix || name_space == name_win32 || name_space == name_win32_and_dos;
}

// By default an extension record gives its names when it has an attribute with an entry's id, whoever it belongs to,
// and names of several records meet under one key. A thorough read asks each record once, whether it belongs to the
// file, and numbers what it gives as the decode of records does (attribute_list.cpp).
class name_collector {
public:
    name_collector(file_name_map& names, ntfs_volume& volume, std::uint64_t inode, bool all_names,
                   std::uint64_t parent_filter)
        : names_(names),
          volume_(volume),
          inode_(inode),
          all_names_(all_names),
          takes_owned_(volume.thorough),
          parent_filter_(parent_filter) {}

    void collect_listed(byte_view record) {
        std::size_t at = attributes_start(record);
        attribute_list list;
        if (!find_attribute(record, at, type_attribute_list, volume_.record_bytes())) return;
        if (!gather_attribute_list(volume_, record.part(at, record.size), list)) return;
        if (takes_owned_) {
            follow_owned(list, record);
        } else {
            follow_named(list);
        }
    }

    void collect(byte_view record, bool numbered = false) {
        std::size_t at = attributes_start(record);
        while (find_attribute(record, at, type_file_name, longest_attribute)) {
            const byte_view attribute = record.part(at, record.size);
            take(attribute, numbered ? ++last_number_ : attribute.u16(attribute_at::id));
            at += record.u32(at + attribute_at::length);
            if (record.u32(at + attribute_at::length) >= longest_attribute) return;
        }
    }

private:
    // Kept: the entry's type plays no part; its id alone must be there.
    void follow_named(const attribute_list& list) {
        byte_view entry;
        for (std::size_t next = 0; next_list_entry(list, next, entry);) {
            const std::uint64_t inode = entry.u64(list_entry_at::reference) & inode_mask;
            if (inode == inode_ || !load(inode)) continue;
            if (!holds(entry.u16(list_entry_at::attribute_id))) continue;
            collect(extension_);
            collected_ = true;
        }
    }

    void follow_owned(const attribute_list& list, byte_view base) {
        last_number_ = highest_attribute_id(base);
        std::set<std::uint64_t> asked = {inode_};
        byte_view entry;
        for (std::size_t next = 0; next_list_entry(list, next, entry);) {
            const std::uint64_t inode = entry.u64(list_entry_at::reference) & inode_mask;
            if (asked.insert(inode).second && load(inode) && belongs_to(extension_, inode_, base))
                collect(extension_, true);
        }
    }

    // Neighbouring entries mostly name the same record: it is read once, and collected from once.
    bool load(std::uint64_t inode) {
        if (loads_ > 0 && loaded_inode_ == inode) return usable_ && !collected_;
        if (++loads_ > most_loads || loads_ * volume_.record_bytes() > record_cost_limit) return false;
        loaded_inode_ = inode;
        collected_ = false;
        asked_ = 0;
        record_kind kind = record_kind::none;
        usable_ = read_record_checked(volume_, inode, extension_, kind) && kind == record_kind::file;
        return usable_;
    }

    // Most records are asked once, and need no table; a list may name each of many thousand attributes.
    bool holds(std::uint16_t id) {
        if (++asked_ == 2) note_ids(extension_, false, ids_);
        return asked_ == 1 ? has_id(extension_, id) : find_id(ids_, id) != nullptr;
    }

    void take(byte_view attribute, std::uint32_t number) {
        const byte_view value = attribute.part(attribute.u16(attribute_at::value_offset), attribute.size);
        const std::size_t units = value.u8(file_name_at::name_length);
        if (attribute.u32(attribute_at::value_length) == 0 || units == 0) return;
        const std::uint64_t parent = value.u64(file_name_at::parent) & inode_mask;
        if (parent_filter_ != any_parent && parent != parent_filter_) return;
        const std::uint8_t name_space = value.u8(file_name_at::name_space);
        if (!all_names_ && !is_path_name(name_space)) return;
        bool made = false;
        file_name& name = names_.insert(make_name_key(number, name_space, parent, takes_owned_), made);
        if (!made) return;
        read_name(name.name, value, file_name_at::name, units);
        name.parent = parent;
        name.is_dos = name_space == name_dos;
    }

    file_name_map& names_;
    ntfs_volume& volume_;
    std::uint64_t inode_;
    bool all_names_;
    bool takes_owned_;
    std::uint64_t parent_filter_;
    std::vector<std::uint8_t> extension_;
    std::vector<id_place> ids_;  // its attributes, once it was asked twice
    std::uint64_t loaded_inode_ = 0;
    std::uint64_t loads_ = 0;
    std::uint32_t asked_ = 0;
    bool usable_ = false, collected_ = false;
    std::uint32_t last_number_ = 0;  // given to names of other records
};

}  // namespace

bool collect_names(file_name_map& names, ntfs_volume& volume, std::uint64_t inode,
                   const std::vector<std::uint8_t>& record, bool all_names, std::uint64_t parent_filter) {
    name_collector collector(names, volume, inode, all_names, parent_filter);
    collector.collect_listed(record);
    collector.collect(record);
    return !names.empty();
}
