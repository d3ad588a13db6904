// Whatever the bytes of a security descriptor: its text ends and is no longer than what two lists can hold.
#include "fuzz/target.h"
#include "ntfs/security_descriptor.h"

int run_input(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest_line = 256, other_lines = 5;
    std::string text;
    format_security_descriptor(text, {data, size});
    if (text.size() > (2 * size + other_lines) * longest_line || text.back() != '\n') std::abort();
    return 0;
}
