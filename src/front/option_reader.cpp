#include "front/option_reader.h"

#include "base/filetime.h"
#include "front/generic_options.h"
#include "front/run_context.h"
#include "front/scanners.h"
#include "front/script_file.h"
#include "front/walk_options.h"
#include "platform/console.h"
#include "platform/host.h"

namespace {

bool is_live_source(const mft_entries_ctx& ctx) { return ctx.drive_number != -1 || !ctx.live_volume_text.empty(); }

constexpr const char* missing_rights =
    "command prompt not running w/ admin privileges...\n"
    "[which is needed for examining live drives/partitions]\n"
    "need to restart cmd prompt using \"Run As Administrator\" option...\n"
    "\n";

}  // namespace

option_result parse_run_options(mft_entries_ctx& ctx, std::vector<std::string>& args, const std::string& version,
                                const std::string& source_type) {
    ctx.reset();
    if (source_type.empty()) ctx.source_type = "NTFS$MFT";
    if (args.size() < 2) return options_invalid;
    ctx.future_limit = present_time() + filetime_per_hour;

    std::vector<std::u16string> list = widened(args);
    append_script(list);
    args = narrowed(list);
    take_hashfile(ctx, list);
    if (!parse_generic_options(ctx, args)) return options_invalid;
    ctx.version_text = version;

    list = widened(args);
    const int result = parse_walk_options(ctx, list);
    if (result != 0) return static_cast<option_result>(result);
    if (is_live_source(ctx) && !is_elevated_admin()) {
        write_standard_error(missing_rights);
        return options_read;
    }
    args = narrowed(list);
    return options_read;
}
