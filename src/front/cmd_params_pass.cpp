#include "front/cmd_params_pass.h"

#include "base/numbers.h"
#include "base/text.h"
#include "front/filter_terms.h"
#include "front/scanners.h"
#include "platform/console.h"
#include "platform/host_paths.h"
#include "report/result_stream.h"
#include "report/time_text.h"
#include "run/run_context.h"

namespace {

// Each option's effect. False ends the pass at its place: the option has said why.
using apply_option = bool (*)(cmd_params& params, const std::string& value);

enum class option_form { flag, value };

struct cmd_option {
    const char* name;
    option_form form;
    apply_option apply;
    const char* other_name = nullptr;  // asked for where the first is absent
};

struct format_flags {
    bool xml = false, csv = false, l2t = false, csvgen = false, bodyfile = false, multiline = false, jsonl = false;
};

void set_formats(cmd_params& params, const format_flags& on) {
    params.format_xml = on.xml;
    params.format_csv = on.csv;
    params.format_l2t = on.l2t;
    params.format_csvgen = on.csvgen;
    params.format_bodyfile = on.bodyfile;
    params.format_multiline = on.multiline;
    params.format_jsonl = on.jsonl;
}

// The separator, and the pair of bytes that keeps it out of text cells.
void set_separator(cmd_params& params, std::string_view text) {
    const std::string lower = lowered_ascii(text);
    params.separator = text;
    params.replace_from = params.replace_to = '\0';
    if (lower.find('|') != std::string::npos) {
        params.replace_from = '|';
        params.replace_to = ';';
    } else if (lower.find(',') != std::string::npos) {
        params.replace_from = ',';
        params.replace_to = ' ';
    } else if (lower == "tab" || lower == "\\t") {
        params.separator = "\t";
    }
}

bool format_csv(cmd_params& params, const std::string&) {
    set_formats(params, {.csv = true, .csvgen = params.format_csvgen});
    set_separator(params, ",");
    params.no_whitespace = !params.pair_datetime;
    return true;
}

bool format_csvgen(cmd_params& params, const std::string&) {
    set_formats(params, {.csvgen = true});
    set_separator(params, ",");
    params.no_whitespace = true;
    return true;
}

// `has_labels`: a header goes ahead of the rows.
bool take_shape(cmd_params& params, const format_flags& on, bool has_labels, std::string_view separator) {
    set_formats(params, on);
    params.header_pending = has_labels;
    set_separator(params, separator);
    return true;
}

// The first two leave -csvgen alone, as -csv does.
bool format_l2t(cmd_params& params, const std::string&) {
    return take_shape(params, {.l2t = true, .csvgen = params.format_csvgen}, true, ",");
}

bool format_bodyfile(cmd_params& params, const std::string&) {
    return take_shape(params, {.csvgen = params.format_csvgen, .bodyfile = true}, true, "|");
}

bool format_xml(cmd_params& params, const std::string&) { return take_shape(params, {.xml = true}, false, ""); }

bool format_multiline(cmd_params& params, const std::string&) {
    return take_shape(params, {.multiline = true}, true, "");
}

// Every byte of a text stands as it is: JSON has escapes of its own.
bool format_jsonl(cmd_params& params, const std::string&) { return take_shape(params, {.jsonl = true}, false, ""); }

// The words for a results file or a log that cannot be had.
bool refuse_output(const std::string& path) {
    write_standard_error("prob opening file " + path + " for output, aborting\n");
    return false;
}

bool leads_to_disk(const std::string& path) {
    file_identity target;
    return identify(utf16_from_utf8(path), target) && target.is_device;
}

// Held until all sources are known: see the option reader.
bool open_diagnostics(cmd_params& params, const std::string& value) {
    if (leads_to_disk(value)) return refuse_output(value);
    auto stream = std::make_unique<uni::ofstream>();
    stream->open_held(utf16_from_utf8(value));
    if (!*stream) return true;
    params.diags_path = value;
    params.diags_log.stream = std::move(stream);
    log_diag_text(&params.diags_log, params.command_line);
    return true;
}

void strip_alias_pair(std::string& first, std::string& second) {
    for (std::string* side : {&first, &second}) {
        if (side->ends_with('\\')) side->pop_back();
    }
    std::erase(second, '"');
}

bool add_aliases(flat_map<std::string, std::string>& aliases, const std::string& value, bool are_paths) {
    std::vector<std::string> items;
    split_on_char(value, '|', items, true);
    if (items.size() % 2 != 0) {
        write_standard_error("imbalanced alias to true pathfiles, aborting\n");
        return false;
    }
    for (std::size_t index = 0; index + 1 < items.size(); index += 2) {
        std::string first = lowered_ascii(expand_variables(items[index]));
        std::string second = expand_variables(items[index + 1]);
        if (are_paths) strip_alias_pair(first, second);
        bool made = false;
        std::string& target = aliases.insert(first, made);
        if (made) target = second;
    }
    return true;
}

bool refuse_database(cmd_params&, const std::string&) {
    write_standard_error("This option is not offered in this build\n");
    return false;
}

bool set_results_file(cmd_params& params, const std::string& value) {
    params.results_path = expand_variables(value);
    params.results_path_given = true;
    uni::ofstream test_open;
    test_open.open_held(utf16_from_utf8(params.results_path));
    if (test_open) return true;
    const std::string why = system_error_text(last_system_error());
    log_diag_text(&params.diags_log, "err: cannot open " + params.results_path + " for output: " + why);
    return refuse_output(params.results_path);
}

bool set_results_dir(cmd_params& params, const std::string& value) {
    params.results_dir = expand_variables(value);
    params.results_path = params.results_dir;
    params.results_dir_given = true;
    return true;
}

bool remove_white_space(cmd_params& params, const std::string&) {
    params.no_whitespace = true;
    params.blank_before_time = false;
    std::erase(params.separator, ' ');
    return true;
}

void take_format(const cmd_params& params, std::string& format, const std::string& value, bool valid) {
    if (valid) {
        format = lowered_ascii(value);
    } else {
        const std::string words = "invalid " + value + ", using default format";
        write_standard_error(words + "\n");
        log_diag_text(&params.diags_log, "err: " + words);
    }
}

bool set_date_format(cmd_params& params, const std::string& value) {
    take_format(params, params.date_format, value, is_date_format(value));
    return true;
}

bool set_time_format(cmd_params& params, const std::string& value) {
    take_format(params, params.time_format, value, is_time_format(value));
    return true;
}

template <bool cmd_params::*... members>
bool switch_on(cmd_params& params, const std::string&) {
    ((params.*members = true), ...);
    return true;
}

template <bool cmd_params::*member>
bool switch_off(cmd_params& params, const std::string&) {
    params.*member = false;
    return true;
}

template <std::string cmd_params::*text, bool cmd_params::*... members>
bool keep_text(cmd_params& params, const std::string& value) {
    params.*text = value;
    return switch_on<members...>(params, value);
}

// In the order of the calls, which decides where two options write the same setting.
using params_t = cmd_params;
constexpr cmd_option cmd_options[] = {
    {"-pair_datetime", option_form::flag, switch_on<&params_t::pair_datetime>},
    {"-diags", option_form::value, open_diagnostics},
    {"-csv", option_form::flag, format_csv},
    {"-csvgen", option_form::flag, format_csvgen},
    {"-csvl2t", option_form::flag, format_l2t},
    {"-bodyfile", option_form::flag, format_bodyfile},
    {"-xml", option_form::flag, format_xml},
    {"-multiline", option_form::flag, format_multiline},
    {"-jsonl", option_form::flag, format_jsonl},
    // Its effect is the driver's, which writes the run's header ahead of the passes.
    {"-no_run_header", option_form::flag, switch_on<>},
    {"-alias", option_form::value, [](params_t& p, const std::string& v) { return add_aliases(p.aliases, v, false); }},
    {"-aliaspath", option_form::value,
     [](params_t& p, const std::string& v) { return add_aliases(p.alias_paths, v, true); }},
    {"-gzip", option_form::flag, switch_on<&params_t::gzip_wanted, &params_t::gzip_level_flag>},
    {"-zlib", option_form::flag, switch_on<&params_t::gzip_wanted, &params_t::zlib_wanted>},
    {"-threads", option_form::value, [](params_t& p, const std::string& v) { return parse_i32(v, p.threads), true; }},
    {"-zlibex", option_form::value,
     keep_text<&params_t::zlibex_text, &params_t::gzip_wanted, &params_t::zlibex_wanted>},
    {"-sqlite", option_form::value, refuse_database},
    {"-signal", option_form::value, keep_text<&params_t::signal_name>},
    {"-hostname", option_form::value, keep_text<&params_t::hostname, &params_t::hostname_given>},
    {"-username", option_form::value, keep_text<&params_t::username, &params_t::username_given>},
    {"-cpuinst", option_form::value,
     [](params_t& p, const std::string& v) {
         std::uint32_t number = 0;
         parse_u32(v, number);
         p.instance_number = static_cast<std::int32_t>(number);
         return true;
     }},
    {"-cpu", option_form::value, [](params_t& p, const std::string& v) { return parse_u32(v, p.cpu_count), true; }},
    {"-fragment_files", option_form::value,
     [](params_t& p, const std::string& v) {
         parse_u32(v, p.fragment_count);
         p.separate_files = true;
         return true;
     }},
    {"-separate_files", option_form::flag, switch_on<&params_t::separate_files>},
    {"-out", option_form::value, set_results_file, "-outfile"},
    {"-outdir", option_form::value, set_results_dir},
    {"-profile", option_form::flag, switch_on<&params_t::profile_wanted>},
    {"-pipe", option_form::flag, switch_on<&params_t::pipe_flag>},
    {"-filter", option_form::value,
     [](params_t& p, const std::string& v) {
         p.generic_filter_terms = parse_filter_terms(v);
         return true;
     }},
    {"-base10", option_form::flag, switch_off<&params_t::hex_numbers>},
    {"-base16", option_form::flag, switch_on<&params_t::hex_numbers>},
    {"-csv_separator", option_form::value, [](params_t& p, const std::string& v) { return set_separator(p, v), true; }},
    {"-no_whitespace", option_form::flag, remove_white_space},
    {"-dateformat", option_form::value, set_date_format},
    {"-timeformat", option_form::value, set_time_format},
    {"-verbose", option_form::flag, switch_on<&params_t::verbose>, "-v"},
    {"-quiet", option_form::flag, switch_off<&params_t::show_progress>},
};

bool take_option(const cmd_option& option, std::string& value, std::vector<std::string>& args) {
    for (const char* name : {option.name, option.other_name}) {
        if (name == nullptr) continue;
        if (option.form == option_form::flag ? take_flag(name, args) : take_value(name, value, args)) return true;
    }
    return false;
}

// What follows the last separator of the program's path, without its extension.
std::string name_of_tool(const std::string& program) {
    const std::string name = program.substr(program.find_last_of("/\\") + 1);
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

}  // namespace

bool parse_cmd_params(cmd_params& params, std::vector<std::string>& args) {
    if (args.empty()) return false;
    if (params.command_line.empty()) params.command_line = joined(args, '"');
    if (params.tool_name.empty()) params.tool_name = name_of_tool(args.front());
    for (const cmd_option& option : cmd_options) {
        std::string value;
        if (take_option(option, value, args) && !option.apply(params, value)) return false;
    }
    return true;
}
