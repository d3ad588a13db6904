#include <gtest/gtest.h>

#include "extract/digests.h"

namespace {

const std::vector<sha1_block_function>& block_functions() {
    static const std::vector<sha1_block_function> functions = {sha1_blocks_portable, fastest_sha1_blocks()};
    return functions;
}

// Fed in pieces of `piece` bytes.
template <class context>
std::string digest_of(context digest, byte_view bytes, std::size_t piece) {
    for (std::size_t at = 0; at < bytes.size; at += piece) digest.update(bytes.part(at, piece));
    std::string text;
    append_digest_text(text, digest.finish());
    return text;
}

// Content is 1, 8, 15, ... by bytes; lengths around the edge of a block and of the room for the length's own bytes.
// The digests are Python's hashlib's.
constexpr struct {
    std::size_t length;
    const char* md5;
    const char* sha1;
} edges[] = {
    {55, "8c3eb046bcdb1f0ffe75fdbaf890cf13", "04bb34aef4880b625e6b1564a014abd25fc02bfe"},
    {56, "d5e0fa3122448ddd3d843a9c5ed9e839", "83b9fcb6d3e3b20f376ab989a1b6353bcc6c0f44"},
    {63, "1dd0d6ddeb881b118518c2881555f34b", "ab15090e8dbe512f3733350f9623ab11f9b5165b"},
    {64, "7b412e00d38c31b0845a4f502d39d5e3", "54305ee7e4c7bc5a96afc6d1994fc52d9bcb665f"},
    {65, "ba03b626aceb7b09c86c2d544afe1dce", "5985422a25357371ebd2a7f6ecd7eebed43db42c"},
    {120, "6818845a0494b5fade3155f6a8e47b15", "8c40517a14ab8b78fd4b8958f4e31254a34c3fb0"},
    {128, "912f49566518d1b4c883f811d86ddecc", "22485dc0d1e1d6e9e93e4a2a4667b8e979456379"},
};

TEST(digest_values, lengths_around_a_block_in_pieces_of_every_kind) {
    for (const auto& edge : edges) {
        std::vector<std::uint8_t> bytes(edge.length);
        for (std::size_t index = 0; index < bytes.size(); ++index)
            bytes[index] = static_cast<std::uint8_t>(7 * index + 1);
        for (const std::size_t piece : {4096, 63, 1}) {
            EXPECT_EQ(digest_of(md5_context(), bytes, piece), edge.md5) << edge.length << " by " << piece;
            for (const auto blocks : block_functions())
                EXPECT_EQ(digest_of(sha1_context(blocks), bytes, piece), edge.sha1) << edge.length << " by " << piece;
        }
    }
}

}  // namespace
