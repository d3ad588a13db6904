// What each option of the program's own pass does to the settings, by theme; one file each.
// Called by the table of the pass (walk_pass.cpp) alone.
// Knows no order: where two options write the same setting, the table decides.
#pragma once

#include <string>
#include <vector>

struct mft_entries_ctx;

using wide_list = std::vector<std::u16string>;

// Of every effect: `value` is what stood behind the option, `list` what no option has taken yet. 0 to go on; -1, or -3
// without a source, ends the pass: the effect has said why.
using walk_effect = int (*)(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

// The lower-cased items of a list, as every option with a list reads it.
void split_lowered(wide_list& out, const std::u16string& value);

// For -diags: the value of an option, or an item of it, is no number, and what comes of it.
void tell_no_number(const mft_entries_ctx& ctx, const char* option, const std::u16string& value,
                    const char* instead = "it has no effect");

// shape_options.cpp: report shapes and results.
int take_separator(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int choose_default_output(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int choose_path_list(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int choose_per_path(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int settle_formats(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int place_results(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int dump_record(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

// source_options.cpp: sources, and what is read of them.
int take_first_record(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_record_count(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_partition(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_mft_file(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_shadow_copy(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_volume_offset(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_image(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_drive(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_vmdk(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_index_file(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int require_source(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

// filter_options.cpp: names, inodes and times.
int take_start_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_stop_time(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_wildcard(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_extensions(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_partial_names(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_full_names(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_directory_inodes(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_file_inodes(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

// byte_options.cpp: what looks at the bytes of files and records.
int take_pattern(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_signatures(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int take_object_id(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int include_header(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
int ready_rules(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);

// copy_options.cpp: copying files out.
int copy_files(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list);
