#include "report/result_stream.h"

#include <utility>

#include "platform/host_paths.h"

namespace {

// As a log that was cut short, or edited, may end.
bool ends_inside_line(const native_file& file) {
    const std::int64_t size = file_size(file);
    char last = '\n';
    return size > 0 && read_at(file, static_cast<std::uint64_t>(size) - 1, &last, 1) == 1 && last != '\n';
}

}  // namespace

namespace uni {

bool text_filebuf::open_held(const std::u16string& path) {
    close();
    held_ = open_for_update(file_, path) ||
            (is_long_path_error(last_system_error()) && open_for_update(file_, long_form(path)));
    return held_;
}

bool text_filebuf::release() {
    held_ = false;
    return cut_file(file_) && write_text(file_, std::exchange(waiting_, {}));
}

bool text_filebuf::release_shared(bool cut) {
    held_ = false;
    if (cut && !cut_file(file_)) return false;
    if (ends_inside_line(file_)) waiting_.insert(0, 1, '\n');
    return write_only_at_end(file_) && write_text(file_, std::exchange(waiting_, {}));
}

bool text_filebuf::holds_lines_of(std::string_view mark) const {
    if (file_size(file_) <= 0) return true;
    std::string begin(mark.size(), '\0');
    return read_at(file_, 0, begin.data(), begin.size()) > 0 && begin == mark;
}

bool text_filebuf::close() {
    held_ = false;
    waiting_.clear();
    return close_written_file(file_);
}

text_filebuf::int_type text_filebuf::overflow(int_type unit) {
    if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
    const char single = traits_type::to_char_type(unit);
    return xsputn(&single, 1) == 1 ? unit : traits_type::eof();
}

std::streamsize text_filebuf::xsputn(const char* text, std::streamsize count) {
    if (held_) waiting_.append(text, static_cast<std::size_t>(count));
    return held_ || (is_open() && write_text(file_, {text, static_cast<std::size_t>(count)})) ? count : 0;
}

ofstream::~ofstream() = default;

}  // namespace uni
