// Speed of the digests beside that of OpenSSL's libcrypto, in MB/s: `digests [rounds]`. Built where libcrypto is
// installed. Each round measures every one of them once, and the best of all rounds counts: another program's load hits
// all alike. Ends with 1 where a target is missed: MD5 and SHA-1 by instructions 0.9 of the library's, portable SHA-1
// 0.7.
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "extract/md5.h"
#include "extract/sha1.h"

namespace {

using bytes = std::vector<std::uint8_t>;
constexpr std::size_t piece = 64 * 1024;  // as streams are read

template <class context>
void run_own(context digest, const bytes& data) {
    for (std::size_t at = 0; at < data.size(); at += piece) digest.update(byte_view(data).part(at, piece));
    [[maybe_unused]] const volatile std::uint8_t used = digest.finish()[0];
}

void run_library(const EVP_MD* kind, const bytes& data) {
    unsigned char value[EVP_MAX_MD_SIZE];
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, kind, nullptr);
    for (std::size_t at = 0; at < data.size(); at += piece) EVP_DigestUpdate(context, data.data() + at, piece);
    EVP_DigestFinal_ex(context, value, nullptr);
    EVP_MD_CTX_free(context);
}

struct contender {
    const char* name;
    void (*run)(const bytes& data);
    int peer;                    // index of what it is compared with; -1: is one
    double target;               // share of the peer's speed; 0: only shown
    std::vector<double> speeds;  // MB/s, one a round
};

contender contenders[] = {
    {"md5, libcrypto", [](const bytes& data) { run_library(EVP_md5(), data); }, -1, 0, {}},
    {"md5", [](const bytes& data) { run_own(md5_context(), data); }, 0, 0.9, {}},
    {"sha1, libcrypto", [](const bytes& data) { run_library(EVP_sha1(), data); }, -1, 0, {}},
    {"sha1", [](const bytes& data) { run_own(sha1_context(), data); }, 2, 0.9, {}},
    {"sha1, portable", [](const bytes& data) { run_own(sha1_context(sha1_blocks_portable), data); }, 2, 0, {}},
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double share_of_peer(const contender& each) {
    std::vector<double> shares;
    for (std::size_t round = 0; round < each.speeds.size(); ++round) {
        shares.push_back(each.speeds[round] / contenders[each.peer].speeds[round]);
    }
    return median(std::move(shares));
}

}  // namespace

int main(int count, char** arguments) {
    if (hardware_sha1_blocks() == nullptr) contenders[3].target = 0.7;
    const int rounds = count > 1 ? std::max(std::atoi(arguments[1]), 1) : 50;
    bytes data(8u << 20);
    for (std::size_t at = 0; at < data.size(); ++at) data[at] = static_cast<std::uint8_t>(7 * at + (at >> 9));
    for (int round = 0; round < rounds; ++round) {
        for (contender& each : contenders) {
            const auto start = std::chrono::steady_clock::now();
            each.run(data);
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
            each.speeds.push_back(static_cast<double>(data.size()) / 1e6 / passed.count());
        }
    }
    bool missed = false;
    for (const contender& each : contenders) {
        std::printf("%-16s %6.0f MB/s", each.name, median(each.speeds));
        if (each.peer >= 0) {
            const double share = share_of_peer(each);
            missed = missed || share < each.target;
            std::printf("  %.2f of the library's", share);
        }
        std::printf("\n");
    }
    return missed ? 1 : 0;
}
