#include "walk/open_source.h"

#include <algorithm>

#include "base/text.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "sources/plain_file.h"
#include "walk/path_filters.h"

namespace {

// An extracted $MFT has no clusters and no directory indexes.
void tell_what_needs_a_volume(const mft_entries_ctx& ctx) {
    if (!ctx.filter_dirs.empty()) log_diag(ctx.log, "err: -filter_dir needs a volume, no record lies in such a folder");
    if (!ctx.filter_files.empty()) log_diag(ctx.log, "err: -filter_file needs a volume, ignored");
    if (!ctx.rules.empty()) log_diag(ctx.log, "err: filters by first bytes need a volume, ignored");
    if (ctx.copy_files || ctx.want_md5 || ctx.want_sha1)
        log_diag(ctx.log, "err: streams outside of their records need a volume: no copies, no digests of them");
}

bool open_extracted_mft(mft_entries_ctx& ctx) {
    if (ctx.mft_reader == nullptr) {
        auto reader = std::make_unique<plain_file>();
        if (!reader->open_read(ctx.mft_file_path)) {
            const std::string why = system_error_text(last_system_error());
            log_diag_text(ctx.log, "err: cannot open " + utf8_from_utf16(ctx.mft_file_path) + ": " + why);
            return false;
        }
        ctx.mft_reader = std::move(reader);
    }
    ctx.source_text = ctx.mft_file_path;
    ctx.close_source_after_walk = true;
    ctx.volume_record_count = static_cast<std::uint64_t>(ctx.mft_reader->file_size()) / ctx.effective_record_size();
    tell_what_needs_a_volume(ctx);
    return true;
}

bool make_volume(mft_entries_ctx& ctx, const source_choice& choice) {
    ctx.source_text = choice.text;
    return ::open_volume(choice, ctx.volume, ctx.log, ctx.thorough);
}

// A volume that stands there already is taken as it is.
bool prepare_volume(mft_entries_ctx& ctx, const std::vector<source_choice>& choices) {
    if (ctx.volume == nullptr && (choices.empty() || !make_volume(ctx, choices.front()))) return false;
    ctx.close_source_after_walk = true;
    ctx.volume_record_count = static_cast<std::uint64_t>(std::max<std::int64_t>(ctx.volume->record_count, 0));
    ctx.record_size = ctx.volume->record_bytes();
    ctx.sector_size = ctx.volume->sector_size();
    resolve_path_filters(ctx);
    return true;
}

}  // namespace

bool open_and_prepare(mft_entries_ctx& ctx) {
    if (ctx.close_source_after_walk || ctx.source_refused) return ctx.close_source_after_walk;
    const std::vector<source_choice> choices = choices_of(ctx);
    const bool is_mft_file = !choices.empty() && choices.front().kind == kind_mft_file;
    ctx.source_refused = !(is_mft_file ? open_extracted_mft(ctx) : prepare_volume(ctx, choices));
    return !ctx.source_refused;
}

void close_source(mft_entries_ctx& ctx) {
    if (!ctx.close_source_after_walk) return;
    ctx.mft_reader.reset();
    ctx.volume.reset();
    ctx.close_source_after_walk = false;
}
