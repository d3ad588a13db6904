#include "extract/stream_state.h"

#include <algorithm>

#include "base/text.h"

namespace {

// What lies behind the first folder of profiles in `path`; nothing if there is none.
std::string_view behind_profiles(std::string_view path) {
    constexpr std::string_view profile_folders[] = {"\\Users\\", "\\Documents and Settings\\"};
    for (const std::string_view folder : profile_folders) {
        const std::size_t at = path.find(folder);
        if (at != std::string_view::npos) return path.substr(at + folder.size());
    }
    return {};
}

}  // namespace

void set_user_name(std::u16string& user_name, std::string_view path) {
    const std::string_view rest = behind_profiles(path);
    if (rest.data() == nullptr) {
        user_name = u"non_acct";
        return;
    }
    // A file in the profile folder itself has no account: its path ends with the component.
    const std::size_t end = rest.find('\\');
    user_name.clear();
    if (end != std::string_view::npos && end + 1 < rest.size()) user_name = utf16_from_utf8(rest.substr(0, end));
}

bool stream_state::is_handled(attr_key key) const { return std::binary_search(handled.begin(), handled.end(), key); }

// Keys come in order, once for each path of a record.
void stream_state::set_handled(attr_key key) {
    const auto place = std::lower_bound(handled.begin(), handled.end(), key);
    if (place == handled.end() || *place != key) handled.insert(place, key);
}

void stream_state::clear_digests() {
    md5_digest = {};
    sha1_digest = {};
    has_digests = false;
}

void stream_state::begin_stream(const file_record& record, std::string_view path) {
    extracted_path.clear();
    clear_digests();
    was_deleted = !record.in_use() || record.matches[match_deleted].hit;
    set_user_name(user_name, path);
}
