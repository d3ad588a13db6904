#include "front/not_offered.h"

#include <algorithm>
#include <iterator>

#include "run/run_context.h"
#include "platform/console.h"

namespace {

using ctx_t = mft_entries_ctx;

// A live volume counts only where no other source goes before it.
bool needs_other_source(const ctx_t& ctx) {
    if (!ctx.mft_file_path.empty() || !ctx.vmdk_paths.empty()) return false;
    const bool has_image = !ctx.image_path_disk.empty() || !ctx.image_path_volume.empty();
    return !ctx.live_volume_text.empty() && ctx.drive_number == -1 && !has_image;
}

constexpr bool (*not_offered[])(const ctx_t& ctx) = {
    needs_other_source,
    // Tagged text: tables cannot be written so. The bare list and the dump of a record are no tables.
    [](const ctx_t& ctx) { return ctx.format_xml && !ctx.filepath_only && !ctx.find_mft; },
};

}  // namespace

bool refuse_what_is_not_offered(const mft_entries_ctx& ctx) {
    const bool refused =
        std::any_of(std::begin(not_offered), std::end(not_offered), [&ctx](const auto needs) { return needs(ctx); });
    if (refused) write_standard_error("This option is not offered in this build\n");
    return refused;
}
