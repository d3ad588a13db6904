#include "walk/record_visit.h"

#include <new>
#include <string>

#include "base/numbers.h"
#include "ntfs/record_read.h"
#include "report/default_report.h"
#include "report/exchange_formats.h"
#include "report/record_dump.h"
#include "report/report_output.h"
#include "run/progress.h"
#include "run/run_context.h"
#include "walk/acceptance.h"
#include "walk/open_source.h"

namespace {

struct report_choice {
    bool (*is_wanted)(const mft_entries_ctx& ctx);
    void (*write)(const file_record& record, report_output& out, const mft_entries_ctx& ctx);
};

// The first line that holds. Kept: -csv stands ahead of the other formats and writes what no format at all writes.
constexpr report_choice report_choices[] = {
    {[](const mft_entries_ctx& ctx) { return ctx.find_mft; }, write_record_dump},
    {[](const mft_entries_ctx& ctx) { return ctx.format_csv || ctx.format_jsonl; }, write_default_report},
    {[](const mft_entries_ctx& ctx) { return ctx.format_bodyfile; }, write_body_file},
    {[](const mft_entries_ctx& ctx) { return ctx.format_l2t; }, write_l2t_rows},
    {[](const mft_entries_ctx& ctx) { return ctx.hash_output; }, write_hash_list},
    {[](const mft_entries_ctx&) { return true; }, write_default_report},
};

void write_report(const file_record& record, report_output& out, const mft_entries_ctx& ctx) {
    const held_rows rows(out);
    for (const report_choice& choice : report_choices) {
        if (choice.is_wanted(ctx)) return choice.write(record, out, ctx);
    }
}

}  // namespace

bool begin_walk(record_walk& walk) {
    walk.state.paths.whole_names = walk.ctx.format_jsonl;
    return open_and_prepare(walk.ctx) && source_usable(walk.ctx);
}

void visit_record(record_walk& walk, byte_view bytes, std::uint64_t inode, std::uint64_t offset) {
    if (walk.state.torn) [[unlikely]]
        log_diag(walk.ctx.log, "err: torn record %llx", static_cast<unsigned long long>(inode));
    try {
        if (!parse_file_record(walk.record, bytes, inode, walk.ctx, walk.state)) return;
        walk.record.record_offset = offset;
        write_report(walk.record, walk.out, walk.ctx);
    } catch (const std::bad_alloc&) {
        tell_out_of_memory(walk.ctx, inode);
    }
}

void tell_out_of_memory(const mft_entries_ctx& ctx, std::uint64_t inode) {
    log_diag(ctx.log, "err: out of memory at record %llx", static_cast<unsigned long long>(inode));
}

bool walk_goes_on(const record_walk& walk) { return !walk.out.failed; }

void end_walk(record_walk& walk) {
    close_source(walk.ctx);
    if (walk.ctx.show_progress) write_progress({});
}

void show_progress(const mft_entries_ctx& ctx, std::uint64_t done, std::uint64_t total) {
    if (!ctx.show_progress) return;
    std::string text = "analyzing entry ";
    append_decimal(text, done);
    text += " of ";
    append_decimal(text, total);
    write_progress(text);
}
