// Decoding of one attribute into the maps of a file_record.
// Called by the attribute loops of record_read and acceptance, and for attributes reached through an attribute list.
// Follows no reference, and reads no more of the source than a thorough run wants of a link that left its record;
// security descriptors stay undecoded until a dump wants them.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "ntfs/file_record.h"

struct diagnostic_log;
struct record_source;

// How an attribute was come by, and what the caller wants of it.
struct attribute_source {
    bool through_list = false;        // the bytes are an extension record's, found through an attribute list
    bool want_resident_copy = false;  // keep resident values
};

// `at` is the attribute's offset in `record_bytes`. False only for a frame that is no attribute: length 0, or one that
// leaves the record. True also when the attribute is ignored, as all are behind record_cost_limit. `is_list` tells
// whether it was an $ATTRIBUTE_LIST.
bool decode_attribute(file_record& record, const record_source& records, byte_view record_bytes, std::size_t at,
                      attribute_source source, bool& is_list);

// Behind a record's last attribute: continuations that came ahead of their first part join it, or stand for themselves,
// and runs of several parts are put in order.
void settle_fragments(file_record& record, const diagnostic_log* log);

// raw and, if the attribute is non-resident, at most `most` runs. `attribute` reaches from the attribute's header to
// the record's end.
void make_attr_entry(attr_entry& entry, byte_view attribute, std::size_t most = most_runs);

// UTF-16 text of `count` units at `offset`, up to its first NUL.
void read_name(std::u16string& name, byte_view bytes, std::size_t offset, std::size_t count);
// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", lower case, of 16 bytes.
void append_guid(std::string& out, byte_view bytes);

// Takes `bytes` of what a record may have read from elsewhere. False: it has had it all, which -diags is told so.
bool pay_for_read(file_record& record, const diagnostic_log* log, std::uint32_t bytes,
                  const char* what = "its attribute lists ask for more than 64 MiB");

// For -diags, once a record: a guard ended what was to be taken from it, and why.
void tell_record_limit(file_record& record, const diagnostic_log* log, const char* what);
