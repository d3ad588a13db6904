#include "walk/walkers.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string>

#include "base/numbers.h"
#include "front/run_context.h"
#include "ntfs/record_read.h"
#include "ntfs/volume.h"
#include "platform/console.h"
#include "report/default_report.h"
#include "report/record_dump.h"
#include "sources/plain_file.h"
#include "walk/acceptance.h"
#include "walk/filters.h"
#include "walk/open_source.h"
#include "walk/paths.h"

namespace {

constexpr std::size_t progress_columns = 60;

// What a walk over record numbers holds from its first record to its last.
struct record_walk {
    std::ostream& out;
    mft_entries_ctx& ctx;
    file_record record;
    std::vector<std::uint8_t> buffer;
    std::uint64_t total = 0;   // records of the whole $MFT
    std::uint64_t beyond = 0;  // first number that an extracted $MFT cannot hold; a volume's run list tells
    std::uint64_t progress_step = 53;
};

// Bytes of $MFT that its own record 0 declares: the first $DATA in map order, named or not. 0: none.
std::uint64_t declared_mft_size(const file_record& record) {
    for (const auto& item : record.attributes) {
        const attr_entry& attribute = item.value;
        if (attribute.raw.empty() || attribute.type != type_data) continue;
        if (!attribute.non_resident()) return attribute.value_length();
        return byte_view(attribute.raw).u64(attribute_at::allocated_size);
    }
    return 0;
}

// Opens the source and counts its records. False: there is nothing to walk.
bool begin_walk(record_walk& walk) {
    mft_entries_ctx& ctx = walk.ctx;
    if (!open_and_prepare(ctx) || !source_usable(ctx)) return false;
    if (ctx.paths == nullptr) ctx.paths = std::make_unique<path_cache>();
    ctx.paths->clear();
    if (!read_and_decode_record(walk.record, ctx, 0, false)) return false;
    const std::uint64_t declared = declared_mft_size(walk.record);
    if (declared == 0) return false;
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

void show_progress(const record_walk& walk, std::uint64_t number) {
    if (!walk.ctx.show_progress || number % walk.progress_step != 0) return;
    std::string text = "analyzing entry ";
    append_decimal(text, number);
    text += " of ";
    append_decimal(text, walk.total);
    write_progress(text);
}

void visit_record(record_walk& walk, std::uint64_t number) {
    bool bad = false;  // not looked at: a "BAAD" record goes to the decoder like any other
    if (!read_file_record(walk.buffer, bad, walk.ctx, number) || walk.buffer.empty()) return;
    if (!parse_file_record(walk.record, walk.buffer, number, walk.ctx)) return;
    walk.record.record_offset = walk.ctx.record_offset_wanted ? number * walk.ctx.effective_record_size() : 0;
    const auto report = walk.ctx.find_mft ? write_record_dump : write_default_report;
    report(walk.record, walk.out, walk.ctx);
}

// False: results cannot be written any more, so the walk ends.
bool visit(record_walk& walk, std::uint64_t number) {
    show_progress(walk, number);
    try {
        visit_record(walk, number);
    } catch (const std::bad_alloc&) {
        log_diag(walk.ctx, "err: out of memory at record %llx", static_cast<unsigned long long>(number));
    }
    return !walk.ctx.results_failed;
}

// Guard: a volume may declare more records than a disk can hold. Those outside its source cannot be read: not tried.
std::uint64_t next_number(const mft_entries_ctx& ctx, std::uint64_t number, std::uint64_t end) {
    if (ctx.volume == nullptr) return number;
    const std::uint64_t next = next_record_inside(*ctx.volume, number);
    if (next != number && number < end) {
        log_diag(ctx, "err: records %llx to %llx lie outside of the source", static_cast<unsigned long long>(number),
                 static_cast<unsigned long long>(std::min(next, end) - 1));
    }
    return next;
}

void end_walk(mft_entries_ctx& ctx) {
    close_source(ctx);
    if (ctx.show_progress) write_progress({});
}

}  // namespace

void walk_mft_sequence(std::ostream& out, mft_entries_ctx& ctx) {
    record_walk walk{out, ctx, {}, {}};
    if (!begin_walk(walk)) return;
    std::uint64_t end = walk.total;
    if (ctx.mft_count == 0) {
        ctx.mft_count = walk.total;
    } else {
        // Guard: a range may be asked for up to 2^64; numbers that the source cannot hold are not tried.
        const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - ctx.mft_start;
        end = std::min(ctx.mft_start + std::min(ctx.mft_count, room), walk.beyond);
    }
    for (std::uint64_t number = next_number(ctx, ctx.mft_start, end); number < end && visit(walk, number);) {
        number = next_number(ctx, number + 1, end);
    }
    end_walk(ctx);
}

void walk_mft_inodes(std::ostream& out, mft_entries_ctx& ctx) {
    record_walk walk{out, ctx, {}, {}};
    if (!begin_walk(walk)) return;
    if (ctx.mft_count == 0) ctx.mft_count = walk.total;
    for (const auto& item : ctx.selected_inodes) {
        if (!visit(walk, item.key)) break;
    }
    end_walk(ctx);
}

void write_progress(std::string_view text) {
    std::string line(text.substr(0, 255));
    std::erase(line, '\n');
    line.resize(progress_columns, ' ');
    line += '\r';
    write_standard_error(line);
}
