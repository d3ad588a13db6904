#include "walk/walkers.h"

#include <algorithm>
#include <limits>
#include <new>

#include "ntfs/record_read.h"
#include "ntfs/volume.h"
#include "run/run_context.h"
#include "sources/plain_file.h"
#include "walk/record_visit.h"

namespace {

// A walk by record number.
struct number_walk : record_walk {
    std::uint64_t total = 0;   // records of the whole $MFT
    std::uint64_t beyond = 0;  // first number that an extracted $MFT cannot hold; a volume's run list tells
    std::uint64_t progress_step = 53;
    std::uint64_t end = 0;  // of a walk in rising order; 0: numbers jump
    record_block block;

    using record_walk::record_walk;
};

// Opens the source and counts its records. False: there is nothing to walk.
bool begin_number_walk(number_walk& walk) {
    mft_entries_ctx& ctx = walk.ctx;
    if (!begin_walk(walk) || !read_and_decode_record(walk.record, ctx, 0, false)) return false;
    const std::uint64_t declared = declared_mft_size(walk.record);
    if (declared == 0) {
        log_diag(ctx.log, "err: record 0 has no size of $MFT");
        return false;
    }
    const std::uint64_t record_size = ctx.effective_record_size();
    walk.total = declared / record_size;
    walk.beyond = std::numeric_limits<std::uint64_t>::max();
    if (ctx.mft_reader != nullptr) {
        const std::uint64_t held = static_cast<std::uint64_t>(ctx.mft_reader->file_size()) / record_size;
        walk.total = std::min(walk.total, held);
        walk.beyond = held + 1;  // a cut record at the end can still be asked for by its number
    }
    // Primes, so that the figure keeps moving; smaller where each record costs extra reads.
    walk.progress_step = ctx.fetch_header ? 13 : 53;
    return true;
}

// Two copies joined, or a record 0 of an older state: what it does not declare is walked where it is asked for.
void tell_undeclared(const number_walk& walk) {
    if (walk.ctx.mft_reader == nullptr || walk.beyond <= walk.total + 1) return;
    log_diag(walk.ctx.log, "err: record 0 declares %llx records, the file holds %llx: the others need -mftrange",
             static_cast<unsigned long long>(walk.total), static_cast<unsigned long long>(walk.beyond - 1));
}

// The record's bytes. False: none.
bool fetch(number_walk& walk, std::uint64_t number, byte_view& bytes) {
    try {
        return read_record_ahead(bytes, walk.buffer, walk.state.torn, walk.ctx, number, walk.block, walk.end) &&
               bytes.size != 0;
    } catch (const std::bad_alloc&) {
        tell_out_of_memory(walk.ctx, number);
        return false;
    }
}

// False: the walk is over.
bool visit(number_walk& walk, std::uint64_t number) {
    mft_entries_ctx& ctx = walk.ctx;
    if (number % walk.progress_step == 0) show_progress(ctx, number, walk.total);
    byte_view bytes;
    if (!fetch(walk, number, bytes)) return true;
    visit_record(walk, bytes, number, ctx.record_offset_wanted ? number * ctx.effective_record_size() : 0);
    return walk_goes_on(walk);
}

// Guard: a volume may declare more records than a disk can hold. Those outside its source cannot be read: not tried.
std::uint64_t next_number(const number_walk& walk, std::uint64_t number, std::uint64_t end) {
    const mft_entries_ctx& ctx = walk.ctx;
    if (ctx.volume == nullptr || walk.block.holds(number)) return number;
    const std::uint64_t next = next_record_inside(*ctx.volume, number);
    if (next != number && number < end) {
        log_diag(ctx.log, "err: records %llx to %llx lie outside of the source",
                 static_cast<unsigned long long>(number), static_cast<unsigned long long>(std::min(next, end) - 1));
    }
    return next;
}

}  // namespace

std::uint64_t declared_mft_size(const file_record& record) {
    for (const auto& item : record.attributes) {
        const attr_entry& attribute = item.value;
        if (attribute.raw.empty() || attribute.type != type_data) continue;
        if (!attribute.non_resident()) return attribute.value_length();
        return byte_view(attribute.raw).u64(attribute_at::allocated_size);
    }
    return 0;
}

void walk_mft_sequence(report_output& out, mft_entries_ctx& ctx) {
    number_walk walk(out, ctx);
    if (!begin_number_walk(walk)) return;
    std::uint64_t end = walk.total;
    if (ctx.mft_count == 0) {
        ctx.mft_count = walk.total;
        tell_undeclared(walk);
    } else {
        // Guard: a range may be asked for up to 2^64; numbers that the source cannot hold are not tried.
        const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - ctx.mft_start;
        end = std::min(ctx.mft_start + std::min(ctx.mft_count, room), walk.beyond);
    }
    walk.end = end;
    if (ctx.mft_start >= end) {
        log_diag(ctx.log, "err: record %llx is none of the %llx records that there are",
                 static_cast<unsigned long long>(ctx.mft_start), static_cast<unsigned long long>(walk.total));
    }
    for (std::uint64_t number = next_number(walk, ctx.mft_start, end); number < end && visit(walk, number);) {
        number = next_number(walk, number + 1, end);
    }
    end_walk(walk);
}

void walk_mft_inodes(report_output& out, mft_entries_ctx& ctx) {
    number_walk walk(out, ctx);
    if (!begin_number_walk(walk)) return;
    if (ctx.mft_count == 0) ctx.mft_count = walk.total;
    for (const auto& item : ctx.selected_inodes) {
        if (ctx.selected_elsewhere || !visit(walk, item.key)) break;
    }
    end_walk(walk);
}
