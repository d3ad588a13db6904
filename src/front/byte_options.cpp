// What the options that look at the bytes of files and records leave in the settings: pattern, signatures, object id,
// heads.

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "front/scanners.h"
#include "front/walk_effects.h"
#include "platform/console.h"
#include "run/run_context.h"
#include "walk/filters.h"

namespace {

// The items of a pattern; none when the text cannot be one.
std::vector<std::string> pattern_items(const std::string& text) {
    std::vector<std::string> items;
    for (const char delimiter : {' ', ',', ':'}) {
        if (text.find(delimiter) == std::string::npos) continue;
        split_on_char(text, delimiter, items, true);
        return items;
    }
    const bool single = text.size() == 2 || (text.size() < 5 && text.find('x') != std::string::npos);
    if (single) items.push_back(text);
    return items;
}

void want_head(mft_entries_ctx& ctx, std::uint32_t length) {
    if (ctx.head_length >= length) return;
    ctx.fetch_header = true;
    ctx.head_start = 0;
    ctx.head_length = length;
}

// Groups of hexadecimal digits, divided by single characters: 32, 16, 16, 16 and 48 bits. The first three lie in
// memory with their low byte first.
bool parse_object_id(std::string_view text, std::array<std::uint8_t, 16>& out) {
    constexpr std::size_t shortest = 22;
    if (text.size() < shortest) return false;
    constexpr std::size_t widths[] = {4, 2, 2, 2, 6};  // bytes
    std::size_t at = 0, target = 0;
    for (std::size_t group = 0; group < std::size(widths); ++group) {
        const std::string_view digits = text.substr(std::min(at, text.size()), 2 * widths[group]);
        const std::size_t count = std::min(digits.find_first_not_of("0123456789abcdefABCDEF"), digits.size());
        std::uint64_t value = 0;
        if (count == 0 || !parse_u64("x" + std::string(digits.substr(0, count)), value)) return false;
        for (std::size_t byte = 0; byte < widths[group]; ++byte) {
            const std::size_t shift = 8 * (group < 3 ? byte : widths[group] - 1 - byte);
            out[target++] = static_cast<std::uint8_t>(value >> shift);
        }
        at += count + 1;
    }
    return true;
}

}  // namespace

int take_pattern(mft_entries_ctx& ctx, const std::u16string& value, wide_list& list) {
    std::vector<std::uint8_t> bytes;
    for (const std::string& item : pattern_items(lowered_ascii(low_bytes(value)))) {
        const std::size_t x = item.find('x');
        std::uint64_t byte = 0;
        parse_u64("x" + (x == std::string::npos ? item : item.substr(x + 1)), byte);
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    if (bytes.empty()) {
        write_standard_error("Error: -filter_pattern option specified invalid argument, aborting\n");
        return -1;
    }
    ctx.filter_pattern_bytes = bytes;
    ctx.signature_filter = true;
    std::u16string number;
    if (take_value_wide("-scanstart", number, list)) parse_u64(low_bytes(number), ctx.scan_start);
    if (take_value_wide("-scansize", number, list)) parse_u64(low_bytes(number), ctx.scan_size);
    ctx.rules.push_back(make_rule(rule_pattern));
    ctx.rules.back().pattern = bytes;
    return 0;
}

int take_signatures(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    ctx.signature_filter = true;
    wide_list items;
    split_lowered(items, value);
    for (const std::u16string& item : items) {
        const signature_word* word = find_signature_word(item);
        if (word == nullptr) {
            write_standard_error("Error: -filter_sig option specified invalid option, aborting\n");
            log_diag_text(ctx.log, "err: -filter_sig: no such signature, it has no effect: " + utf8_from_utf16(item));
            continue;
        }
        ctx.signature_kind = static_cast<std::uint32_t>(word->kind);
        ctx.rules.push_back(make_rule(word->kind));
        want_head(ctx, word->head_length);
    }
    return 0;
}

int take_object_id(mft_entries_ctx& ctx, const std::u16string& value, wide_list&) {
    if (!parse_object_id(low_bytes(value), ctx.objid_value)) {
        write_standard_error("prob parsing " + utf8_from_utf16(value) + " as ObjID, aborting\n");
        return -1;
    }
    ctx.objid_wanted = true;
    return 0;
}

int include_header(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    ctx.fetch_header = true;
    ctx.head_length = 32;
    ctx.omit_cluster_info = false;
    return 0;
}

int ready_rules(mft_entries_ctx& ctx, const std::u16string&, wide_list&) {
    prepare_rules(ctx);
    return 0;
}
