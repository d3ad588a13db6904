#include "extract/copy_out.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "base/time_point.h"
#include "extract/digests.h"
#include "extract/host_names.h"
#include "platform/host_paths.h"
#include "platform/interrupts.h"
#include "platform/paths.h"
#include "run/filter_tables.h"
#include "run/run_context.h"
#include "sources/evidence.h"
#include "sources/plain_file.h"

namespace {

constexpr std::u16string_view no_reason = u"catchall";

bool is_plain_label(std::string_view label) { return label.empty() || label == "unnamed data"; }

bool is_named_by_filter(const file_record& record, const attr_entry& attribute, const mft_entries_ctx& ctx) {
    const filter_entry* entry = attribute.name.empty() ? nullptr : ctx.selected_inodes.find(record.inode);
    if (entry == nullptr || !entry->has_stream) return false;
    return std::binary_search(entry->streams.begin(), entry->streams.end(), lowered(attribute.name));
}

// --- folders ---------------------------------------------------------------------------------------------------------

// Why the record was selected: the first that applies. With a text of its own, or one word for all.
struct copy_reason {
    match_kind kind;
    std::u16string_view word;  // empty: the text that matched
};
constexpr copy_reason reasons[] = {
    {match_name, {}},      {match_extension, {}},         {match_directory, {}},
    {match_signature, {}}, {match_wildcard, u"wildcard"}, {match_inode, u"inodes"},
};

// A path inside the volume as one component.
std::u16string directory_as_name(const std::u16string& path) {
    std::u16string name;
    if (path.starts_with(u'\\') || path.starts_with(u'/')) name = u"[root]";
    for (const char16_t unit : path) {
        if (unit == u':') continue;
        const bool separates = unit == u'\\' || unit == u'/';
        name += separates ? u'-' : unit == u' ' ? u'_' : unit;
    }
    return name;
}

std::u16string reason_text(const file_record& record) {
    for (const copy_reason& reason : reasons) {
        const filter_match& match = record.matches[reason.kind];
        if (!match.hit) continue;
        if (!reason.word.empty()) return std::u16string(reason.word);
        const std::u16string text = utf16_from_utf8(match.text);
        return reason.kind == match_directory ? directory_as_name(text) : text;
    }
    return std::u16string(no_reason);
}

std::u16string below(const std::u16string& folder, std::u16string_view name) {
    if (name.empty()) return folder;
    const bool is_root = !folder.empty() && is_host_separator(folder.back());
    return folder + (is_root ? std::u16string() : std::u16string(1, host_separator())) + std::u16string(name);
}

// Makes the folders of one copy, if they are others than the last one's, and returns the innermost.
std::u16string make_folders(const file_record& record, const mft_entries_ctx& ctx, stream_state& state) {
    const std::u16string_view found = ctx.unalloc_phase   ? u"deleted-unalloc"
                                      : state.was_deleted ? u"deleted-mft"
                                                          : u"valid";
    const std::u16string first = below(ctx.copy_dir, found);
    const std::u16string second = below(first, safe_component(state.user_name));
    std::u16string third = below(second, safe_component(reason_text(record)));
    if (third == state.made_folder) return third;
    create_directory(first);
    create_directory(second);
    if (create_directory(third)) return state.made_folder = third;
    std::u16string instead = below(first, no_reason);
    create_directory(instead);
    return instead;
}

// --- files -----------------------------------------------------------------------------------------------------------

constexpr std::uint32_t most_runs = 32;  // that copy into one destination at a time

// With the instance's number in front, as instances share the destination. Behind the first name come those for runs
// that meet others there.
std::u16string temporary_path(const mft_entries_ctx& ctx, std::uint32_t others) {
    std::string name;
    if (ctx.instance_number != -1) append_hex(name, static_cast<std::uint32_t>(ctx.instance_number));
    name += "__temp__";
    if (others > 0) append_decimal(name, others);
    return below(ctx.copy_dir, utf16_from_utf8(name + ".bin"));
}

std::u16string copy_name(const file_record& record, const mft_entries_ctx& ctx, const attr_entry& attribute,
                         const stream_state& state, const std::u16string& own_name) {
    const si_entry* si = record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
    std::string digest;
    append_digest_text(digest, state.md5_digest);
    std::u16string name = copy_time_text(si == nullptr ? 0 : si->modified);
    name += u'_' + utf16_from_utf8(digest) + u'_' + own_name;
    if (!attribute.name.empty()) name += u'.' + attribute.name;
    if (!is_plain_label(attribute.label)) name += u'_' + utf16_from_utf8(attribute.label);
    if (!ctx.use_orig_ext) name += u".bin";
    return safe_component(name);
}

void tell_failure(const file_record& record, const std::u16string& path, const mft_entries_ctx& ctx) {
    const std::string why = system_error_text(last_system_error());
    std::string text = "err: record ";
    append_hex(text, record.inode);
    log_diag_text(ctx.log, text + ": no copy: " + utf8_from_utf16(path) + ": " + why);
}

// A source in the destination's root can bear any name.
bool is_source(const plain_file& file, const mft_entries_ctx& ctx) {
    file_identity there;
    if (!identify(file.file, there) || !is_evidence(ctx.evidence, there)) return false;
    log_diag_text(ctx.log,
                  "err: " + utf8_from_utf16(file.path) + " is a source, and stays as it is: nothing is copied");
    return true;
}

// Empty, and this run's alone until it is closed: two runs in one file would put the bytes of one under the name and
// the digest of the other. What a killed run left there goes.
bool claim_temporary(plain_file& file, const file_record& record, const mft_entries_ctx& ctx) {
    claim_outcome outcome = claim_outcome::taken;
    for (std::uint32_t others = 0; outcome == claim_outcome::taken && others < most_runs; ++others)
        outcome = file.claim(temporary_path(ctx, others));
    if (outcome == claim_outcome::made) return true;
    if (outcome == claim_outcome::claimed) {
        if (is_source(file, ctx)) return false;
        if (cut_file(file.file)) return true;
    }
    tell_failure(record, file.path, ctx);
    return false;
}

// What an interrupt leaves of it must not lie among the copies.
bool open_temporary(plain_file& file, const file_record& record, const mft_entries_ctx& ctx) {
    const held_requests until_named;
    if (!claim_temporary(file, record, ctx)) return false;
    lose_when_interrupted(file.file, file.path);
    return true;
}

bool write_temporary(plain_file& file, const file_record& record, const mft_entries_ctx& ctx,
                     const attr_entry& attribute, stream_state& state) {
    if (!read_stream_to(sink_into(file), record, ctx, &attribute, state)) return false;
    // A copy of which something was not kept must not get a name that vouches for it.
    if (keep_written(file.file)) return true;
    tell_failure(record, file.path, ctx);
    return false;
}

// Gives the file its name, unless that is taken. No name: there is nothing to keep.
move_outcome end_temporary(const plain_file& file, const file_record& record, const mft_entries_ctx& ctx,
                           const std::u16string& target) {
    const held_requests until_moved;
    keep_when_interrupted(file.file);
    move_outcome outcome = move_outcome::failed;
    if (!target.empty()) {
        // Still open: to another run it must not look like what a killed one left.
        outcome = move_file(file.path, target);
        if (outcome == move_outcome::failed) tell_failure(record, target, ctx);
    }
    if (outcome != move_outcome::moved) remove_file(file.path);
    return outcome;
}

}  // namespace

