// Whatever a script holds: it becomes tokens without line ends, and the option passes end in one of their results,
// the same one twice. Options that make files or look at devices are left out.
#include "front/script_file.h"
#include "fuzz/target.h"
#include "support/describe_settings.h"

namespace {

bool reaches_out(const std::u16string& token) {
    constexpr std::u16string_view names[] = {u"-out",    u"-outfile", u"-diags",    u"-action_copy_files",
                                             u"-script", u"-image",   u"-drivenum", u"-partition",
                                             u"-vmdk"};
    return std::find(std::begin(names), std::end(names), lowered(token)) != std::end(names);
}

bool is_line_space(char16_t unit) { return unit >= u'\t' && unit <= u'\r'; }

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> harmless;
    std::vector<std::u16string> tokens;
    script_tokens({data, size}, tokens);
    for (const std::u16string& token : tokens) {
        expect(token.size() <= size && std::none_of(token.begin(), token.end(), is_line_space));
        if (!reaches_out(token)) harmless.push_back(bytes_from_utf16(token));
    }
    expect(harmless.size() <= size);
    const read_options once = options_of(harmless), twice = options_of(harmless);
    expect(once.result >= -3 && once.result <= 0 && once.result == twice.result && once.left == twice.left);
    expect(settings_beyond(*once.ctx, *twice.ctx).empty());
    expect(once.left.front() == "grelmoor" && once.left.size() <= harmless.size() + 1);
    return 0;
}
