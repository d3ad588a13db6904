#include "ntfs/attribute_list.h"

#include <algorithm>

#include "base/diagnostic_log.h"
#include "ntfs/attribute_cursor.h"
#include "ntfs/attributes.h"
#include "ntfs/extension_records.h"
#include "ntfs/record_kind.h"
#include "ntfs/record_read.h"
#include "ntfs/record_source.h"
#include "ntfs/volume.h"

namespace {

// The bytes of a non-resident attribute list, cluster by cluster as the walk of its entries comes to need them.
class list_clusters {
public:
    list_clusters(file_record& record, record_source& records, byte_view attribute)
        : record_(record), records_(records) {
        decode_runs(attribute, runs_);
        // Kept: the sum counts in 32 bits.
        for (const cluster_run& run : runs_) left_ += run.clusters * records.volume->cluster_bytes();
    }

    // Appends the next cluster that can be read; one that cannot ends its run, and the next run takes its place.
    bool append_next(std::vector<std::uint8_t>& bytes) {
        const std::uint32_t cluster_size = records_.volume->cluster_bytes();
        while (run_ < runs_.size() && left_ > 0) {
            if (cluster_ < runs_[run_].clusters && !pay_for_read(record_, records_.log, cluster_size)) return false;
            if (cluster_ < runs_[run_].clusters && append(bytes, runs_[run_].lcn + cluster_)) {
                ++cluster_;
                left_ -= std::min(cluster_size, left_);
                return true;
            }
            if (cluster_ < runs_[run_].clusters) {
                log_diag(records_.log, "err: record %llx: its attribute list is unreadable at cluster %llx",
                         static_cast<unsigned long long>(record_.inode),
                         static_cast<unsigned long long>(runs_[run_].lcn + cluster_));
            }
            ++run_;
            cluster_ = 0;
        }
        return false;
    }

private:
    bool append(std::vector<std::uint8_t>& bytes, std::uint64_t lcn) {
        if (!append_cluster(*records_.volume, lcn, bytes)) return false;
        const std::uint32_t cluster_size = records_.volume->cluster_bytes();
        bytes.resize(bytes.size() - cluster_size + std::min(cluster_size, left_));
        return true;
    }

    file_record& record_;
    record_source& records_;
    std::vector<cluster_run> runs_;
    std::size_t run_ = 0;
    std::uint32_t cluster_ = 0;
    std::uint32_t left_ = 0;  // bytes that may still be read
};

// Walks the entries of an attribute list and decodes what each names in another record.
//
// By default an entry's id alone says which attribute is meant, whoever the record that it names belongs to now, and
// what is found is filed under that id. Kept: records number their attributes independently, so that two of them, or
// one and the base record's own, meet under one key, and the first stays.
// A thorough run takes only what belongs to the base record, by type and id, and numbers it from behind the base
// record's own attributes: nothing meets, and what lay in a reused extension record is another file's.
class list_walk {
public:
    list_walk(file_record& record, record_source& records, std::uint64_t inode, bool want_resident_copy)
        : record_(record),
          records_(records),
          inode_(inode),
          takes_owned_(records.thorough),
          source_{true, want_resident_copy} {}

    // Ahead of a record's first entry.
    void begin(byte_view base) {
        if (takes_owned_ && record_.last_number == 0) record_.last_number = highest_attribute_id(base);
    }

    // `list` reaches beyond the list's `length`, to the record's end.
    void run(byte_view list, std::uint32_t length) {
        for (std::size_t at = 0; at < length;) {
            if (!take_entry(list.part(at, list.size), at)) return;
        }
    }

