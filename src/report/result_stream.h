// The stream of the results: a file opened by its wide path.
// Opened by the run driver and the diagnostic log.
// Formats nothing.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

#include "platform/files.h"

namespace uni {

// Text into a file, unbuffered: each piece put in is one write, so that a row is in the file when it has been put.
class text_filebuf : public std::streambuf {
public:
    text_filebuf() = default;
    text_filebuf(const text_filebuf&) = delete;
    text_filebuf& operator=(const text_filebuf&) = delete;
    ~text_filebuf() override { close_file(file_); }

    // Truncates. False: the system refused.
    bool open(const std::u16string& path);
    bool is_open() const { return file_.is_open(); }
    void close() { close_file(file_); }

protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    native_file file_;
};

// A narrow text stream that is opened by a wide path; in a failed state if that did not work.
class ofstream : public std::ostream {
public:
    ofstream() : std::ostream(nullptr) { rdbuf(&buffer_); }
    explicit ofstream(const std::u16string& path) : ofstream() { open(path); }
    void open(const std::u16string& path) { clear(buffer_.open(path) ? goodbit : failbit); }
    bool is_open() const { return buffer_.is_open(); }
    void close() { buffer_.close(); }

private:
    text_filebuf buffer_;
};

}  // namespace uni
