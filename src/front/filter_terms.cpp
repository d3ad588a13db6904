#include "front/filter_terms.h"

#include "base/numbers.h"
#include "base/text.h"
#include "run/run_context.h"

namespace {

filter_term::part parse_part(std::string text) {
    filter_term::part part;
    part.any = text == "*";
    part.star_in_front = text.starts_with('*');
    if (part.star_in_front) text.erase(0, 1);
    part.star_behind = text.ends_with('*');
    if (part.star_behind) text.pop_back();
    part.text = text;
    return part;
}

}  // namespace

std::vector<filter_term> parse_filter_terms(const std::string& value) {
    const std::string lower = lowered_ascii(value);
    std::vector<std::string> items = {lower};
    for (const char delimiter : {'|', ','}) {
        if (lower.find(delimiter) == std::string::npos) continue;
        split_on_char(lower, delimiter, items, true);
        break;
    }
    std::vector<filter_term> terms;
    for (const std::string& item : items) {
        filter_term term;
        term.matches_everything = item == "*";
        if (term.matches_everything) return {term};
        const std::size_t colon = item.find(':');
        term.name = parse_part(item.substr(0, colon));
        if (colon != std::string::npos) term.value = parse_part(item.substr(colon + 1));
        terms.push_back(term);
    }
    return terms;
}
