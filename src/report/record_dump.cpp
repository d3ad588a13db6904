#include "report/record_dump.h"

#include <algorithm>

#include "base/text.h"
#include "ntfs/security_descriptor.h"
#include "report/record_text.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

// A dump under construction: its lines leave in one write, unless there are many.
struct dump_text {
    text_buffer& text;
    report_output& out;
    const mft_entries_ctx& ctx;
    date_plan date;
    time_plan clock;
};

struct flag_word {
    std::uint32_t bit;
    std::string_view word;
};

// In the order of the words in a line.
constexpr flag_word file_flag_words[] = {
    {0x1, "READ_ONLY"},
    {0x2, "HIDDEN"},
    {0x4, "SYSTEM"},
    {0x10, "DIRECTORY"},
    {0x20, "ARCHIVE"},
    {0x40, "DEVICE"},
    {0x80, "NORMAL"},
    {0x100, "TEMPORARY"},
    {0x200, "SPARSE_FILE"},
    {0x400, "REPARSE_PT"},
    {0x800, "COMPRESSED"},
    {0x1000, "OFFLINE"},
    {0x2000, "CONTENT_NOT_INDEXED"},
    {0x4000, "ENCRYPTED"},
    {0x10000, "VIRTUAL"},
    {0x10000000, "DIRECTORY"},
};

// Guard: a record can name the same long path over and over. Between two lines the buffer is given back.
void let_lines_leave(dump_text& dump) {
    constexpr std::size_t most_gathered = 64 * 1024;
    if (dump.text.size() < most_gathered) return;
    write_line(dump.out, dump.text.view());
    dump.text.clear();
}

// --- numbers and times -----------------------------------------------------------------------------------------------

// Hexadecimal whatever the run's base, with the decimal value behind.
void append_both_bases(text_buffer& text, std::uint64_t value, std::size_t digits) {
    text += "0x";
    append_hex(text, value, digits);
    text += " [";
    append_decimal(text, value);
    text += ']';
}

void add_number(dump_text& dump, std::string_view label, std::uint64_t value, std::size_t digits) {
    dump.text += label;
    append_both_bases(dump.text, value, digits);
    dump.text += '\n';
}

// A size: decimal alone under -base10.
void add_size(dump_text& dump, std::string_view label, std::uint64_t value, std::size_t digits) {
    if (dump.ctx.hex_numbers) {
        add_number(dump, label, value, digits);
        return;
    }
    dump.text += label;
    append_decimal(dump.text, value);
    dump.text += '\n';
}

// Either half of a time that cannot be shown is a blank, as in a table's cell, or nothing without white space.
void append_moment(dump_text& dump, const time_point& time) {
    text_buffer& text = dump.text;
    const std::string_view absent = dump.ctx.no_whitespace ? "" : " ";
    if (time.valid) {
        char* const date = text.room(date_room);
        text.set_end(date + put_date(date, time, dump.date));
    } else {
        text += absent;
    }
    text += ' ';
    if (time.valid) {
        char* const clock = text.room(time_room);
        text.set_end(clock + put_time(clock, time, dump.clock));
    } else {
        text += absent;
    }
}

void add_time(dump_text& dump, std::string_view label, std::uint64_t filetime) {
    dump.text += label;
    append_moment(dump, time_point_of(filetime));
    dump.text += '\n';
}

template <class entry>
void add_times(dump_text& dump, const entry& from) {
    add_time(dump, "  modified:  ", from.modified);
    add_time(dump, "  accessed:  ", from.accessed);
    add_time(dump, "  mft mod:   ", from.mft_changed);
    add_time(dump, "  created:   ", from.created);
}

// --- header, times and names -----------------------------------------------------------------------------------------

void add_header(dump_text& dump, const file_record& record) {
    constexpr std::uint16_t shown_as_minus_one = 15;  // kept, on purpose
    dump.text += "File Record: \n";
    add_number(dump, "  MFT entry: ", record.inode, 8);
    add_number(dump, "  Seq Num:   ", record.sequence, 4);
    dump.text += record.is_directory() ? "  Type:      directory\n" : "  Type:      file\n";
    if (!record.in_use()) dump.text += "  deleted\n";
    if (record.is_extension) add_number(dump, "  references mft entry: ", record.base_reference & inode_mask, 12);
    dump.text += "  Ref Count: ";
    if (record.link_count() == shown_as_minus_one) {
        dump.text += "-1";
    } else {
        append_decimal(dump.text, record.link_count());
    }
    dump.text += '\n';
}

