#include "walk/open_source.h"

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "front/run_context.h"
#include "ntfs/volume.h"
#include "sources/plain_file.h"

namespace {

bool open_extracted_mft(mft_entries_ctx& ctx) {
    if (ctx.mft_reader == nullptr) {
        auto reader = std::make_unique<plain_file>();
        if (!reader->open_read(ctx.mft_file_path)) {
            log_diag(ctx, "err: cannot open %s: %s", utf8_from_utf16(ctx.mft_file_path).c_str(),
                     system_error_text(last_system_error()).c_str());
            return false;
        }
        ctx.mft_reader = std::move(reader);
    }
    ctx.source_text = ctx.mft_file_path;
    ctx.close_source_after_walk = true;
    ctx.volume_record_count = static_cast<std::uint64_t>(ctx.mft_reader->file_size()) / ctx.effective_record_size();
    if (!ctx.filter_dirs.empty() || !ctx.filter_files.empty())
        log_diag(ctx, "err: filters by path need a volume, ignored");
    return true;
}

std::u16string drive_text(std::int32_t number) {
    std::string text = "specified by physical drive number";
    append_decimal(text, static_cast<std::uint32_t>(number));
    return utf16_from_utf8(text);
}

std::u16string vmdk_text(const std::vector<std::u16string>& paths) {
    std::u16string text = paths.size() > 1 ? u"vmdk files: " : u"vmdk file: ";
    for (const std::u16string& path : paths) {
        if (&path != &paths.front()) text += u"; ";
        text += u"'" + path + u"'";
    }
    return text;
}

// The first source that an option named, in this order of precedence.
bool make_volume(mft_entries_ctx& ctx) {
    const auto offset = static_cast<std::int64_t>(ctx.volume_offset);
    if (!ctx.vmdk_paths.empty()) {
        ctx.source_text = vmdk_text(ctx.vmdk_paths);
        return open_volume_from_vmdk(ctx.vmdk_paths, offset, ctx.volume, ctx);
    }
    if (ctx.drive_number != -1) {
        ctx.source_text = drive_text(ctx.drive_number);
        return open_volume_from_drive(static_cast<std::uint32_t>(ctx.drive_number), offset, ctx.volume, ctx);
    }
    const std::u16string& image = ctx.image_path_volume.empty() ? ctx.image_path_disk : ctx.image_path_volume;
    if (!image.empty()) {
        ctx.source_text = image;
        return open_volume_from_path(image, offset, ctx.volume, ctx);
    }
    if (ctx.live_volume_text.empty()) return false;
    const bool is_device = ctx.live_volume_text.starts_with(u"\\\\");
    ctx.source_kind = is_device ? source_kind_device : source_kind_letter;
    const volume_open_kind kind = is_device ? open_by_device_path : open_by_letter;
    if (!open_volume_from_letter(ctx.live_volume_text, ctx.volume, kind, ctx)) return false;
    ctx.source_text = u"partition: " + ctx.live_volume_text;
    return true;
}

bool open_volume(mft_entries_ctx& ctx) {
    if (ctx.volume == nullptr && !make_volume(ctx)) return false;
    ctx.close_source_after_walk = true;
    ctx.volume_record_count = static_cast<std::uint64_t>(std::max<std::int64_t>(ctx.volume->record_count, 0));
    ctx.record_size = ctx.volume->record_bytes();
    ctx.sector_size = ctx.volume->sector_size();
    return true;
}

}  // namespace

bool open_and_prepare(mft_entries_ctx& ctx) {
    if (ctx.close_source_after_walk) return true;
    return ctx.mft_file_path.empty() ? open_volume(ctx) : open_extracted_mft(ctx);
}

void close_source(mft_entries_ctx& ctx) {
    if (!ctx.close_source_after_walk) return;
    ctx.mft_reader.reset();
    ctx.volume.reset();
    ctx.close_source_after_walk = false;
}
