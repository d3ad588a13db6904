#include "walk/phases.h"

#include "platform/console.h"
#include "run/progress.h"
#include "run/run_context.h"
#include "walk/record_visit.h"
#include "walk/unallocated.h"
#include "walk/walkers.h"

namespace {

// $MFT first, of which `deleted_only` records; then free clusters, where the in-use bit says nothing.
void walk_both(report_output& out, mft_entries_ctx& ctx, bool deleted_only) {
    ctx.deleted_only = ctx.and_logic = deleted_only;
    ctx.progress_title += u"\n- scanning MFT records from $MFT";
    walk_mft_sequence(out, ctx);
    if (ctx.show_progress) {
        write_progress({});
        write_standard_error("finished scanning MFT records from $MFT... proceeding to unallocated clusters\n");
    }
    ctx.deleted_only = false;
    ctx.unalloc_phase = ctx.and_logic = true;
    ctx.progress_title = u"- scanning MFT records from unallocated space";
}

}  // namespace

bool only_inodes_are_selected(const mft_entries_ctx& ctx) {
    return ctx.dir_inodes.empty() && ctx.name_entries.empty() && ctx.extensions.empty() && ctx.wildcards.empty() &&
           !ctx.deleted_only && !ctx.deleted_all && ctx.rules.empty() && !ctx.selected_inodes.empty();
}

void run_walks(report_output& out, mft_entries_ctx& ctx) {
    if (only_inodes_are_selected(ctx)) return walk_mft_inodes(out, ctx);
    if (ctx.all_clusters || ctx.deleted_all) {
        walk_both(out, ctx, !ctx.all_clusters);
    } else if (!ctx.unalloc_phase) {
        return walk_mft_sequence(out, ctx);
    }
    ctx.source_type = "NTFS:UNALLOC";
    walk_unallocated(out, ctx);
}
