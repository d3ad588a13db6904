// Making the entries of the filter tables, and describing them for lists of the rules.

#include <algorithm>

#include "base/numbers.h"
#include "base/text.h"
#include "walk/filters.h"

namespace {

// Kinds that no option makes are kept to complete the vocabulary.
enum described_kind : std::uint32_t {
    any_with_extension = 0,
    specific_path = 2,
    any_in_directory = 4,
    any_with_signature = 6,
    any_in_directory_tree = 7,
    kind_offset = 32768,
};

struct signature_description {
    const char* word;
    const char* file_text;
    const char* suffix;
};

constexpr signature_description signature_descriptions[] = {
    {"mz", "All executable/library files", " [exe/lib]"},
    {"lnk", "All LNK files", " [4c 00 00 00 01 14 02 ..]"},
    {"evt", "All EventLog Files", " [ElfFile or 30 00 00 00 4c ..]"},
    {"sqlite", "All SQLite3 Files", " [SQLite]"},
    {"hive", "All Registry Hives", " [regf]"},
};

std::string inode_word(const filter_entry& entry, const std::u16string* stream) {
    std::string text = "inode(";
    append_decimal(text, entry.inode);
    if (stream != nullptr) text += ":" + utf8_from_utf16(*stream);
    return text + ")";
}

std::string with_note(const std::string& text, const filter_entry& entry) {
    return entry.note.empty() ? text : text + " (" + entry.note + ")";
}

void describe_directory_inode(filter_entry& entry) {
    entry.dir_text = "path related to inode";
    entry.file_text = inode_word(entry, entry.has_stream ? &entry.text : nullptr);
    if (entry.has_stream) {
        entry.description = entry.note.empty() ? "Specific named file" : entry.note;
    } else {
        entry.description = with_note("Any file in directory", entry);
    }
}

void describe_file_inode(filter_entry& entry) {
    entry.dir_text = "path related to inode";
    const bool named = entry.has_stream && !entry.streams.empty();
    entry.file_text = inode_word(entry, named ? &entry.streams.front() : nullptr);
    entry.description = with_note("Specific file", entry);
}

void describe_path(filter_entry& entry) {
    const std::string text = utf8_from_utf16(entry.text);
    const bool drive = text.size() > 2 && text[1] == ':' && text[2] == '\\';
    const bool relative = text.size() > 2 && text[0] != '\\' && text[0] != '/' && text[0] != '.' && text[1] != ':';
    entry.dir_text = relative ? ".\\" : "";
    const std::size_t last = text.rfind('\\');
    if (last != std::string::npos) {
        const std::string directory = text.substr(0, last);
        entry.dir_text = drive ? directory : entry.dir_text + directory;
    }
    entry.file_text = last == std::string::npos ? text : text.substr(last + 1);
    entry.description = "Specific path/filename";
}

void describe_signature(filter_entry& entry) {
    entry.description = "Any file with this signature";
    const std::string word = utf8_from_utf16(entry.text);
    for (const signature_description& each : signature_descriptions) {
        if (word != each.word) continue;
        entry.file_text = each.file_text;
        entry.description += each.suffix;
    }
}

}  // namespace

void add_stream(std::vector<std::u16string>& streams, const std::u16string& stream) {
    const auto place = std::lower_bound(streams.begin(), streams.end(), stream);
    if (place == streams.end() || *place != stream) streams.insert(place, stream);
}

void make_name_entry(filter_entry& entry, const std::u16string& text, bool partial, std::uint32_t kind) {
    entry = {};
    entry.partial = partial;
    entry.kind = kind;
    entry.text = text;
    entry.note = utf8_from_utf16(text);
    const std::size_t colon = text.find(u':');
    entry.has_stream = colon != std::u16string::npos;
    add_stream(entry.streams, entry.has_stream ? lowered(std::u16string_view(text).substr(colon + 1)) : text);
    describe_filter_entry(entry);
}

void make_filter_entry(filter_entry& entry, std::uint64_t inode, const std::u16string& text, std::uint32_t kind) {
    entry = {};
    entry.inode = inode;
    entry.kind = kind;
    const std::size_t colon = text.find(u':');
    if (!text.empty()) {
        entry.text = text;
        entry.note = utf8_from_utf16(text);
    }
    // Kept: a colon is a drive's only if a back slash and "//" both follow it at once, which no text can do, so any
    // text with a colon names a stream.
    if (colon != std::u16string::npos) {
        entry.by_stream = entry.has_stream = true;
        add_stream(entry.streams, lowered(std::u16string_view(text).substr(colon + 1)));
    } else if (!text.empty()) {
        entry.whole = true;
        add_stream(entry.streams, text);
    }
    describe_filter_entry(entry);
}

void add_inode_entry(flat_map<std::uint64_t, filter_entry>& table, std::uint64_t inode, const std::u16string& stream,
                     std::uint32_t kind) {
    bool made = false;
    filter_entry& entry = table.insert(inode, made);
    if (made) {
        make_filter_entry(entry, inode, stream, kind);
    } else if (!stream.empty()) {
        add_stream(entry.streams, stream);
    }
    if (stream.empty()) {
        entry.whole = true;
    } else {
        // Kept: making the entry has set `whole` already, so a stream without a colon selects the whole record too.
        entry.by_stream = entry.has_stream = true;
    }
}

void describe_filter_entry(filter_entry& entry) {
    const std::uint32_t kind = entry.kind >= kind_offset ? entry.kind - kind_offset : entry.kind;
    const std::string text = utf8_from_utf16(entry.text);
    entry.dir_text = "*";
    entry.file_text.clear();
    entry.description.clear();
    switch (kind) {
        case any_in_directory:
        case any_in_directory_tree:
            entry.dir_text = text;
            entry.description = "Any file in directory";
            break;
        case entry_directory: describe_directory_inode(entry); break;
        case entry_file: describe_file_inode(entry); break;
        case specific_path: describe_path(entry); break;
        case entry_full_name:
            entry.file_text = text;
            entry.description = "Specific filename";
            break;
        case entry_partial_name:
            entry.file_text = "*" + text + "*";
            entry.description = "Partial filename";
            break;
        case any_with_extension:
            entry.file_text = "*." + text;
            entry.description = "Any file with extension";
            break;
        case any_with_signature: describe_signature(entry); break;
        default: break;
    }
}

wildcard_pattern compile_wildcard(const std::u16string& text) {
    wildcard_pattern pattern;
    std::string literal;
    std::size_t gap = 0;
    const auto close_segment = [&] {
        pattern.min_length += literal.size() + gap;
        pattern.segments.push_back({literal, !literal.empty(), static_cast<std::uint16_t>(gap)});
        literal.clear();
        gap = 0;
    };
    for (const char16_t unit : lowered(text)) {
        if (unit == u'?') {
            gap += 2;
            continue;
        }
        if (gap > 0) close_segment();
        literal += static_cast<char>(unit & 0xFF);
        literal += static_cast<char>(unit >> 8);
    }
    if (!literal.empty()) close_segment();
    return pattern;
}
