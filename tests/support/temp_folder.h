// A folder of its own for a test that makes files: gone with the object, whatever is in it.
// Used by unit tests. Paths are the host's, with its separator; names may be longer than the host likes.
// Does not use the program's own file helpers: they are what is tested.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

class temp_folder {
public:
    temp_folder() {
        const auto moment = std::chrono::steady_clock::now().time_since_epoch().count();
        const std::filesystem::path folder =
            std::filesystem::temp_directory_path() / ("unit_" + std::to_string(moment));
        std::filesystem::create_directories(folder);
        path_ = folder.u16string();
    }
    ~temp_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(unlimited(path_), ignored);
    }
    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;

    const std::u16string& path() const { return path_; }
    std::u16string path(std::u16string_view name) const { return path_ + separator() + std::u16string(name); }

    static char16_t separator() { return static_cast<char16_t>(std::filesystem::path::preferred_separator); }
    static bool exists(const std::u16string& path) { return std::filesystem::exists(unlimited(path)); }
    // Bytes as they lie in the file, no text mode.
    static std::string content(const std::u16string& path) {
        std::ifstream file(unlimited(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void put(const std::u16string& path, std::string_view text) {
        std::ofstream(unlimited(path), std::ios::binary) << text;
    }

private:
    static std::filesystem::path unlimited(const std::u16string& path) {
        return separator() == u'/' ? path : u"\\\\?\\" + path;
    }

    std::u16string path_;
};
