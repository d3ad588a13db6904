// The -diags log: lines that tell what the results do not.
// Opened by the option pass that reads -diags; written from every folder through log_diag.
// Opens nothing itself and decides nothing: without it the program runs the same.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

struct diagnostic_log {
    std::unique_ptr<std::ostream> stream;  // unbuffered; null without -diags
};

// Whether anybody reads: asked where the words themselves cost something.
inline bool is_read(const diagnostic_log* log) { return log != nullptr && log->stream != nullptr; }

// Ahead of each line.
constexpr std::string_view log_line_mark = "->";

// A line: "->", the text, a line feed. Does nothing where there is no log. A text longer than its format by more than
// 255 bytes is cut there.
[[gnu::format(printf, 2, 3)]] void log_diag(const diagnostic_log* log, const char* format, ...);
void log_diag_text(const diagnostic_log* log, const std::string& text);
