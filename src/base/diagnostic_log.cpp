#include "base/diagnostic_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

void log_diag(const diagnostic_log* log, const char* format, ...) {
    if (!is_read(log)) return;
    // What the format's length and 255 bytes more cannot hold is cut.
    std::string text(std::strlen(format) + 255, '\0');
    std::va_list values;
    va_start(values, format);
    const int needed = std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    if (needed < 0) return;
    text.resize(std::strlen(text.c_str()));
    log_diag_text(log, text);
}

void log_diag_text(const diagnostic_log* log, const std::string& text) {
    if (!is_read(log)) return;
    *log->stream << std::string(log_line_mark) + text + "\n";
}
