#include "platform/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ostream>
#include <streambuf>

#include "platform/refused_block.h"

namespace {

bool write_all(int descriptor, const char* text, std::size_t count) {
    for (std::size_t piece = count; count > 0;) {
        const ssize_t put = write(descriptor, text, piece);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) {
            piece = first_line_of(text, piece);
            if (piece == 0) return false;
            continue;
        }
        text += put;
        piece = count -= static_cast<std::size_t>(put);
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

}  // namespace

void prepare_console() {
    // Guard: a standard stream that is closed at the start must not come to mean the first file that is opened.
    // Standard output is opened for reading, so that writing to it still fails.
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
        if (open("/dev/null", descriptor == STDOUT_FILENO ? O_RDONLY : O_RDWR) == -1) return;
    }
    // A closed pipe and a limit on the size of files are to show as a failed write, which ends the run with its
    // message.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // Where this is ignored, which a parent may hand down, nobody learns how an instance ended.
    std::signal(SIGCHLD, SIG_DFL);
}

std::vector<std::string> native_arguments(int count, char** values) { return {values, values + count}; }

std::ostream& standard_output() {
    static descriptor_buffer buffer(STDOUT_FILENO);
    static std::ostream stream(&buffer);
    return stream;
}

void write_standard_error(std::string_view text) { write_all(STDERR_FILENO, text.data(), text.size()); }
