#include "front/not_offered.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "front/run_context.h"
#include "platform/console.h"
#include "platform/devices.h"
#include "platform/host_paths.h"

namespace {

using ctx_t = mft_entries_ctx;

bool is_shadow_copy(const std::u16string& text) {
    return text.starts_with(utf16_from_utf8(shadow_device_prefix(false)));
}

bool needs_other_source(const ctx_t& ctx) {
    if (!ctx.vmdk_paths.empty()) return true;
    return is_shadow_copy(ctx.live_volume_text) && !host_has_shadow_copies();
}

// Paths inside a volume are not looked up yet. Without a volume such a filter counts for nothing anyway.
bool needs_path_lookup(const ctx_t& ctx) {
    return ctx.mft_file_path.empty() && (!ctx.filter_dirs.empty() || !ctx.filter_files.empty());
}

constexpr bool (*not_offered[])(const ctx_t& ctx) = {
    needs_other_source,
    [](const ctx_t& ctx) { return ctx.cpu_count > 1; },
    [](const ctx_t& ctx) { return ctx.find_mft || ctx.format_bodyfile || ctx.format_l2t; },
    [](const ctx_t& ctx) { return ctx.want_md5 || ctx.want_sha1; },
    [](const ctx_t& ctx) { return ctx.copy_files; },
    [](const ctx_t& ctx) { return ctx.unalloc_phase || ctx.all_clusters || ctx.deleted_all; },
    needs_path_lookup,
    // One cell a line, and tagged text: tables cannot be written so. The bare list is no table.
    [](const ctx_t& ctx) { return (ctx.format_multiline || ctx.format_xml) && !ctx.filepath_only; },
};

}  // namespace

bool refuse_what_is_not_offered(const mft_entries_ctx& ctx) {
    const bool refused =
        std::any_of(std::begin(not_offered), std::end(not_offered), [&ctx](const auto needs) { return needs(ctx); });
    if (refused) write_standard_error("This option is not offered in this build\n");
    return refused;
}
