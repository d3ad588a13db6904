#include "platform/drive_names.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::string_view left_out[] = {"loop", "ram", "zram", "sr", "dm-"};

bool is_digit(char unit) { return unit >= '0' && unit <= '9'; }

// "sr0" and "ram1" are left out, "srv" is not: a digit follows the driver's name.
bool is_drive(std::string_view name) {
    return std::none_of(std::begin(left_out), std::end(left_out), [name](std::string_view driver) {
        return name.starts_with(driver) && name.size() > driver.size() && is_digit(name[driver.size()]);
    });
}

// Cuts the leading run of digits, or of anything else, off `text`.
std::string_view take_run(std::string_view& text) {
    std::size_t length = 1;
    while (length < text.size() && is_digit(text[length]) == is_digit(text[0])) ++length;
    const std::string_view run = text.substr(0, length);
    text.remove_prefix(length);
    return run;
}

int compare_runs(std::string_view left, std::string_view right) {
    if (is_digit(left[0]) && is_digit(right[0])) {
        left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
        right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
    } else if (left.substr(0, 2) != right.substr(0, 2)) {
        return left.compare(right);
    }
    if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
    return left.compare(right);
}

bool comes_before(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        const int order = compare_runs(take_run(left), take_run(right));
        if (order != 0) return order < 0;
    }
    return left.empty() && !right.empty();
}

}  // namespace

void order_drive_names(std::vector<std::string>& names) {
    std::erase_if(names, [](const std::string& name) { return !is_drive(name); });
    std::sort(names.begin(), names.end(), comes_before);
}
