#include "platform/console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <cstdlib>
#include <ostream>
#include <streambuf>

#include "base/text.h"
#include "platform/windows/wide.h"

namespace {

UINT code_page_before = 0;

void restore_code_page() { SetConsoleOutputCP(code_page_before); }

// Text mode: the runtime's write turns each line feed into the host's line end.
bool write_all(int descriptor, const char* text, std::size_t count) {
    while (count > 0) {
        const int put = _write(descriptor, text, static_cast<unsigned>(count));
        if (put <= 0) return false;
        text += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

// No buffer: what a caller writes in one piece goes out in one.
class descriptor_buffer : public std::streambuf {
public:
    explicit descriptor_buffer(int descriptor) : descriptor_(descriptor) {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return write_all(descriptor_, text, static_cast<std::size_t>(count)) ? count : 0;
    }
    int_type overflow(int_type unit) override {
        if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
        const char single = traits_type::to_char_type(unit);
        return write_all(descriptor_, &single, 1) ? unit : traits_type::eof();
    }

private:
    int descriptor_;
};

constexpr int output_descriptor = 1, error_descriptor = 2;

}  // namespace

void prepare_console() {
    _setmode(output_descriptor, _O_TEXT);
    _setmode(error_descriptor, _O_TEXT);
    code_page_before = GetConsoleOutputCP();
    if (code_page_before == 0 || SetConsoleOutputCP(CP_UTF8) == 0) return;
    std::atexit(restore_code_page);
}

std::vector<std::string> native_arguments(int, char**) {
    // The narrow vector of main is in the system's code page; the wide one is whole.
    std::vector<std::string> out;
    int count = 0;
    wchar_t** values = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int index = 0; values != nullptr && index < count; ++index) out.push_back(utf8_from_utf16(units_of(values[index])));
    LocalFree(values);
    return out;
}

std::ostream& standard_output() {
    static descriptor_buffer buffer(output_descriptor);
    static std::ostream stream(&buffer);
    return stream;
}

void write_standard_error(std::string_view text) { write_all(error_descriptor, text.data(), text.size()); }
