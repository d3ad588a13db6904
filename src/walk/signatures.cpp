// Signature rules: the built-in matcher over the head bytes of a stream, and the words that name its kinds.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/text.h"
#include "run/run_context.h"
#include "walk/filters.h"

namespace {

bool starts_with(byte_view bytes, const void* expected, std::size_t count) {
    return bytes.size >= count && std::memcmp(bytes.data, expected, count) == 0;
}

// Header of a program for DOS; any other begins with one.
struct mz_at {
    enum : std::size_t {
        relocation_count = 6,   // 2
        relocation_table = 24,  // 2  its offset
        pe_offset = 60,         // 4
        size = 64,
    };
};

bool is_mz(byte_view bytes) { return bytes.size >= mz_at::size && starts_with(bytes, "MZ", 2); }

bool is_16bit_mz(byte_view bytes) {
    const std::uint16_t relocation_table = bytes.u16(mz_at::relocation_table);
    return is_mz(bytes) && bytes.u16(mz_at::relocation_count) != 0 && relocation_table != 0 &&
           relocation_table < mz_at::size;
}

constexpr std::size_t coff_header = 24;  // the "PE" mark included
constexpr std::size_t optional_header = 224;
constexpr std::uint32_t pe_mark = 17744;  // "PE", two zero bytes
constexpr std::uint16_t pe32_magic = 267, pe32_plus_magic = 523;

bool is_pe(byte_view bytes) {
    const std::uint64_t pe_offset = bytes.u32(mz_at::pe_offset);
    return is_mz(bytes) && bytes.size >= pe_offset + coff_header + optional_header && bytes.u32(pe_offset) == pe_mark;
}

bool is_pe_with_magic(byte_view bytes, std::uint16_t magic) {
    return is_pe(bytes) && bytes.u16(std::size_t{bytes.u32(mz_at::pe_offset)} + coff_header) == magic;
}

bool is_pe_of_32_bits(byte_view bytes) { return is_pe_with_magic(bytes, pe32_magic); }
bool is_pe_of_64_bits(byte_view bytes) { return is_pe_with_magic(bytes, pe32_plus_magic); }

bool is_hive(byte_view bytes) { return bytes.size >= 16 && starts_with(bytes, "regf", 4); }

bool is_event_log(byte_view bytes) {
    if (bytes.size < 16) return false;
    return starts_with(bytes, "\x30\0\0\0LfLe", 8) || starts_with(bytes, "ElfFile", 7);
}

bool is_sqlite(byte_view bytes) { return bytes.size >= 16 && starts_with(bytes, "SQLite", 6); }

bool is_shell_link(byte_view bytes) {
    constexpr std::uint8_t head[16] = {0x4c, 0, 0, 0, 1, 0x14, 2, 0, 0, 0, 0, 0, 0xc0, 0, 0, 0};
    return starts_with(bytes, head, sizeof head);
}

// One line for each word of -filter_sig: its kind, the head bytes that its test wants, the test, the word in results.
constexpr signature_word signature_words[] = {
    {"mz", rule_mz, 64, is_mz, "MZ"},
    {"16bit_mz", rule_mz_16bit, 64, is_16bit_mz, "MZ"},
    {"32bit_pe", rule_pe_32bit, 512, is_pe_of_32_bits, "MZ"},
    {"64bit_pe", rule_pe_64bit, 512, is_pe_of_64_bits, "MZ"},
    {"pe", rule_pe, 512, is_pe, "MZ"},
    {"hive", rule_hive, 16, is_hive, "RegistryHive"},
    {"evt", rule_evt, 16, is_event_log, "EventLog"},
    {"sqlite", rule_sqlite, 16, is_sqlite, "SQLite"},
    {"lnk", rule_lnk, 16, is_shell_link, "lnk"},
};

const signature_word* word_of_kind(std::int32_t kind) {
    const auto found = std::find_if(std::begin(signature_words), std::end(signature_words),
                                    [kind](const signature_word& each) { return each.kind == kind; });
    return found == std::end(signature_words) ? nullptr : found;
}

// A pattern rule is stored and never compared: it matches nothing.
bool match_signature(const filter_rule& rule, byte_view bytes) {
    if (bytes.data == nullptr || bytes.size == 0) return false;
    const signature_word* word = word_of_kind(rule.kind);
    return word != nullptr && word->matches(bytes);
}

}  // namespace

const signature_word* find_signature_word(const std::u16string& word) {
    const std::string narrow = utf8_from_utf16(word);
    const auto found = std::find_if(std::begin(signature_words), std::end(signature_words),
                                    [&narrow](const signature_word& each) { return narrow == each.word; });
    return found == std::end(signature_words) ? nullptr : found;
}

filter_rule make_rule(rule_kind kind) {
    filter_rule rule;
    rule.kind = kind;
    rule.match = match_signature;
    return rule;
}

void prepare_rules(mft_entries_ctx& ctx) {
    for (filter_rule& rule : ctx.rules) rule.usable = rule.kind >= 1 && rule.kind <= 200 && rule.match != nullptr;
}

const char* signature_text(std::int32_t kind) {
    const signature_word* word = word_of_kind(kind);
    return word == nullptr ? "" : word->text;
}