void append_file_flags(text_buffer& text, std::uint32_t flags) {
    const std::size_t start = text.size();
    for (const flag_word& each : file_flag_words) {
        if ((flags & each.bit) == 0) continue;
        if (text.size() > start) text += ", ";
        text += each.word;
    }
    if (text.size() == start) text += flags == 0 ? "none set" : "unk";
}

void add_standard_information(dump_text& dump, const file_record& record) {
    using at = standard_information_at;
    if (record.std_infos.empty()) return;
    const si_entry& si = record.std_infos.begin()->value;
    // Behind the value of the old form stand bytes of the next attribute: its missing fields read as zeros.
    const std::size_t held = std::clamp<std::size_t>(si.length, at::old_form_size, si.raw.size());
    const byte_view value(si.raw.data(), held);
    dump.text += "Standard Info Attrib: (";
    append_file_flags(dump.text, value.u32(at::file_flags));
    dump.text += ")\n";
    add_times(dump, si);
    add_number(dump, "  secure id: ", value.u32(at::security_id), 8);
    add_number(dump, "  quota id:  ", value.u64(at::quota), 8);
    add_number(dump, "  Jrnl num:  ", value.u64(at::journal), 8);
    dump.text += '\n';
}

void add_name(dump_text& dump, const name_entry& name, const std::string& path) {
    dump.text += "Filename Attrib: ";
    append_utf8(dump.text, name.name);
    dump.text += name.indexed ? ", (indexed)\n" : "\n";
    dump.text += "  parnt mft: ";
    append_both_bases(dump.text, name.parent & inode_mask, 8);
    if (!path.empty()) {
        dump.text += " = ";
        dump.text += path;
    }
    dump.text += '\n';
    add_number(dump, "  parnt seq# ", name.parent >> sequence_shift, 4);
    add_times(dump, name);
    dump.text += '\n';
}

// Kept: a name shows under every parent of its parent's number, whatever the sequence number.
// Guard: thousands of made-up parents can share a number, or a few that have paths of megabytes; then each name shows
// under its own alone.
bool are_few_pairs(const file_record& record) {
    constexpr std::size_t most_pairs = 65'536;
    const std::size_t names = record.file_names.size();
    return record.parents.size() * names <= most_pairs && record.costs.path_bytes * names <= record_cost_limit;
}

void add_names(dump_text& dump, const file_record& record) {
    const std::uint64_t compared = are_few_pairs(record) ? inode_mask : ~std::uint64_t{0};
    for (const path_entry& path : record.parents) {
        for (const auto& item : record.file_names) {
            if (((item.value.parent ^ path.key) & compared) != 0) continue;
            add_name(dump, item.value, path.value.path);
            let_lines_leave(dump);
        }
    }
}

// --- attributes ------------------------------------------------------------------------------------------------------

// The whole header is there, and so is the length that it tells.
bool is_whole(const attr_entry& attribute) {
    const std::size_t header = attribute.non_resident() ? attribute_at::compressed_size : attribute_at::resident_size;
    const byte_view raw(attribute.raw);
    return raw.size >= header && raw.u32(attribute_at::length) <= raw.size;
}

byte_view resident_value(const attr_entry& attribute) {
    const byte_view raw(attribute.raw);
    const std::size_t offset = raw.u16(attribute_at::value_offset);
    return offset == 0 || attribute.value_length() == 0 ? byte_view() : raw.part(offset, raw.size);
}

// When a GUID of version 1 was made, as a FILETIME; 0 for any other.
std::uint64_t guid_time(byte_view guid) {
    constexpr std::uint64_t calendar_to_1601 = 5'748'192'000'000'000;  // from 1582-10-15, where such times begin
    const std::uint64_t high = guid.u16(guid_at::third);
    if (high >> 12 != 1) return 0;
    const std::uint64_t time =
        (high & 0x0FFF) << 48 | std::uint64_t{guid.u16(guid_at::second)} << 32 | guid.u32(guid_at::first);
    return time >= calendar_to_1601 ? time - calendar_to_1601 : 0;
}

