// The one way by which bytes of a volume are read: an image file, an open volume, a drive or virtual disks.
// Opened by the volume object and, for one call, by the check of the volume's offset; holds whatever the bytes lie in.
// Each read goes to the system, nothing is cached, nothing is written; a caller says what a false means.
#pragma once

#include <memory>

#include "sources/byte_source.h"
#include "sources/device_source.h"
#include "sources/source_choice.h"

struct source_reader : device_facts {
    reader_kind kind = kind_none;
    std::unique_ptr<byte_source> bytes;  // null: closed
    std::uint32_t open_error = 0;        // the system's, where that made it so
    std::uint64_t first_partition = 0;   // bytes: where a virtual disk's volume begins, unless an offset is given

    source_reader() = default;
    // Over a source that is open already.
    explicit source_reader(std::unique_ptr<byte_source> source) : bytes(std::move(source)) {}

    bool is_open() const { return bytes != nullptr; }
    // As byte_source; false and 0 when closed.
    bool read_at(void* buffer, std::uint32_t& size, std::int64_t offset) {
        return bytes != nullptr && bytes->read_at(buffer, size, offset);
    }
    std::uint64_t size() const { return bytes == nullptr ? 0 : bytes->size(); }
    bool ended_early() const { return bytes != nullptr && bytes->ended_early; }
    std::uint32_t system_error() const { return bytes == nullptr ? open_error : bytes->system_error; }
    // Ahead of a stream, which may fail without a read.
    void forget_error() {
        if (bytes != nullptr) bytes->system_error = 0;
    }
    void close() { bytes.reset(); }
};

// Every kind but kind_mft_file. A source with a path claims to be open for every path that is not empty: kept, so that
// a missing image shows itself at the first read, in the words of whoever reads. A drive tells whether it could be
// opened; numbers of 25 and above are not tried. False: closed.
bool open_source(source_reader& reader, const source_choice& choice);
