// An output stream that discards everything and reports success.
// Lives on the stack of a read that only a digest wants: the reader has one code path, with a sink at its end.
// Counts nothing and never fails.
#pragma once

#include <ostream>
#include <streambuf>

namespace uni {

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
