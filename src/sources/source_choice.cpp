#include "sources/source_choice.h"

#include <utility>

#include "base/text.h"
#include "platform/devices.h"

namespace {

bool is_device_path(const std::u16string& path) { return path.starts_with(u"\\\\"); }

bool is_letter_path(const std::u16string& path) {
    return path.size() >= 2 && path[1] == u':' && (path.size() == 2 || (path.size() == 3 && path[2] == u'\\'));
}

bool host_has_letters() { return letter_device_path(u"c:") != u"c:"; }

source_choice vmdk_choice(const std::vector<std::u16string>& paths, std::uint64_t volume_offset) {
    std::u16string text = paths.size() > 1 ? u"vmdk files: " : u"vmdk file: ";
    for (const std::u16string& path : paths) {
        if (&path != &paths.front()) text += u"; ";
        text += u"'" + path + u"'";
    }
    return {kind_vmdk, paths, 0, volume_offset, std::move(text)};
}

}  // namespace

std::vector<source_choice> choices_of(const named_sources& named) {
    std::vector<source_choice> choices;
    const std::uint64_t offset = named.volume_offset;
    const std::u16string& image = named.image_path_volume.empty() ? named.image_path_disk : named.image_path_volume;
    const std::u16string& mft = named.mft_file_path;
    if (!mft.empty()) choices.push_back({kind_mft_file, {mft}, 0, 0, mft});
    if (!named.vmdk_paths.empty()) choices.push_back(vmdk_choice(named.vmdk_paths, offset));
    if (named.drive_number != -1) {
        choices.push_back(drive_choice(static_cast<std::uint32_t>(named.drive_number), offset));
    }
    if (!image.empty()) choices.push_back(image_choice(image, offset));
    if (!named.live_volume_text.empty()) choices.push_back(live_choice(named.live_volume_text));
    return choices;
}

reader_kind kind_of_live_volume(const std::u16string& text) {
    return is_device_path(text) ? kind_device_path : kind_volume;
}

source_choice live_choice(const std::u16string& text) {
    const reader_kind kind = kind_of_live_volume(text);
    // Of "c:\anything" only the letter counts.
    const bool cut = kind == kind_volume && host_has_letters() && !text.empty();
    return {kind, {cut ? text.substr(0, 1) + u":" : text}, 0, 0, u"partition: " + text};
}

source_choice image_choice(const std::u16string& path, std::uint64_t volume_offset) {
    reader_kind kind = kind_file;
    if (is_letter_path(path)) kind = kind_volume;
    if (is_device_path(path)) kind = kind_device_path;
    return {kind, {path}, 0, volume_offset, path};
}

source_choice drive_choice(std::uint64_t number, std::uint64_t volume_offset) {
    const std::string text = "specified by physical drive number" + std::to_string(number);
    return {kind_physical_drive, {}, number, volume_offset, utf16_from_utf8(text)};
}
