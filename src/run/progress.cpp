#include "run/progress.h"

#include <string>

#include "platform/console.h"

namespace {

constexpr std::size_t progress_columns = 60;
constexpr std::size_t progress_limit = 255;

}  // namespace

void write_progress(std::string_view text) {
    std::string line(text.substr(0, progress_limit));
    std::erase(line, '\n');
    line.resize(progress_columns, ' ');
    line += '\r';
    write_standard_error(line);
}
