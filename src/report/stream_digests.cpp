#include "report/stream_digests.h"

#include <algorithm>

#include "report/report_output.h"
#include "run/run_context.h"

namespace {

constexpr std::size_t md5_digits = 32, sha1_digits = 40;

}  // namespace

bool is_unnamed_data(const attr_entry& attribute) {
    return attribute.name.empty() && attribute.label == "unnamed data";
}

void forget_digested(report_scratch& scratch) { scratch.digested.clear(); }

bool first_sight(attr_key stream, report_scratch& scratch) {
    std::vector<attr_key>& digested = scratch.digested;
    if (std::find(digested.begin(), digested.end(), stream) != digested.end()) return false;
    digested.push_back(stream);
    return true;
}

bool take_digests(const file_record&, const attr_entry&, report_scratch& scratch, const mft_entries_ctx&) {
    scratch.md5_text.clear();
    scratch.sha1_text.clear();
    return false;
}

void show_zero_digests(report_scratch& scratch) {
    scratch.md5_text.assign(md5_digits, '0');
    scratch.sha1_text.assign(sha1_digits, '0');
}