    // The same over clusters. Kept: all that the runs hold is walked, not the list's real size.
    void run(list_clusters& clusters) {
        std::vector<std::uint8_t> bytes;
        std::size_t at = 0;
        do {
            while (bytes.size() < at + list_entry_at::header_size && clusters.append_next(bytes)) {
            }
        } while (take_entry(byte_view(bytes).part(at, bytes.size()), at));
    }

private:
    // Follows one entry and moves `at` behind it. False: the list ends there.
    bool take_entry(byte_view entry, std::size_t& at) {
        const std::uint16_t length = entry.u16(list_entry_at::length);
        if (length == 0) return false;
        if (record_.costs.list_bytes >= list_limit) {
            tell_record_limit(record_, records_.log, "its attribute lists go on behind 256 KiB");
            return false;
        }
        record_.costs.list_bytes += length;
        at += length;
        list_target target{entry.u64(list_entry_at::reference) & inode_mask};
        if (takes_owned_) target.type = entry.u32(list_entry_at::type);
        target.id = entry.u16(list_entry_at::attribute_id);
        follow(target);
        return true;
    }

    // What was delivered once adds nothing when it is named again.
    void follow(const list_target& target) {
        if (target.inode == inode_) return;
        bool is_new = false;
        record_.followed.insert(target, is_new);
        if (!is_new || !load(target.inode)) return;
        if (takes_owned_) {
            if (!belongs_to(record_.extension_bytes, inode_, record_.header_view())) return;
            ++record_.last_number;
        }
        const id_place* const place = find_id(record_.extension_ids, target.id, target.type);
        if (place == nullptr) return tell("has not the attribute that the list of this one names", target.inode);
        bool is_list = false;
        decode_attribute(record_, records_, record_.extension_bytes, place->at, source_, is_list);
    }

    // Neighbouring entries mostly name the same record: it is read once.
    bool load(std::uint64_t inode) {
        if (is_loaded_ && loaded_inode_ == inode) return usable_;
        if (!pay_for_read(record_, records_.log, records_.effective_record_size())) return false;
        is_loaded_ = true;
        loaded_inode_ = inode;
        bool bad = false;
        usable_ = read_file_record(record_.extension_bytes, bad, records_, inode) && !bad &&
                  has_signature(record_.extension_bytes, "FILE");
        if (!usable_) tell("cannot be used, what this one has there is missing", inode);
        if (usable_) note_ids(record_.extension_bytes, takes_owned_, record_.extension_ids);
        return usable_;
    }

    void tell(const char* what, std::uint64_t inode) const {
        log_diag(records_.log, "err: record %llx: record %llx %s", static_cast<unsigned long long>(inode_),
                 static_cast<unsigned long long>(inode), what);
    }

    file_record& record_;
    record_source& records_;
    std::uint64_t inode_;
    bool takes_owned_;  // what belongs to the record, by type and id, numbered anew
    attribute_source source_;
    bool is_loaded_ = false;
    bool usable_ = false;
    std::uint64_t loaded_inode_ = 0;
};

}  // namespace

void process_attribute_list(file_record& record, record_source& records, std::uint64_t inode, byte_view record_bytes,
                            std::size_t at, bool want_resident_copy) {
    const byte_view attribute = record_bytes.part(at, record_bytes.size);
    record.has_attribute_list = true;
    list_walk walk(record, records, inode, want_resident_copy);
    walk.begin(record_bytes);
    if (attribute.u8(attribute_at::non_resident) != 0) {
        record.attribute_list_nonresident = true;
        // Its clusters lie on a volume that an extracted $MFT does not have.
        if (records.volume == nullptr) {
            log_diag(records.log, "err: record %llx: its attribute list is not part of an extracted $MFT",
                     static_cast<unsigned long long>(inode));
            return;
        }
        list_clusters clusters(record, records, attribute);
        walk.run(clusters);
        return;
    }
    const std::size_t value_offset = attribute.u16(attribute_at::value_offset);
    const std::uint32_t value_length = attribute.u32(attribute_at::value_length);
    if (value_offset == 0 || value_length == 0) return;
    walk.run(attribute.part(value_offset, attribute.size), value_length);
}
