// Whatever the bytes: both decoders of mapping pairs end, the runs follow each other without a gap, and a cluster that
// is found lies in the run it is said to lie in.
#include "fuzz/target.h"
#include "ntfs/layout.h"
#include "ntfs/runs.h"
#include "ntfs/streams.h"

int run_input(const std::uint8_t* data, std::size_t size) {
    const byte_view bytes(data, size);
    std::vector<cluster_run> runs;
    std::vector<described_run> with_text;
    if (!decode_runs(bytes, runs)) return 0;
    std::uint64_t next = bytes.u64(attribute_at::first_vcn);
    for (const cluster_run& run : runs) {
        expect(run.start_vcn == next && run.offset_width == bytes.u8(run.pair_offset) >> 4);
        next += run.clusters;
    }
    expect(decode_runs_with_text(bytes.part(bytes.u16(attribute_at::pairs_offset), size), with_text, 0x80) ==
           !runs.empty());
    expect(with_text.size() == runs.size());

    stream_runs stream(runs);
    for (const stream_run& run : std::vector<stream_run>(stream.runs)) {
        std::size_t index = 0;
        std::uint64_t lcn = 0;
        const bool found = lookup_vcn(stream, run.vcn, index, lcn);
        expect(found || run.clusters == 0);
        if (!found) continue;
        const stream_run& hit = stream.runs[index];
        expect(hit.vcn <= run.vcn && run.vcn - hit.vcn < hit.clusters &&
               lcn == (hit.sparse ? 0 : hit.lcn + (run.vcn - hit.vcn)));
    }
    drop_sparse_runs(stream);
    expect(run_bytes(stream.runs, 1, false) == run_bytes(stream.runs, 1, true));
    return 0;
}
