// What the options of sources leave in the settings, and the test for any source.

#include "base/numbers.h"
#include "base/text.h"
#include "front/scanners.h"
#include "front/walk_effects.h"
#include "ntfs/volume.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/paths.h"
#include "run/progress.h"
#include "run/run_context.h"
#include "sources/vmdk_chain.h"
#include "sources/volume_offset.h"

namespace {

// The device of a shadow copy: by its number, or by a path that holds the prefix.
std::u16string shadow_device(const std::u16string& value) {
    const std::u16string prefix = utf16_from_utf8(shadow_device_prefix(false));
    const std::size_t at = value.find(prefix);
    if (at == std::u16string::npos) return prefix + value;
    const std::size_t from = at + prefix.size();
    return prefix + value.substr(from, value.find(u'\\', from) - from);
}

// Opened for this test alone. Kept: in spite of its words the run goes on, and fails where the source is opened, which
// tells the log why.
void test_live_volume(const mft_entries_ctx& ctx) {
    std::unique_ptr<ntfs_volume> volume;
    if (open_volume(live_choice(ctx.live_volume_text), volume, nullptr)) return;
    write_standard_error("prob validating volume " + utf8_from_utf16(ctx.live_volume_text) +
                         " as a NTFS partition, aborting...\n");
}

void show_search(std::uint64_t position, std::uint64_t size) {
    constexpr int mebibyte = 20;
    const std::string text = "searching for partitions: " + std::to_string(position >> mebibyte) + " of " +
                             std::to_string(size >> mebibyte) + " MiB";
    write_progress(position < size ? text : std::string());
}

template <class check_call>
bool run_check(const mft_entries_ctx& ctx, offset_check& asked, const check_call& check) {
    if (ctx.show_progress) asked.progress = show_search;
    const bool accepted = check(asked);
    if (!asked.reason.empty()) log_diag_text(ctx.log, "err: the source cannot be read: " + asked.reason);
    return accepted;
}

// Compares the offset with the partitions of the source, by `check`. Without -offset a source also passes that holds
// an NTFS volume at 0 and is shorter than it; with -offset only one that `may_be_cut`. No other partition than the one
// asked for is ever taken.
template <class check_call>
bool accept_source(mft_entries_ctx& ctx, wide_list& list, const check_call& check, bool may_be_cut = false) {
    const bool offset_given = ctx.volume_offset != 0;
    offset_check asked;
    asked.offset = ctx.volume_offset;
    asked.thorough = ctx.thorough;
    asked.ignore_size = offset_given && take_flag_wide("-ignore_image_size", list);
    const bool as_asked = run_check(ctx, asked, check);
    const bool is_cut = !as_asked && asked.found && asked.offset == ctx.volume_offset;
    const bool accepted = as_asked || (is_cut && (may_be_cut || !offset_given));
    ctx.volume_offset = asked.offset;
    if (!accepted) write_standard_error(asked.text + "\n");
    return accepted;
}

std::string suggested_array(const wide_list& paths) {
    std::string text = "suggested array: -vmdk \"";
    for (const std::u16string& path : paths) {
        if (&path != &paths.front()) text += " | ";
        text += utf8_from_utf16(path);
    }
    return text + "\"\n";
}

// Parents that were found are proposed, not taken: the list that the user gives is the list that is read.
bool is_whole_chain(mft_entries_ctx& ctx) {
    vmdk_chain chain;
    chain.log = ctx.log;
    std::string text;
    wide_list paths;
    if (chain.resolve(ctx.vmdk_paths, text, paths)) return true;
    for (const std::u16string& path : paths) protect(ctx.evidence, path);
    write_standard_error(text + "\n");
    if (paths.size() > ctx.vmdk_paths.size()) write_standard_error(suggested_array(paths));
    return false;
}

}  // namespace

int take_first_record(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_u64(low_bytes(value), ctx.mft_start)) tell_no_number(ctx, "-mftstart", value, "taken as 0");
    ctx.mft_count = 1;
    return 0;
}

int take_record_count(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_u64(low_bytes(value), ctx.mft_count)) tell_no_number(ctx, "-mftrange", value);
    return 0;
}

int take_partition(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.live_volume_text = value;
    ctx.source_kind = kind_of_live_volume(value);
    test_live_volume(ctx);
    return 0;
}

int take_mft_file(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.mft_file_path = value;
    ctx.source_kind = kind_mft_file;
    return 0;
}

int take_shadow_copy(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.live_volume_text = shadow_device(value);
    ctx.source_kind = kind_device_path;
    return 0;
}

int take_volume_offset(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_u64(low_bytes(value), ctx.volume_offset)) tell_no_number(ctx, "-offset", value);
    return 0;
}

int take_image(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    ctx.image_path_disk = make_absolute(value);
    if (ctx.image_path_disk.empty()) {
        write_standard_error("prob reading: , aborting\n,");
        return -1;
    }
    const bool offset_given = ctx.volume_offset != 0;
    if (!accept_source(ctx, list, [&](offset_check& asked) { return check_image(asked, ctx.image_path_disk); }))
        return -1;
    // The move records that the image is one volume and no disk.
    if (!offset_given && ctx.volume_offset == 0) {
        ctx.image_path_volume = std::move(ctx.image_path_disk);
        ctx.image_path_disk.clear();
    }
    return 0;
}

// The check sees the number as it was given: one that is too large for a drive must not become another one's.
int take_drive(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    std::uint64_t number = static_cast<std::uint64_t>(std::int64_t{ctx.drive_number});
    parse_u64(low_bytes(value), number);
    ctx.drive_number = static_cast<std::int32_t>(number);
    const auto check = [number](offset_check& asked) { return check_drive(asked, static_cast<std::int64_t>(number)); };
    return accept_source(ctx, list, check) ? 0 : -1;
}

int take_vmdk(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    split_list(ctx.vmdk_paths, value, "|,;");
    std::u16string further;
    while (take_value_wide("-vmdk", further, list)) ctx.vmdk_paths.push_back(further);
    if (ctx.vmdk_paths.empty()) return 0;
    const auto check = [&ctx](offset_check& asked) { return check_vmdk_disks(asked, ctx.vmdk_paths); };
    return is_whole_chain(ctx) && accept_source(ctx, list, check, true) ? 0 : -1;
}

int take_index_file(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.indx_file_path = bytes_from_utf16(value);
    return 0;
}

int require_source(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    if (!ctx.live_volume_text.empty() || !ctx.mft_file_path.empty()) return 0;
    write_standard_error(
        "error: need to specify at least an input source [-mftfile, -image, -drivenum, -partition, -vmdk]\n");
    return -3;
}
