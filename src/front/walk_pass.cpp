#include "front/walk_pass.h"

#include "base/numbers.h"
#include "base/text.h"
#include "front/scanners.h"
#include "front/walk_effects.h"
#include "run/run_context.h"

namespace {

enum class step_form {
    always,  // no option: the step is taken at its place
    flag,
    value,
    repeated_value,
};

// Of the steps of one group only the first that is there is taken; the options of the others stay in the list.
enum class step_group { none, live_or_record_file, whole_source };

struct walk_step {
    const char* name;
    step_form form;
    walk_effect apply;
    step_group group = step_group::none;
};

using effect_value = const std::u16string&;

template <auto... members>
int switch_on(mft_entries_ctx& ctx, effect_value, wide_list&) {
    ((ctx.*members = true), ...);
    return 0;
}

template <bool mft_settings::*member>
int switch_off(mft_entries_ctx& ctx, effect_value, wide_list&) {
    ctx.*member = false;
    return 0;
}

int set_verbose(mft_entries_ctx& ctx, effect_value, wide_list&) {
    ctx.verbose = true;
    return 0;
}

template <wide_list mft_settings::*target>
int keep_list(mft_entries_ctx& ctx, effect_value value, wide_list&) {
    split_lowered(ctx.*target, value);
    return 0;
}

template <std::uint64_t mft_settings::*target>
int keep_size(mft_entries_ctx& ctx, effect_value value, wide_list&) {
    if (!parse_size(low_bytes(value), ctx.*target)) tell_no_number(ctx, "a limit of size", value);
    return 0;
}

using settings = mft_settings;
using enum step_form;
constexpr step_group live = step_group::live_or_record_file, whole = step_group::whole_source;

// The whole pass in the order of its calls, which decides where two options write the same setting.
constexpr walk_step walk_steps[] = {
    {"-hide_dos_fntimes", flag, switch_on<&settings::hide_dos_fntimes>},
    {"-thorough", flag, switch_on<&record_source::thorough>},
    {nullptr, always, take_separator},
    {"-default_output", flag, choose_default_output},
    {"-filepath_only", flag, choose_path_list},
    {"-csvperpath", flag, choose_per_path},
    {nullptr, always, settle_formats},
    {"-verbose", flag, set_verbose},
    {nullptr, always, place_results},
    {"-mftstart", value, take_first_record},
    {"-mftrange", value, take_record_count},
    {"-partition", value, take_partition, live},
    {"-mftfile", value, take_mft_file, live},
    {"-vss", value, take_shadow_copy, live},

    {"-raw", flag, switch_on<&settings::raw_copy>},
    {"-skip_sparse_clusters", flag, switch_on<&settings::skip_sparse>},
    {"-filter_deleted_files", flag, switch_on<&settings::deleted_only, &settings::and_logic>},
    {"-use_orig_ext", flag, switch_on<&settings::use_orig_ext>},
    {"-action_copy_files", value, copy_files},
    {"-filter_start_time", value, take_start_time},
    {"-filter_stop_time", value, take_stop_time},
    {"-filter_wildcard", repeated_value, take_wildcard},
    {"-filter_ext", value, take_extensions},
    {"-filter_fullname", value, take_full_names},
    {"-filter_name", value, take_partial_names},
    {"-offset", value, take_volume_offset},
    {"-action_include_clusterinfo", flag, switch_off<&settings::omit_cluster_info>},
    {"-action_include_header", flag, include_header},
    {"-hexdump", flag, switch_on<&settings::hexdump>},
    {"-filter_file", value, keep_list<&settings::filter_files>},
    {"-filter_dir_recurse", value, keep_list<&settings::filter_dirs_recursive>},
    {"-filter_dir", value, keep_list<&settings::filter_dirs>},
    {"-filter_file", value, keep_list<&settings::filter_files>},  // kept: a second one replaces the first
    {"-filter_dir_inode", value, take_directory_inodes},
    {"-filter_inode", value, take_file_inodes},
    {"-filerecord_offset", flag, switch_on<&settings::record_offset_wanted>},
    {"-filter_pattern", value, take_pattern},
    {"-filter_unalloc_clusters", flag, switch_on<&settings::unalloc_phase, &settings::and_logic>},
    {"-filter_all_clusters", flag, switch_on<&settings::all_clusters>},
    {"-filter_deleted_files_all", flag, switch_on<&settings::deleted_all>},
    {"-filter_AND_logic", flag, switch_on<&settings::and_logic>},
    {"-filter_sig", value, take_signatures},
    {"-find_objid", value, take_object_id},
    {"-filter_max_size", value, keep_size<&settings::max_size>},
    {"-filter_min_size", value, keep_size<&settings::min_size>},
    {"-find_mft", value, dump_record},
    {"-action_include_header_ex", value, switch_on<&settings::fetch_header>},
    {"-jp", flag, switch_on<&settings::jp_flag>},
    {"-lnk", flag, switch_on<&settings::lnk_flag>},
    {nullptr, always, ready_rules},

    {"-image", value, take_image, whole},
    {"-drivenum", value, take_drive, whole},
    {"-vmdk", value, take_vmdk, whole},
    {"-indxfile", value, take_index_file, whole},
    {nullptr, always, require_source, whole},
};

bool take_step(const walk_step& step, std::u16string& value, wide_list& list) {
    if (step.form == always) return true;
    return step.form == flag ? take_flag_wide(step.name, list) : take_value_wide(step.name, value, list);
}

}  // namespace

void split_lowered(wide_list& out, const std::u16string& value) { split_list(out, lowered(value), "|,;"); }

void tell_no_number(const mft_entries_ctx& ctx, const char* option, const std::u16string& value, const char* instead) {
    log_diag_text(ctx.log, "err: " + std::string(option) + ": no number, " + instead + ": " + utf8_from_utf16(value));
}

int parse_walk_options(mft_entries_ctx& ctx, wide_list& list) {
    step_group taken = step_group::none;  // groups stand apart from each other: the last one is enough to know
    for (const walk_step& step : walk_steps) {
        if (step.group != step_group::none && step.group == taken) continue;
        std::u16string value;
        while (take_step(step, value, list)) {
            const int result = step.apply(ctx, value, list);
            if (result != 0) return result;
            if (step.group != step_group::none) taken = step.group;
            if (step.form != repeated_value) break;
        }
    }
    return 0;
}
