// The bare list of -filepath_only: a path a line, no header, no cell formatting.

#include "base/text.h"
#include "report/default_report.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

constexpr std::string_view root_part = "[root]";

const name_entry* name_in(const file_record& record, std::uint64_t parent) {
    for (const name_entry* name : names_in(record, parent)) {
        if (!name->is_dos) return name;
    }
    return nullptr;
}

}  // namespace

void write_path_line(const report_call& call, report_output& out, const mft_entries_ctx&) {
    if (call.path == nullptr || call.record.is_directory() || call.path->value.path.empty()) return;
    const name_entry* name = name_in(call.record, call.path->key);
    if (name == nullptr) return;
    const std::string& path = call.path->value.path;
    if (path.find("<path corrupted>") != std::string::npos) return;
    text_buffer& text = out.scratch.path_and_name;
    text.clear();
    text += std::string_view(path).substr(path.find(root_part) == std::string::npos ? 0 : root_part.size());
    append_utf8(text, name->name);
    if (has_stream_name(call.attribute)) {
        text += ':';
        append_utf8(text, call.attribute->name);
    }
    text += '\n';
    write_line(out, text.view());
}
