#include "report/stream_digests.h"

#include <algorithm>

#include "base/numbers.h"
#include "front/run_context.h"
#include "report/report_scratch.h"

namespace {

constexpr std::size_t md5_digits = 32, sha1_digits = 40;

}  // namespace

bool is_unnamed_data(const attr_entry& attribute) {
    return attribute.name.empty() && attribute.label == "unnamed data";
}

void forget_digested(mft_entries_ctx& ctx) { scratch_of(ctx).digested.clear(); }

bool first_sight(attr_key stream, mft_entries_ctx& ctx) {
    std::vector<attr_key>& digested = scratch_of(ctx).digested;
    if (std::find(digested.begin(), digested.end(), stream) != digested.end()) return false;
    digested.push_back(stream);
    return true;
}

bool take_digests(const file_record& record, const attr_entry& attribute, mft_entries_ctx& ctx) {
    report_scratch& scratch = scratch_of(ctx);
    scratch.md5_text.clear();
    scratch.sha1_text.clear();
    (void)record;
    (void)attribute;
    return false;
}

void show_zero_digests(mft_entries_ctx& ctx) {
    scratch_of(ctx).md5_text.assign(md5_digits, '0');
    scratch_of(ctx).sha1_text.assign(sha1_digits, '0');
}
