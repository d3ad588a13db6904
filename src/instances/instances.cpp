#include "instances/instances.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <memory>
#include <random>
#include <thread>

#include "base/numbers.h"
#include "base/text.h"
#include "instances/merge.h"
#include "instances/portable_thread.h"
#include "ntfs/record_read.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "platform/interrupts.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "report/results_file.h"
#include "run/run_context.h"
#include "sources/plain_file.h"
#include "walk/open_source.h"
#include "walk/walkers.h"

namespace {

constexpr char identity_mark = '|';
constexpr const char* later_instance = "later";  // what one is handed over; the first one: where its rows go

// A path may lead two processes to two files, as that of standard output does.
std::string place_of_rows(const std::u16string& path, const file_identity& file) {
    std::string text = bytes_from_utf16(path) + identity_mark;
    append_decimal(text, file.volume);
    append_decimal(text += ' ', file.index);
    return text;
}

// One child process and what it was given.
struct instance {
    std::uint32_t index = 0;
    std::uint64_t start = 0, range = 0;  // record numbers; a range of 0 starts no process
    std::string output;                  // path of its results, UTF-8; the rows that it adds itself lie elsewhere
    std::vector<std::string> arguments;
    std::string handed_over;
    bool adds_itself = false;  // its rows to the merged file, behind this many bytes
    std::uint64_t merged_before = 0;
    std::unique_ptr<portable_thread> thread;
    instance_end end;
};

std::string numbered(const char* format, std::uint32_t number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

bool nothing_to_split() {
    write_standard_error("prob handling your options, aborting\n");
    return false;
}

// What plan_instance leaves out of a range must not look like records without rows.
void log_asked_range(const mft_entries_ctx& ctx) {
    if (ctx.mft_start == 0 || ctx.find_mft) return;
    log_diag(ctx.log, "err: -mftstart beside -mftrange: the last instance walks %llu records less",
             static_cast<unsigned long long>(ctx.mft_start));
}

// The range that was asked for, or all of $MFT. False: no records.
bool measure_job(mft_entries_ctx& ctx) {
    if (ctx.mft_count != 0) {
        log_asked_range(ctx);
        return true;
    }
    file_record record;
    if (!open_and_prepare(ctx) || !source_usable(ctx) || !read_and_decode_record(record, ctx, 0, false)) return false;
    ctx.mft_count = declared_mft_size(record) / ctx.effective_record_size();
    return ctx.mft_count != 0;
}

bool results_fail(const mft_entries_ctx& ctx, const std::string& why = {}) {
    write_standard_error("prob writing to output file: " + ctx.results_path + "\n");
    log_diag(ctx.log, "prob writing to output file: %s", ctx.results_path.c_str());
    if (!why.empty()) log_diag(ctx.log, "err: %s", why.c_str());
    return false;
}

// The merged file with the run's header; with separate files none: the options' test open has made one.
bool prepare_results(const mft_entries_ctx& ctx) {
    if (ctx.separate_files) {
        if (may_be_removed(ctx.results_path_wide, ctx.evidence)) remove_file(ctx.results_path_wide);
        return true;
    }
    uni::ofstream results;
    std::string why;
    if (!open_results_file(results, ctx.results_path_wide, ctx.evidence, why)) return results_fail(ctx, why);
    if (ctx.run_header_text.empty()) {
        log_diag(ctx.log, "banner not present");
        return true;
    }
    results << ctx.run_header_text + "\n";
    results.close();
    return results.good() || results_fail(ctx);
}

std::string random_text(std::size_t size) {
    constexpr std::string_view letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    static std::mt19937 generator(static_cast<std::mt19937::result_type>(present_time()));
    std::uniform_int_distribution<std::size_t> any(0, letters.size() - 1);
    std::string text;
    while (text.size() < size) text += letters[any(generator)];
    return text;
}

std::string output_path(const mft_entries_ctx& ctx, const std::string& temp_dir, std::uint32_t index) {
    std::string number;
    if (!ctx.separate_files) {
        append_decimal(number, index);
        return temp_dir + number + "_" + random_text(10) + "_temp.bin";
    }
    append_decimal(number, std::uint64_t{index} + 1);
    const std::string padding(number.size() < 5 ? 5 - number.size() : 0, '0');
    return temp_dir + utf8_from_utf16(file_part(ctx.results_path_wide)) + "." + padding + number;
}

void add_number(std::vector<std::string>& arguments, const char* option, std::uint64_t value) {
    std::string text = "0x";
    append_hex(text, value);
    arguments.insert(arguments.end(), {option, text});
}

// Kept: an instance gets no empty argument, and no double quote in any.
void tidy(std::vector<std::string>& arguments) {
    for (std::size_t index = 1; index < arguments.size(); ++index) std::erase(arguments[index], '"');
    std::erase(arguments, std::string());
}

// The results option stands last, whatever the child's arguments held before.
std::vector<std::string> arguments_of(const instance& each, std::vector<std::string> arguments) {
    add_number(arguments, "-mftstart", each.start);
    add_number(arguments, "-mftrange", each.range);
    arguments.insert(arguments.end(), {"-quiet", "-cpuinst"});
    append_decimal(arguments.emplace_back(), each.index);
    arguments.insert(arguments.end(), {"-out", each.output});
    tidy(arguments);
    return arguments;
}

void run_child(void* argument) {
    auto& each = *static_cast<instance*>(argument);
    each.end = run_instance(each.arguments, each.handed_over);
}

// The ranges are equal, but for the last one. Kept: that one ends by the count of records alone, so behind a start
// above 0 it comes out smaller by the start.
instance plan_instance(const mft_entries_ctx& ctx, std::uint32_t index, std::uint32_t count) {
    const std::uint64_t chunk = ctx.mft_count / count;
    instance each;
    each.index = index;
    each.start = ctx.mft_start + index * chunk;
    each.range = chunk;
    if (index + 1 == count) each.range = ctx.mft_count > each.start ? ctx.mft_count - each.start : 0;
    if (ctx.find_mft) each.range = ctx.mft_count;  // the instance goes by the number that -find_mft names
    return each;
}

// Only a file can be cut again to its whole rows.
void hand_over_results(instance& first, const mft_entries_ctx& ctx) {
    const std::u16string& path = ctx.results_path_wide;
    plain_file results;
    file_identity there;
    first.adds_itself = !ctx.separate_files && results.open_read(path) && identify(results.file, there);
    if (!first.adds_itself) return;
    first.handed_over = place_of_rows(path, there);
    first.merged_before = static_cast<std::uint64_t>(results.file_size());
}

void start(instance& each, const mft_entries_ctx& ctx, const std::vector<std::string>& child_args,
           const std::string& temp_dir) {
    each.output = output_path(ctx, temp_dir, each.index);
    each.arguments = arguments_of(each, child_args);
    each.thread = std::make_unique<portable_thread>(run_child, &each);
}

// Those that have a range, in their order. With fewer records than instances that is the last one alone.
std::deque<instance> start_all(const mft_entries_ctx& ctx, std::uint32_t count,
                               const std::vector<std::string>& child_args, const std::string& temp_dir) {
    std::deque<instance> started;
    for (std::uint32_t index = ctx.mft_count < count ? count - 1 : 0; index < count; ++index) {
        instance planned = plan_instance(ctx, index, count);
        if (planned.range == 0) continue;
        if (!started.empty()) planned.handed_over = later_instance;
        if (started.empty()) hand_over_results(planned, ctx);
        start(started.emplace_back(std::move(planned)), ctx, child_args, temp_dir);
        if (interrupted()) break;
    }
    return started;
}

void wait_for(instance& each) {
    constexpr auto pause = std::chrono::milliseconds(5);
    while (each.thread->is_running() && !interrupted()) std::this_thread::sleep_for(pause);
    if (!interrupted()) each.thread.reset();
}

// "instance %2d done" for all below `end` that have not been named, in few writes: there is no limit to their number.
void name_up_to(std::uint32_t end, std::uint32_t& named) {
    constexpr std::size_t one_write = 65536;  // bytes
    std::string text;
    while (named < end) {
        text += numbered("instance %2d done\n", named++);
        if (named < end && text.size() < one_write) continue;
        write_standard_error(text);
        text.clear();
    }
}

// Only some shapes begin with a line of labels.
bool has_column_line(const mft_entries_ctx& ctx) {
    return !ctx.filepath_only && !ctx.find_mft && !ctx.format_multiline && !ctx.format_jsonl;
}

const char* words_of(merge_result result) {
    switch (result) {
        case merge_result::no_rows: return "no rows";
        case merge_result::header_too_long: return "its rows are lost, the header ahead of them is too long";
        case merge_result::unreadable: return "its results cannot be read to their end";
        case merge_result::not_written: return "the merged file takes no more";
        case merge_result::merged: break;
    }
    return nullptr;
}

// An instance that did not come to its end leaves a hole that nobody would see in the results.
void log_end(const instance& each, const diagnostic_log* log) {
    if (!each.end.started) {
        log_diag(log, "err: instance %u could not be started", each.index);
    } else if (each.end.status != 0) {
        log_diag(log, "err: instance %u ended with status %d, rows may be missing", each.index, each.end.status);
    }
}

// As the instance did it, with what that makes of quotes.
std::u16string temp_path(const instance& each) { return make_absolute(utf16_from_utf8(each.output)); }

merge_result merge_part(const instance& each, plain_file& part, const mft_entries_ctx& ctx, bool labelled) {
    const std::u16string& path = ctx.results_path_wide;
    const bool has_run_header = !ctx.run_header_text.empty();
    if (each.adds_itself) {
        const merge_result result = settle_results(path, each.merged_before, part, has_run_header);
        if (result != merge_result::no_rows) return result;  // nor any in its own results
    }
    if (!part.is_open) return merge_result::unreadable;
    return append_results(path, part, labelled && has_column_line(ctx), has_run_header);
}

// Settles an instance's rows in the merged file, moved there where it has not added them itself. `labelled`: the labels
// stand there already. False: the file is full.
bool merge(const instance& each, const mft_entries_ctx& ctx, bool& labelled) {
    const std::u16string path = temp_path(each);
    plain_file part;
    if (!each.end.started || !part.open_read(path))
        log_diag(ctx.log, "prob accessing %s - for merge", each.output.c_str());
    merge_result result = merge_part(each, part, ctx, labelled);
    labelled = labelled || result == merge_result::merged;
    if (each.end.status == merged_file_refused) result = merge_result::not_written;
    const char* const level = result == merge_result::no_rows ? "info" : "err";
    if (const char* words = words_of(result)) log_diag(ctx.log, "%s: instance %u: %s", level, each.index, words);
    part.close();
    remove_file(path);
    return result != merge_result::not_written;
}

// Instances and their temporary files go first; what they were copying they remove themselves.
[[noreturn]] void end_run(std::deque<instance>& started, const mft_entries_ctx& ctx) {
    stop_instances();
    for (instance& each : started) {
        each.thread.reset();
        if (!ctx.separate_files) remove_file(temp_path(each));
    }
    log_diag(ctx.log, "info: interrupted, all instances have been ended");
    end_interrupted();
}

}  // namespace

std::u16string merged_path() {
    const std::string text = handed_over().value_or(std::string());
    std::u16string path = utf16_from_utf8(text.substr(0, text.rfind(identity_mark)));
    file_identity there;
    const bool is_same = identify(path, there) && text == place_of_rows(path, there);
    return is_same ? path : std::u16string();
}

bool is_later_instance() { return handed_over() == later_instance; }

bool run_instances(mft_entries_ctx& ctx, std::uint32_t count, const std::vector<std::string>& child_args,
                   const std::string& temp_dir) {
    if (!measure_job(ctx)) return nothing_to_split();
    if (ctx.results_path.empty()) return false;
    if (!prepare_results(ctx)) return false;

    watch_interrupts();
    std::deque<instance> started = start_all(ctx, count, child_args, temp_dir);
    write_standard_error(numbered("%2d instances spawned\n", count));

    bool labelled = false, room = true;
    std::uint32_t named = 0;
    for (instance& each : started) {
        name_up_to(each.index, named);
        wait_for(each);
        if (interrupted()) end_run(started, ctx);
        name_up_to(each.index + 1, named);
        log_end(each, ctx.log);
        if (!ctx.separate_files) room = merge(each, ctx, labelled) && room;
    }
    if (interrupted()) end_run(started, ctx);
    name_up_to(count, named);
    return room || results_fail(ctx);
}
