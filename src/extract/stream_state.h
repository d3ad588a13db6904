// The state of the stream in hand: what copy-out and digests leave for the report's row.
// Owned by the reports' scratch; written by digests and copy-out, read by the shapes that have columns for it.
// Holds no setting: those are the context's. What it remembers of earlier streams saves doing their work again.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "extract/md5.h"
#include "extract/sha1.h"
#include "ntfs/file_record.h"

struct stream_state {
    // The file's own name on entry, the whole host path of a copy on success, empty on failure.
    std::u16string extracted_path;
    bool was_deleted = false;  // not in use, or selected as deleted
    std::u16string user_name;  // account part of the path; "non_acct" outside of every profile
    md5_value md5_digest{};    // zeros unless has_digests
    sha1_value sha1_digest{};
    bool has_digests = false;  // the last read went through: the digests that were on are true

    std::vector<attr_key> handled;  // attributes of this record that were copied or digested already, in rising order

    std::u16string made_folder;  // the last one that copies went to

    bool is_handled(attr_key key) const;
    void set_handled(attr_key key);
    // Ahead of each attribute of a path entry, `path` being its path: everything but `handled`.
    void begin_stream(const file_record& record, std::string_view path);
    // Ahead of each record.
    void begin_record() { handled.clear(); }
    void clear_digests();
};

// The account whose profile `path` (UTF-8, inside the volume) lies in: empty directly in a profile, "non_acct" outside.
void set_user_name(std::u16string& user_name, std::string_view path);
