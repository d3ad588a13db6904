#include "report/stream_digests.h"

#include "extract/digests.h"
#include "report/report_output.h"
#include "run/run_context.h"

bool is_unnamed_data(const attr_entry& attribute) {
    return attribute.name.empty() && attribute.label == "unnamed data";
}

void take_digests(const file_record& record, const path_entry& path, attr_key key, const attr_entry& attribute,
                  report_scratch& scratch, const mft_entries_ctx& ctx) {
    stream_state& stream = scratch.stream;
    stream.set_handled(key);
    stream.extracted_path = path.value.name;
    const si_entry* si = record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
    digest_stream(record, ctx, si, &attribute, stream);
}

void set_digest_texts(report_scratch& scratch, const mft_entries_ctx& ctx) {
    scratch.md5_text.clear();
    scratch.sha1_text.clear();
    if (ctx.want_md5) append_digest_text(scratch.md5_text, scratch.stream.md5_digest);
    if (ctx.want_sha1) append_digest_text(scratch.sha1_text, scratch.stream.sha1_digest);
}
