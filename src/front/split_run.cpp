#include "front/split_run.h"

#include "base/text.h"
#include "front/scanners.h"
#include "instances/instances.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "platform/paths.h"
#include "run/run_context.h"

namespace {

bool can_be_split(const mft_entries_ctx& ctx) {
    if (ctx.results_path.empty()) {
        write_standard_error("Need to specify an output file to put the merged results in [-out <file>]\n");
        return false;
    }
    if (!ctx.deleted_all && !ctx.unalloc_phase && !ctx.all_clusters) return true;
    write_standard_error("The -cpu option only supports MFT analysis\n");
    return false;
}

// A separator stands at its end in any case, also behind one that is there.
std::string temp_directory(const mft_entries_ctx& ctx, std::vector<std::string>& left_args) {
    std::string directory;
    const bool given = take_value("-tempdir", directory, left_args);
    // The instance expands its results path once more.
    directory = expand_variables(directory);
    if (!given || ctx.separate_files) directory = utf8_from_utf16(directory_part(utf16_from_utf8(ctx.results_path)));
    return directory + utf8_from_utf16(std::u16string(1, host_separator()));
}

// What an instance gets anew, or must not have. A range that the user gave would be read ahead of the instance's own,
// so every occurrence goes.
void keep_for_instances(std::vector<std::string>& args) {
    std::string value;
    for (const char* name : {"-cpu", "-out", "-outfile", "-outdir", "-tempdir", "-cpuinst", "-mftstart", "-mftrange"}) {
        while (take_value(name, value, args)) {
        }
    }
    for (const char* name : {"-profile", "-separate_files"}) {
        while (take_flag(name, args)) {
        }
    }
    // Guard: an instance reads the script again, and would split in turn if that holds -cpu.
    if (peek_value("-script", value, args)) args.insert(args.end(), {"-cpu", "1"});
}

}  // namespace

bool run_split(mft_entries_ctx& ctx, std::vector<std::string>& left_args, std::vector<std::string> child_args) {
    if (!can_be_split(ctx)) return false;
    // -outdir names the results, too, and an instance would write to it as well.
    ctx.results_path_wide = make_absolute(utf16_from_utf8(ctx.results_path));
    const std::string temp_dir = temp_directory(ctx, left_args);
    create_directory_tree(make_absolute(utf16_from_utf8(temp_dir)));
    keep_for_instances(child_args);
    return run_instances(ctx, ctx.cpu_count, child_args, temp_dir);
}
