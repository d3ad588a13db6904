// Streams of the results: a file opened by its wide path, and one that discards what it gets.
// The first is opened by the run driver alone; the second serves reads that only a digest wants.
// Neither formats anything.
#pragma once

#include <fstream>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/files.h"

namespace uni {

// A narrow text stream that is opened by a wide path; in a failed state if that did not work.
class ofstream : public std::ofstream {
public:
    ofstream() = default;
    explicit ofstream(const std::u16string& path) { open(path); }
    void open(const std::u16string& path) { open_text_stream(*this, path); }
};

template <class unit>
class basic_nullbuf : public std::basic_streambuf<unit> {
protected:
    using traits = typename std::basic_streambuf<unit>::traits_type;
    typename traits::int_type overflow(typename traits::int_type c) override { return traits::not_eof(c); }
    std::streamsize xsputn(const unit*, std::streamsize count) override { return count; }
};

// Discards everything and reports success.
template <class unit>
class basic_nullstream : public std::basic_ostream<unit> {
public:
    basic_nullstream() : std::basic_ostream<unit>(&buffer_) {}

private:
    basic_nullbuf<unit> buffer_;
};

using null_out_buf = basic_nullbuf<char>;
using null_out_stream = basic_nullstream<char>;

}  // namespace uni
