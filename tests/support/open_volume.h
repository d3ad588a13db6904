// A built volume, opened as the run's source.
// Used by unit tests and fuzz targets of everything that reads through a volume.
// Holds the image in a temporary file for as long as the object lives.
#pragma once

#include <memory>

#include "run/run_context.h"
#include "ntfs/file_record.h"
#include "ntfs/record_read.h"
#include "ntfs/volume.h"
#include "support/disk_builder.h"
#include "support/volume_builder.h"
#include "walk/open_source.h"

struct opened_volume {
    build::disk_file file;
    mft_entries_ctx ctx;

    explicit opened_volume(const build::bytes& image, std::uint64_t offset = 0) : file(image) {
        ctx.image_path_volume = file.path();
        ctx.volume_offset = offset;
        ctx.show_progress = false;
        open_and_prepare(ctx);
    }
    bool valid() const { return ctx.volume != nullptr; }
    ntfs_volume& volume() { return *ctx.volume; }
    bool decode(file_record& record, std::uint64_t inode) { return read_and_decode_record(record, ctx, inode, false); }
};
