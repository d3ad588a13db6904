// What no copy-out can avoid: for each file one read, its MD5, a file made, written and renamed.
// Run by bench/copies.sh beside the program: copy_floor <image> <folder> <files> <bytes of each>.
// Decodes nothing: files are taken from the image one behind the other. Prints user and system seconds.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "extract/md5.h"

int main(int count, char** arguments) {
    if (count < 5) return 2;
    const int image = open(arguments[1], O_RDONLY | O_CLOEXEC);
    const std::string folder = std::string(arguments[2]) + "/", temporary = folder + "temporary";
    const long files = std::atol(arguments[3]);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::atol(arguments[4])));
    for (long number = 0; number < files; ++number) {
        const auto size = static_cast<off_t>(bytes.size());
        if (pread(image, bytes.data(), bytes.size(), number * size) != size) return 1;
        md5_context digest;
        digest.update(bytes);
        const std::string target = folder + std::to_string(number) + "_" + std::to_string(digest.finish()[0]);
        const int file = open(temporary.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        const bool written = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(size);
        close(file);
        if (!written || renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0)
            return 1;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    std::printf("user=%.6f sys=%.6f\n", seconds(usage.ru_utime), seconds(usage.ru_stime));
    return 0;
}
