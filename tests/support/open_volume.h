// A built volume, opened as the run's source.
// Used by unit tests and fuzz targets of everything that reads through a volume.
// The image is held in memory.
#pragma once

#include <memory>

#include "ntfs/file_record.h"
#include "ntfs/record_read.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "support/faulty_source.h"
#include "support/volume_builder.h"
#include "walk/open_source.h"

struct opened_volume {
    mft_entries_ctx ctx;
    faulty_source* disk;  // what a valid volume is read from, until a walk closes it

    explicit opened_volume(build::bytes image, std::uint64_t offset = 0, bool thorough = false) {
        auto source = std::make_unique<faulty_source>(std::move(image));
        disk = source.get();
        ctx.show_progress = false;
        ctx.thorough = thorough;
        open_volume_in(std::make_unique<source_reader>(std::move(source)), static_cast<std::int64_t>(offset),
                       ctx.volume, ctx.log, thorough);
        open_and_prepare(ctx);
    }
    bool valid() const { return ctx.volume != nullptr; }
    ntfs_volume& volume() { return *ctx.volume; }
    bool decode(file_record& record, std::uint64_t inode) { return read_and_decode_record(record, ctx, inode, false); }
};
