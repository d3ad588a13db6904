// The main function of a fuzz target where libFuzzer is not linked: feeds the target every file of the folders named.
// Called by the test run, once per target, with the target's corpus.
// Does not search for new inputs, and fails when a corpus is missing or empty: a replay of nothing proves nothing.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

static std::vector<std::uint8_t> bytes_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int main(int count, char** arguments) {
    std::size_t fed = 0;
    for (int i = 1; i < count; ++i) {
        std::error_code error;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(arguments[i], error)) {
            if (!entry.is_regular_file()) continue;
            const std::vector<std::uint8_t> bytes = bytes_of(entry.path());
            // A target that aborts leaves this as the last line: the input to look at.
            std::fprintf(stderr, "%s\n", entry.path().string().c_str());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++fed;
        }
    }
    std::printf("%zu inputs\n", fed);
    return fed > 0 ? 0 : 1;
}
