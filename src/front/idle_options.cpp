#include "front/idle_options.h"

#include "front/scanners.h"
#include "run/run_context.h"
#include "walk/phases.h"

namespace {

bool always(const mft_entries_ctx&) { return true; }
bool without_copies(const mft_entries_ctx& ctx) { return !ctx.copy_files; }
bool without_streams(const mft_entries_ctx& ctx) { return !ctx.copy_files && !ctx.want_md5 && !ctx.want_sha1; }
bool without_split(const mft_entries_ctx& ctx) { return ctx.cpu_count <= 1; }

bool without_offset(const mft_entries_ctx& ctx) {
    const std::vector<source_choice> choices = choices_of(ctx);
    return ctx.volume_offset != 0 && !choices.empty() && choices.front().volume_offset == 0;
}

// A path is resolved to record numbers later on, and one of a folder leads to a walk of all.
bool walks_numbers_alone(const mft_entries_ctx& ctx) {
    return ctx.filter_dirs.empty() && only_inodes_are_selected(ctx);
}

struct idle_option {
    const char* name;
    bool (*is_idle)(const mft_entries_ctx& ctx);
    const char* why;
};

constexpr idle_option idle_options[] = {
    // Read for the sake of old command lines, and by nothing behind the passes.
    {"-alias", always, ""},
    {"-aliaspath", always, ""},
    {"-filter", always, ""},
    {"-filter_dir_recurse", always, ""},
    {"-find_objid", always, ""},
    {"-gzip", always, ""},
    {"-hexdump", always, ""},
    {"-indxfile", always, ""},
    {"-jp", always, ""},
    {"-lnk", always, ""},
    {"-pipe", always, ""},
    {"-threads", always, ""},
    {"-verbose", always, ""},
    {"-v", always, ""},
    {"-zlib", always, ""},
    {"-zlibex", always, ""},
    // Read by what was not asked for.
    {"-raw", without_streams, " without -action_copy_files and -hashfile"},
    {"-skip_sparse_clusters", without_streams, " without -action_copy_files and -hashfile"},
    {"-use_orig_ext", without_copies, " without -action_copy_files"},
    {"-separate_files", without_split, " without -cpu"},
    {"-fragment_files", without_split, " without -cpu"},
    {"-offset", without_offset, ": this source begins where its volume does"},
    {"-mftstart", walks_numbers_alone, " where -filter_inode alone selects"},
    {"-mftrange", walks_numbers_alone, " where -filter_inode alone selects"},
};

}  // namespace

void tell_idle_options(const mft_entries_ctx& ctx, std::vector<std::string> given, std::vector<std::string> left) {
    // Instances got the same arguments, of which the run that split has told.
    if (!is_read(ctx.log) || ctx.instance_number != -1) return;
    for (const idle_option& option : idle_options) {
        if (take_flag(option.name, given) && option.is_idle(ctx))
            log_diag(ctx.log, "info: %s has no effect%s", option.name, option.why);
    }
    std::string value;
    take_value("-hashfile", value, left);                        // taken ahead of the passes, from a copy of the list
    if (ctx.cpu_count > 1) take_value("-tempdir", value, left);  // the split takes it
    // What a run passed over must not look like an answer: a misspelt filter selects nothing and refuses nothing.
    for (std::size_t index = 1; index < left.size(); ++index)
        log_diag_text(ctx.log, "err: no option took this argument, it has no effect: " + left[index]);
}
