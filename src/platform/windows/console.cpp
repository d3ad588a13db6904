#include "platform/console.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <streambuf>

#include "base/text.h"
#include "platform/refused_block.h"
#include "platform/windows/instance_line.h"
#include "platform/windows/wide.h"

namespace {

UINT code_page_before = 0;

void restore_code_page() { SetConsoleOutputCP(code_page_before); }

bool is_console(HANDLE handle) {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0;
}

bool write_all(DWORD which, std::string_view text) {
    constexpr std::size_t one_write = 1u << 30;  // bytes
    const HANDLE handle = GetStdHandle(which);
    for (std::size_t piece = text.size(); !text.empty();) {
        const auto wanted = static_cast<DWORD>(std::min(piece, one_write));
        DWORD put = 0;
        if (WriteFile(handle, text.data(), wanted, &put, nullptr) == 0) {
            piece = first_line_of(text.data(), piece);
            if (piece == 0) return false;
            continue;
        }
        // An older console counts characters, not bytes: what it took it took whole.
        if (put < wanted && is_console(handle)) put = wanted;
        if (put == 0) return false;
        text.remove_prefix(put);
        piece = text.size();
    }
    return true;
}

// The text mode is made here: the runtime's own cuts a long row into several writes.
void assign_text_mode(std::string& out, std::string_view text) {
    out.clear();
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        out.append(text.substr(0, end)).append("\r\n");
        text.remove_prefix(end + 1);
    }
    out.append(text);
}

// No buffer but the one where line ends are made: what a caller writes in one piece goes out in one.
class handle_buffer : public std::streambuf {
public:
    explicit handle_buffer(DWORD which) : which_(which) {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        assign_text_mode(widened_, {text, static_cast<std::size_t>(count)});
        return write_all(which_, widened_) ? count : 0;
    }
    int_type overflow(int_type unit) override {
        if (traits_type::eq_int_type(unit, traits_type::eof())) return traits_type::not_eof(unit);
        const char single = traits_type::to_char_type(unit);
        return xsputn(&single, 1) == 1 ? unit : traits_type::eof();
    }

private:
    DWORD which_;
    std::string widened_;
};

}  // namespace

void prepare_console() {
    // The code page is the console's, which outlives the program. 0: there is no console. UTF-8: nothing to restore,
    // or a parent of ours restores it.
    code_page_before = GetConsoleOutputCP();
    if (code_page_before == 0 || code_page_before == CP_UTF8) return;
    if (SetConsoleOutputCP(CP_UTF8) != 0) std::atexit(restore_code_page);
}

std::vector<std::string> native_arguments(int, char**) {
    // The narrow vector of main is in the system's code page; the wide one is whole.
    std::vector<std::string> out;
    int count = 0;
    const std::wstring handed_over = take_instance_line();
    wchar_t** values = CommandLineToArgvW(handed_over.empty() ? GetCommandLineW() : handed_over.c_str(), &count);
    for (int index = 0; values != nullptr && index < count; ++index)
        out.push_back(utf8_from_utf16(units_of(values[index])));
    LocalFree(values);
    return out;
}

std::ostream& standard_output() {
    static handle_buffer buffer(STD_OUTPUT_HANDLE);
    static std::ostream stream(&buffer);
    return stream;
}

void write_standard_error(std::string_view text) {
    std::string widened;
    assign_text_mode(widened, text);
    write_all(STD_ERROR_HANDLE, widened);
}
