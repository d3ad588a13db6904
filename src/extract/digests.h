// Digests of file streams, and the one reader that feeds a copy, digests, or both in one pass.
// Called by the reports (digests alone) and by the copy-out.
// Knows no row: a digest that failed is zeros in the state, and the report words that.
#pragma once

#include <span>

#include "extract/stream_state.h"
#include "ntfs/streams.h"

struct mft_entries_ctx;

// The whole stream of `attribute`, an entry of `record`, into `sink`; its digests into `state`: MD5 if it is wanted or
// a copy run needs it for names, SHA-1 if it is wanted. Size, decompression, holes and slack go by the run's settings.
// False, with zeros for digests: the source cannot give it (no clusters beside an extracted $MFT, no runs, a failed
// read), or the sink refused. An empty stream is read, and has the digests of no bytes.
bool read_stream_to(const stream_sink& sink, const file_record& record, const mft_entries_ctx& ctx,
                    const attr_entry* attribute, stream_state& state);

// Digests without a copy, of $DATA alone. False also for a stream without clusters or without a value, which has no
// digest, and without `si_times`; then `extracted_path` is cleared too.
bool digest_stream(const file_record& record, const mft_entries_ctx& ctx, const si_entry* si_times,
                   const attr_entry* attribute, stream_state& state);

// False for what neither digest nor copy is made of: no raw bytes, no clusters, no value.
bool has_stream_bytes(const attr_entry& attribute);
// Lower-case hexadecimal digits, two a byte: 32 for MD5, 40 for SHA-1.
void append_digest_text(std::string& out, std::span<const std::uint8_t> digest);
