#include "platform/process.h"

#include <charconv>

#include "platform/paths.h"

namespace {

constexpr const char* handed_over_variable = "GRELMOOR_INSTANCE";

// Ahead of the text stands the number of the process that hands it over: a variable that somebody else has set holds
// for no run.
constexpr char mark_end = ' ';

std::optional<std::string> take_handed_over() {
    const std::string value = take_environment_value(handed_over_variable).value_or(std::string());
    const char* const end = value.data() + value.size();
    std::uint32_t starter = 0;
    const auto number = std::from_chars(value.data(), end, starter);
    const bool is_whole = number.ec == std::errc() && number.ptr != end && *number.ptr == mark_end;
    if (!is_whole || !is_started_by(starter)) return std::nullopt;
    return std::string(number.ptr + 1, end);
}

}  // namespace

environment_variable hand_over(const std::string& text) {
    return {handed_over_variable, std::to_string(own_process()) + mark_end + text};
}

const std::optional<std::string>& handed_over() {
    static const std::optional<std::string> text = take_handed_over();
    return text;
}
