#include "front/not_offered.h"

#include "base/text.h"
#include "platform/console.h"
#include "platform/devices.h"
#include "platform/host_paths.h"
#include "run/run_context.h"

namespace {

// Every other source goes before a live one.
bool reads_shadow_copy(const mft_entries_ctx& ctx) {
    const std::vector<source_choice> choices = choices_of(ctx);
    if (choices.empty() || choices.front().kind != kind_device_path) return false;
    return ctx.live_volume_text.starts_with(utf16_from_utf8(shadow_device_prefix(false)));
}

// Tagged text: tables cannot be written so. The bare list and the dump of a record are no tables.
bool writes_tagged_tables(const mft_entries_ctx& ctx) { return ctx.format_xml && !ctx.filepath_only && !ctx.find_mft; }

// A dump is no table of rows: nothing in it would be an object.
bool dumps_into_objects(const mft_entries_ctx& ctx) { return ctx.format_jsonl && ctx.find_mft; }

}  // namespace

bool refuse_what_is_not_offered(const mft_entries_ctx& ctx) {
    const bool refused =
        (reads_shadow_copy(ctx) && !host_has_shadow_copies()) || writes_tagged_tables(ctx) || dumps_into_objects(ctx);
    if (refused) write_standard_error("This option is not offered in this build\n");
    return refused;
}
