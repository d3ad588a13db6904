#include "extract/digests.h"

#include <algorithm>
#include <ostream>

#include "base/numbers.h"
#include "extract/null_out_stream.h"
#include "ntfs/record_read.h"
#include "ntfs/volume.h"
#include "platform/files.h"
#include "run/progress.h"
#include "run/run_context.h"

namespace {

// What stands between the stream's reader and its sink: each piece passes the digests on its way.
struct digest_feed {
    md5_context md5;
    sha1_context sha1;
    bool md5_on, sha1_on;
    const stream_sink& sink;
    std::uint64_t inode;
    bool shows_progress;
    std::uint64_t pieces = 0;
    bool sink_refused = false;
};

// A stream may take longer than the rest of the walk.
void show_piece(digest_feed& feed) {
    std::string text = "reading entry ";
    append_decimal(text, feed.inode);
    text += ", piece ";
    append_decimal(text, ++feed.pieces);
    write_progress(text);
}

bool feed_digests(void* target, byte_view bytes) {
    auto& feed = *static_cast<digest_feed*>(target);
    if (feed.shows_progress) show_piece(feed);
    if (feed.md5_on) feed.md5.update(bytes);
    if (feed.sha1_on) feed.sha1.update(bytes);
    feed.sink_refused = !feed.sink.take(feed.sink.target, bytes);
    return !feed.sink_refused;
}

bool put_to_stream(void* target, byte_view bytes) {
    auto& out = *static_cast<std::ostream*>(target);
    out.write(reinterpret_cast<const char*>(bytes.data), static_cast<std::streamsize>(bytes.size));
    return out.good();
}

std::uint16_t id_of(const attr_entry& attribute) { return byte_view(attribute.raw).u16(attribute_at::id); }

// The runs of the entry with the attribute's id, which is the attribute itself unless it has none: ids of several
// records meet in one map. Only if no such entry has any, of the first with its type; `own_alone`, for a thorough run,
// takes no other entry's. Null: none.
const std::vector<cluster_run>* runs_of(const file_record& record, const attr_entry& attribute, bool own_alone) {
    if (!attribute.runs.empty()) return &attribute.runs;
    if (own_alone) return nullptr;
    const std::vector<cluster_run>* of_type = nullptr;
    for (const auto& item : record.attributes) {
        const attr_entry& entry = item.value;
        if (entry.runs.empty()) continue;
        if (id_of(entry) == id_of(attribute)) return &entry.runs;
        if (entry.type == attribute.type && of_type == nullptr) of_type = &entry.runs;
    }
    return of_type;
}

bool read_through_runs(const stream_sink& sink, const file_record& record, const mft_entries_ctx& ctx,
                       const attr_entry& attribute) {
    if (ctx.volume == nullptr) return false;
    ctx.volume->reader->forget_error();
    const std::vector<cluster_run>* runs = runs_of(record, attribute, ctx.thorough);
    if (runs == nullptr) return false;
    stream_runs stream(*runs);
    const bool compressed = is_compressed_attribute(attribute);
    const std::uint64_t allocated = byte_view(attribute.raw).u64(attribute_at::allocated_size);
    const std::uint64_t size = ctx.raw_copy ? allocated : attribute.data_size();
    if (size == 0) return true;
    if (compressed && !ctx.raw_copy) return read_compressed_stream(*ctx.volume, sink, stream, size, allocated);

    // Kept: holes of a stream with compression marks stay, under -raw as well: its units are made of them.
    if (ctx.skip_sparse && !compressed) drop_sparse_runs(stream);
    const std::uint64_t held = run_bytes(stream.runs, ctx.volume->cluster_bytes(), false);
    plain_extent extent = extent_of(*ctx.volume, attribute, std::min(size, held));
    if (ctx.raw_copy) extent.is_index = false;
    // Who asks for clusters as they lie gets them as they lie.
    if (ctx.raw_copy || ctx.skip_sparse) extent.written = plain_extent().written;
    return read_plain_stream(*ctx.volume, sink, stream, extent);
}

// Of an extracted $MFT no stream outside of the records can be read: that is not told each time.
void tell_cut_stream(const digest_feed& feed, const attr_entry& attribute, const mft_entries_ctx& ctx) {
    if (ctx.volume == nullptr && !feed.sink_refused) return;
    const std::uint32_t error = feed.sink_refused ? last_system_error() : ctx.volume->reader->system_error();
    log_diag(ctx.log, "err: record %llx, attribute %x: its stream was not read, or not copied, to the end: %s",
             static_cast<unsigned long long>(feed.inode), unsigned{id_of(attribute)},
             error == 0 ? "runs, sizes or units do not fit" : system_error_text(error).c_str());
}

bool can_be_digested(const attr_entry* attribute) {
    if (attribute == nullptr || attribute->type != type_data) return false;
    return has_stream_bytes(*attribute);
}

}  // namespace

bool has_stream_bytes(const attr_entry& attribute) {
    const byte_view raw(attribute.raw);
    if (raw.size == 0) return false;
    return attribute.non_resident() ? raw.u64(attribute_at::allocated_size) != 0 : attribute.value_length() != 0;
}

bool read_stream_to(const stream_sink& sink, const file_record& record, const mft_entries_ctx& ctx,
                    const attr_entry* attribute, stream_state& state) {
    state.clear_digests();
    if (!source_usable(ctx) || attribute == nullptr || attribute->raw.empty()) return false;
    // A copy's name holds its MD5, wanted or not.
    const bool non_resident = attribute->non_resident();
    digest_feed feed{{},   sha1_context(), ctx.want_md5 || ctx.copy_files,   ctx.want_sha1,
                     sink, record.inode,   non_resident && ctx.show_progress};
    const stream_sink through{feed_digests, &feed};
    state.has_digests = non_resident ? read_through_runs(through, record, ctx, *attribute)
                                     : feed_digests(&feed, resident_bytes(*attribute));
    if (!state.has_digests) {
        tell_cut_stream(feed, *attribute, ctx);
        return false;
    }
    if (feed.md5_on) state.md5_digest = feed.md5.finish();
    if (feed.sha1_on) state.sha1_digest = feed.sha1.finish();
    return true;
}

bool digest_stream(const file_record& record, const mft_entries_ctx& ctx, const si_entry* si_times,
                   const attr_entry* attribute, stream_state& state) {
    state.clear_digests();
    uni::null_out_stream nowhere;
    const stream_sink sink{put_to_stream, static_cast<std::ostream*>(&nowhere)};
    if (si_times != nullptr && can_be_digested(attribute) && read_stream_to(sink, record, ctx, attribute, state)) {
        return true;
    }
    state.extracted_path.clear();
    return false;
}

void append_digest_text(std::string& out, std::span<const std::uint8_t> digest) {
    for (const std::uint8_t byte : digest) append_hex(out, byte, 2);
}