void add_title(dump_text& dump, const attr_entry& attribute) {
    const std::uint16_t flags = byte_view(attribute.raw).u16(attribute_at::flags);
    dump.text += attribute.is_data ? std::string_view("Data Attrib") : attribute.label;
    if (!attribute.name.empty()) {
        dump.text += ": ";
        append_utf8(dump.text, attribute.name);
    } else if (attribute.is_data) {
        dump.text += ": (unnamed)";
    }
    if ((flags & attribute_is_compressed) != 0) {
        dump.text += ", data compressed";
    } else if ((flags & attribute_is_encrypted) != 0) {
        dump.text += ", data encrypted";
    }
    if ((flags & attribute_is_sparse) != 0) dump.text += ", sparse clusters";
    dump.text += '\n';
}

void add_value_text(dump_text& dump, const attr_entry& attribute) {
    if (attribute.value_text.empty()) return;
    dump.text += "  ";
    dump.text += attribute.value_text;
    const std::uint64_t made = attribute.type == type_object_id ? guid_time(resident_value(attribute)) : 0;
    if (const time_point time = time_point_of(made); time.valid) {
        dump.text += " [";
        append_moment(dump, time);
        dump.text += ']';
    }
    dump.text += '\n';
}

void add_resident(dump_text& dump, const attr_entry& attribute) {
    add_size(dump, "  resident data used: ", attribute.value_length(), 4);
    add_value_text(dump, attribute);
    if (attribute.type != type_security_descriptor) return;
    std::string security_text;
    format_security_descriptor(security_text, resident_value(attribute));
    dump.text += security_text;
}

void append_cluster(dump_text& dump, std::uint64_t number) { append_number_text(dump.text, number, 8, dump.ctx); }

void add_run(dump_text& dump, const cluster_run& run, bool sparse) {
    dump.text += "    ";
    append_cluster(dump, run.lcn);
    if (run.clusters > 1) {
        dump.text += " -> ";
        append_cluster(dump, run.lcn + run.clusters - 1);
    }
    dump.text += sparse ? " [sparse]\n" : "\n";
}

void add_runs(dump_text& dump, const std::vector<cluster_run>& runs) {
    std::uint64_t real = 0, sparse = 0;
    dump.text += "  cluster runs\n";
    for (std::size_t index = 0; index < runs.size(); ++index) {
        const bool is_sparse = is_sparse_run(runs, index);
        (is_sparse ? sparse : real) += runs[index].clusters;
        add_run(dump, runs[index], is_sparse);
    }
    dump.text += "  Total clusters [real]:   ";
    append_cluster(dump, real);
    dump.text += "\n  Total clusters [sparse]: ";
    append_cluster(dump, sparse);
    dump.text += '\n';
}

// Only a compressed stream's first part has the field; elsewhere its mapping pairs, or its name, lie there.
bool has_compressed_size(byte_view raw) {
    constexpr std::size_t end = attribute_at::compressed_size + 8;
    const bool name_is_behind = raw.u8(attribute_at::name_length) == 0 || raw.u16(attribute_at::name_offset) >= end;
    return (raw.u16(attribute_at::flags) & attribute_is_compressed) != 0 && name_is_behind &&
           raw.u16(attribute_at::pairs_offset) >= end;
}

void add_non_resident(dump_text& dump, const attr_entry& attribute) {
    const byte_view raw(attribute.raw);
    add_size(dump, "  allocated:  ", raw.u64(attribute_at::allocated_size), 12);
    add_size(dump, "  file size:  ", raw.u64(attribute_at::real_size), 12);
    add_size(dump, "  valid data: ", raw.u64(attribute_at::initialised_size), 12);
    if (has_compressed_size(raw)) add_size(dump, "  compressed size: ", raw.u64(attribute_at::compressed_size), 12);
    add_runs(dump, attribute.runs);
}

void add_attributes(dump_text& dump, const file_record& record) {
    for (const auto& item : record.attributes) {
        if (!is_whole(item.value)) continue;
        add_title(dump, item.value);
        item.value.non_resident() ? add_non_resident(dump, item.value) : add_resident(dump, item.value);
        dump.text += '\n';
        let_lines_leave(dump);
    }
}

}  // namespace

void write_record_dump(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    dump_text dump{out.scratch.line, out, ctx, plan_date(ctx.date_format), plan_time(ctx.time_format)};
    dump.text.clear();
    add_header(dump, record);
    add_standard_information(dump, record);
    add_names(dump, record);
    add_attributes(dump, record);
    write_line(out, dump.text.view());
}
