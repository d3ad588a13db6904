#include "report/result_stream.h"

#include "platform/host_paths.h"

namespace uni {

bool text_filebuf::open(const std::u16string& path) {
    close();
    if (open_for_writing(file_, path)) return true;
    return is_long_path_error(last_system_error()) && open_for_writing(file_, long_form(path));
}

text_filebuf::int_type text_filebuf::overflow(int_type unit) {
    if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
    const char single = traits_type::to_char_type(unit);
    return xsputn(&single, 1) == 1 ? unit : traits_type::eof();
}

std::streamsize text_filebuf::xsputn(const char* text, std::streamsize count) {
    return is_open() && write_text(file_, {text, static_cast<std::size_t>(count)}) ? count : 0;
}

}  // namespace uni
