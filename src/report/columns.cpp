#include "report/columns.h"

#include "run/run_context.h"

namespace {

void add_time_columns(report_scratch& scratch, const report_column& column, const mft_entries_ctx& ctx) {
    const std::size_t date = date_width(ctx.date_format), time = time_width(ctx.time_format);
    if (ctx.pair_datetime) {
        column_add(scratch, ctx, column.label, date + time + 1, cell_paired_date_time);
        return;
    }
    column_add(scratch, ctx, column.date_label, date);
    column_add(scratch, ctx, column.time_label, time, cell_time_half);
}

void add_column(report_scratch& scratch, const report_column& column, const mft_entries_ctx& ctx) {
    if (column.width == width_of_time) return add_time_columns(scratch, column, ctx);
    const bool by_hostname = column.width == width_of_hostname;
    column_add(scratch, ctx, column.label, by_hostname ? ctx.hostname.size() : static_cast<std::size_t>(column.width));
}

}  // namespace

void row_in_hand::add_time(std::uint64_t filetime) {
    const cell_kind kind = ctx.pair_datetime ? cell_paired_date_time : cell_date_time;
    next += cell_set_value(scratch.row, next, filetime, kind);
}

void choose_columns(report_scratch& scratch, std::span<const report_column> table, const report_call& first,
                    const mft_entries_ctx& ctx) {
    if (!scratch.columns.empty()) return;
    report_call chooser = first;
    // Whatever record comes first in its range, an instance's rows are to stand under the labels of any other; and
    // objects are to have the same names in every run.
    if (ctx.instance_number != -1 || ctx.format_jsonl) chooser.hide_clusters = ctx.omit_cluster_info;
    for (const report_column& column : table) {
        if (column.wanted != nullptr && !column.wanted(chooser, ctx)) continue;
        add_column(scratch, column, ctx);
        scratch.fills.push_back(column.fill);
    }
}

void fill_row(row_in_hand& row) {
    row_reset(row.scratch.row, row.scratch.columns.size());
    for (const auto fill : row.scratch.fills) fill(row);
}
