// The stream of the results: a file opened by its wide path.
// Opened by the run driver and the diagnostic log.
// Formats nothing.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace uni {

// Text into a file, unbuffered: each piece put in is one write, so that a row is in the file when it has been put.
class text_filebuf : public std::streambuf {
public:
    text_filebuf() = default;
    text_filebuf(const text_filebuf&) = delete;
    text_filebuf& operator=(const text_filebuf&) = delete;
    ~text_filebuf() override { close_file(file_); }

    // Truncates. False: the system refused, or the path leads to a disk.
    bool open(const std::u16string& path) { return open_held(path) && release(); }
    // What is in the file stays until release(), and what is put in waits in memory for it.
    bool open_held(const std::u16string& path);
    bool release();
    // The same for a file that other processes write, too: nothing put in lands on what they have added. What is in the
    // file goes only if `cut`.
    bool release_shared(bool cut);
    bool is_open() const { return file_.is_open(); }
    bool identify(file_identity& identity) const { return ::identify(file_, identity); }
    // What is in the file begins with `mark`, or nothing is in it, as in what is no file.
    bool holds_lines_of(std::string_view mark) const;
    // False: something that had been put in could not be kept.
    bool close();

protected:
    int_type overflow(int_type unit) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    native_file file_;
    bool held_ = false;
    std::string waiting_;
};

// A narrow text stream that is opened by a wide path; in a failed state if that did not work.
class ofstream : public std::ostream {
public:
    ofstream() : std::ostream(nullptr) { rdbuf(&buffer_); }
    explicit ofstream(const std::u16string& path) : ofstream() { open(path); }
    // Not inline: the tables of a class with a virtual base are to be made in one place, or mingw's linker meets them
    // twice.
    ~ofstream() override;
    void open(const std::u16string& path) { clear(buffer_.open(path) ? goodbit : failbit); }
    // For a file that may turn out to be one that must not be written: see text_filebuf.
    void open_held(const std::u16string& path) { clear(buffer_.open_held(path) ? goodbit : failbit); }
    void release() { settle(buffer_.release()); }
    void release_shared(bool cut) { settle(buffer_.release_shared(cut)); }
    bool is_open() const { return buffer_.is_open(); }
    bool identify(file_identity& identity) const { return buffer_.identify(identity); }
    bool holds_lines_of(std::string_view mark) const { return buffer_.holds_lines_of(mark); }
    void close() { settle(buffer_.close()); }

private:
    void settle(bool worked) {
        if (!worked) setstate(failbit);
    }

    text_filebuf buffer_;
};

}  // namespace uni