bool is_selected_for_copy(const file_record& record, const attr_entry& attribute, const mft_entries_ctx& ctx) {
    if (ctx.copy_all_streams || is_named_by_filter(record, attribute, ctx)) return true;
    if (!attribute.name.empty()) return ctx.copy_named_data;
    return ctx.copy_normal_data && attribute.label == "unnamed data";
}

void tell_missing_streams(const file_record& record, const mft_entries_ctx& ctx) {
    const filter_entry* entry = is_read(ctx.log) ? ctx.selected_inodes.find(record.inode) : nullptr;
    if (entry == nullptr || !entry->has_stream) return;
    for (const std::u16string& stream : entry->streams) {
        const auto has_its_name = [&stream](const auto& item) { return lowered(item.value.name) == stream; };
        if (std::any_of(record.attributes.begin(), record.attributes.end(), has_its_name)) continue;
        std::string text = "err: record ";
        append_hex(text, record.inode);
        log_diag_text(ctx.log, text + ": no such stream: " + utf8_from_utf16(stream));
    }
}

bool copy_stream(const file_record& record, const mft_entries_ctx& ctx, const attr_entry& attribute,
                 stream_state& state) {
    const std::u16string own_name = std::move(state.extracted_path);
    state.extracted_path.clear();
    if (!has_stream_bytes(attribute)) {
        log_diag(ctx.log, "info: record %llx: a stream without a byte is not copied",
                 static_cast<unsigned long long>(record.inode));
        return false;
    }
    plain_file file;
    if (!open_temporary(file, record, ctx)) return false;
    std::u16string target;
    if (write_temporary(file, record, ctx, attribute, state))
        target = below(make_folders(record, ctx, state), copy_name(record, ctx, attribute, state, own_name));
    const move_outcome outcome = end_temporary(file, record, ctx, target);
    if (outcome == move_outcome::failed) {
        state.made_folder.clear();
        return false;
    }
    state.extracted_path = target;
    return true;
}

std::u16string copy_time_text(std::uint64_t filetime) {
    constexpr std::uint32_t units_per_millisecond = 10'000;
    const time_point time = time_point_of(filetime);
    const auto milliseconds = static_cast<int>(time.remainder / units_per_millisecond);
    const struct {
        int value;
        std::size_t digits;
        const char* behind;
    } parts[] = {{time.year, 4, "_"},   {time.month, 2, "_"},  {time.day, 2, "_"},   {time.hour, 2, ""},
                 {time.minute, 2, "_"}, {time.second, 2, "_"}, {milliseconds, 3, ""}};
    std::string text;
    for (const auto& part : parts) {
        append_decimal(text, static_cast<std::uint64_t>(part.value), part.digits);
        text += part.behind;
    }
    return utf16_from_utf8(text);
}
