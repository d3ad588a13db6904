#include "front/script_file.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "base/text.h"
#include "front/scanners.h"
#include "sources/plain_file.h"

namespace {

enum class line_ends { none, cr_lf, lf_cr, lf, cr, mixed };

constexpr std::size_t style_window = 1024;  // bytes looked at to tell the line ends
// Guards: a larger file is no script. Each argument is held several times over in the passes, and costs many times
// its letters when they are few.
constexpr std::int64_t largest_script = 4 << 20;
constexpr std::size_t most_tokens = 65'536;

line_ends style_of(std::string_view text) {
    line_ends style = line_ends::none;
    // The window ends the scan, not the pair: the second byte of a line end may lie behind it.
    for (std::size_t at = 0; at < std::min(text.size(), style_window); ++at) {
        if (text[at] != '\r' && text[at] != '\n') continue;
        const char next = at + 1 < text.size() ? text[at + 1] : '\0';
        line_ends found = text[at] == '\r' ? line_ends::cr : line_ends::lf;
        if (text[at] == '\r' && next == '\n') found = line_ends::cr_lf;
        if (text[at] == '\n' && next == '\r') found = line_ends::lf_cr;
        if (found == line_ends::cr_lf || found == line_ends::lf_cr) ++at;
        if (style != line_ends::none && style != found) return line_ends::mixed;
        style = found;
    }
    return style;
}

// Calls `take` for each line that is not empty, until it says false.
template <class call>
void for_each_line(std::string text, const call& take) {
    const line_ends style = style_of(text);
    if (style == line_ends::none || style == line_ends::mixed) return;
    if (style == line_ends::lf_cr) std::replace(text.begin(), text.end(), '\n', ' ');
    const char end = style == line_ends::cr || style == line_ends::lf_cr ? '\r' : '\n';
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t to = std::min(text.find(end, from), text.size());
        const std::string_view line = trimmed(std::string_view(text).substr(from, to - from));
        if (!line.empty() && !take(line)) return;
        from = to + 1;
    }
}

bool is_white(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::vector<std::string> words_of(std::string_view line) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < line.size();) {
        if (is_white(line[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < line.size() && !is_white(line[end])) ++end;
        words.emplace_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

// Joins what stands between double quotes. Runs of blanks inside have become one; a value that is not closed is
// dropped.
void append_unquoted(std::vector<std::u16string>& tokens, const std::vector<std::string>& words) {
    std::string open_value;
    bool open = false;
    for (const std::string& word : words) {
        const bool closes = word.back() == '"';
        if (!open && word.front() != '"') {
            tokens.push_back(utf16_from_utf8(word));
        } else if (!open && closes && word.size() > 1) {
            tokens.push_back(utf16_from_utf8(std::string_view(word).substr(1, word.size() - 2)));
        } else if (!open) {
            open = true;
            open_value = word.substr(1) + ' ';
        } else if (!closes) {
            open_value += word + ' ';
        } else {
            open = false;
            open_value += word.substr(0, word.size() - 1);
            tokens.push_back(utf16_from_utf8(open_value));
        }
    }
}

}  // namespace

bool script_tokens(byte_view text, std::vector<std::u16string>& tokens) {
    for_each_line({reinterpret_cast<const char*>(text.data), text.size}, [&tokens](std::string_view line) {
        if (line.starts_with("//")) return true;
        const std::vector<std::string> words = words_of(line);
        if (words.size() == 1) {
            tokens.push_back(utf16_from_utf8(words.front()));
        } else {
            append_unquoted(tokens, words);
        }
        return tokens.size() <= most_tokens;
    });
    return tokens.size() <= most_tokens;
}

std::string append_script(std::vector<std::u16string>& list, evidence_files& evidence) {
    std::u16string path;
    if (!take_value_wide("-script", path, list)) return {};
    protect(evidence, path);
    plain_file file;
    if (!file.open_read(path)) return system_error_text(last_system_error());
    std::vector<std::uint8_t> bytes;
    std::vector<std::u16string> tokens;
    const std::int64_t size = file.file_size();
    if (size > largest_script) return "too large";
    if (!file.read_into(bytes, static_cast<std::uint64_t>(size), 0)) return system_error_text(last_system_error());
    if (!script_tokens(bytes, tokens)) return "too many arguments";
    if (tokens.empty()) return "no line ends, or mixed ones, or nothing but comments";
    std::move(tokens.begin(), tokens.end(), std::back_inserter(list));
    return {};
}
