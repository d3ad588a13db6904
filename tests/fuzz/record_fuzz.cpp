// Whatever the bytes of a few records that name each other: decoding ends, runs follow each other, each name is known
// to the maps of paths, and a record that is used again shows nothing of what it held before.
#include "base/numbers.h"
#include "fuzz/target.h"
#include "ntfs/record_read.h"

namespace {

constexpr std::size_t record_size = 1024;
constexpr std::size_t most_records = 12;

template <class... numbers>
void tell(std::string& out, std::string_view what, numbers... values) {
    out += what;
    ((out += ' ', append_hex(out, static_cast<std::uint64_t>(values))), ...);
    out += '\n';
}

void tell_attribute(std::string& out, std::uint64_t key, const attr_entry& entry) {
    tell(out, entry.label, key, entry.type, entry.is_data, entry.is_named_data, entry.data_size(),
         entry.resident_value.size());
    out.append(entry.raw.begin(), entry.raw.end());
    out += utf8_from_utf16(entry.name) + entry.value_text + "\n";
    for (const cluster_run& run : entry.runs)
        tell(out, "run", run.start_vcn, run.lcn, run.lcn_delta, run.clusters, run.delta_negative);
}

// All that a reader of the record can see.
std::string all_of(const file_record& record) {
    std::string out;
    tell(out, "record", record.inode, record.sequence, record.flags(), record.base_reference, record.is_extension,
         record.has_attribute_list, record.attribute_list_nonresident, record.raw.size());
    for (const auto& [key, si] : record.std_infos)
        tell(out, si.anomaly_text, key, si.created, si.modified, si.mft_changed, si.accessed);
    for (const auto& [key, name] : record.file_names) {
        tell(out, name.anomaly_text, key.rank, key.parent, name.parent, name.created, name.accessed, name.is_dos,
             name.anomaly);
        out += utf8_from_utf16(name.name);
    }
    for (const auto& [key, object_id] : record.object_ids)
        tell(out, "object id", key, object_id.length, object_id.bytes[63]);
    for (const auto& [key, text] : record.volume_names) out += utf8_from_utf16(text);
    for (const auto& [key, info] : record.volume_infos) out += info.text;
    for (const auto& [key, target] : record.reparse_targets) out += utf8_from_utf16(target);
    for (const auto& [key, root] : record.index_roots) out += utf8_from_utf16(key) + utf8_from_utf16(root.name);
    for (const auto& [key, parent] : record.parents) tell(out, parent.path, key, parent.name.size());
    for (const auto& [key, parent] : record.lower_names) out += utf8_from_utf16(key);
    for (const auto& [key, entry] : record.attributes) tell_attribute(out, key, entry);
    return out;
}

// One list follows without gaps; lists that were joined stand in rising order.
void check_runs(const std::vector<cluster_run>& runs) {
    bool gapless = true, rising = true;
    for (std::size_t index = 1; index < runs.size(); ++index) {
        gapless = gapless && runs[index].start_vcn == runs[index - 1].start_vcn + runs[index - 1].clusters;
        rising = rising && runs[index].start_vcn > runs[index - 1].start_vcn;
    }
    expect(gapless || rising);
}

void check(const file_record& record) {
    for (const auto& item : record.attributes) {
        expect(item.value.raw.size() <= record_size && item.value.resident_value.size() <= record_size);
        check_runs(item.value.runs);
    }
    for (const auto& item : record.file_names) {
        const name_entry& name = item.value;
        expect(name.name.size() <= 255);
        if (name.is_dos || name.name_space > 3) continue;
        expect(record.parents.find(name.parent) != nullptr);
        expect(record.lower_names.find(lowered(name.name)) != nullptr);
    }
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    const temporary_file file(build::bytes(data, data + std::min(size, record_size * most_records)));
    static file_record reused;
    mft_entries_ctx ctx;
    open_mft(ctx, file);
    for (std::uint64_t inode = 0; inode * record_size < size && inode < most_records; ++inode) {
        const bool keep_values = inode % 2 == 0;
        file_record fresh;
        const bool read = read_and_decode_record(reused, ctx, inode, keep_values);
        expect(read_and_decode_record(fresh, ctx, inode, keep_values) == read);
        if (!read) continue;
        expect(all_of(reused) == all_of(fresh));
        check(fresh);
    }
    return 0;
}
