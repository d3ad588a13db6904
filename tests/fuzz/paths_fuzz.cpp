// Whatever the directories name as their parents: a walk shows the paths that a climb which reads every record afresh
// would find. The climb here is the plain one, with a map of what it met; the program's keeps texts of earlier climbs.
#include <map>
#include <set>

#include "fuzz/target.h"
#include "ntfs/record_read.h"
#include "walk/acceptance.h"
#include "walk/walk_state.h"

namespace {

constexpr std::size_t bytes_per_record = 4, first_number = 6;
constexpr std::size_t most_records = 48;

// Four bytes a record: its parent, a second parent, sequence numbers, and what kind of record it is with which name.
build::bytes mft_of(const std::uint8_t* data, std::size_t count) {
    const char16_t* names[] = {u"a", u"b", u".", u"", u"long name", u"x\xd800y", u"\xd83d\xde00", u"c\\d"};
    std::vector<build::bytes> records(first_number + count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::uint8_t* bytes = data + bytes_per_record * index;
        const std::size_t numbers = records.size() + 1;  // one more than there are: a parent may be missing
        const auto own = static_cast<std::uint16_t>(bytes[2] & 3),
                   parents = static_cast<std::uint16_t>(bytes[2] >> 2 & 3);
        build::record made;
        made.sequence(own).std_info();
        if ((bytes[3] & 0x80) != 0) made.directory();
        if ((bytes[3] & 0x40) != 0) made.deleted();
        const std::uint8_t name_space = (bytes[3] & 0x20) != 0 ? build::dos : build::win32;
        made.name(names[bytes[3] & 7], name_space, build::reference(bytes[0] % numbers, parents));
        if ((bytes[3] & 0x10) != 0) {
            const auto second = static_cast<std::uint16_t>(bytes[2] >> 4 & 3);
            made.name(names[bytes[3] >> 1 & 7], build::posix, build::reference(bytes[1] % numbers, second));
        }
        if ((bytes[2] & 0x80) == 0) records[first_number + index] = made.on_disk();
    }
    return build::mft(records);
}

struct plain_node {
    std::u16string name;
    std::uint64_t parent = 0;
};
using plain_cache = std::map<std::uint64_t, plain_node>;

plain_node node_of(const file_record& record) {
    plain_node node;
    if (!record.file_names.empty()) node.name = record.file_names.begin()->value.name;
    if (!record.parents.empty()) node.parent = record.parents.begin()->key;
    return node;
}

std::uint64_t with_sequence(const file_record& record) { return build::reference(record.inode, record.sequence); }

// The node of one step, in the cache or read now; `current` gets the sequence number that it lacked. False: the climb
// ends here, with a word if the number was reused.
bool plain_step(plain_node& node, std::uint64_t& current, std::vector<std::u16string>& parts, mft_entries_ctx& ctx,
                plain_cache& cache) {
    if (const auto found = cache.find(current); found != cache.end()) {
        node = found->second;
        return true;
    }
    file_record record;
    if (!read_and_decode_record(record, ctx, current & inode_mask, false) || record.parents.empty()) return false;
    const std::uint64_t wanted = current >> sequence_shift;
    if (wanted == 0) current = with_sequence(record);
    if (wanted != 0 && wanted != record.sequence) {
        parts.push_back(u"<path corrupted>");
        return false;
    }
    node = node_of(record);
    cache.emplace(current, node);
    return true;
}

std::string plain_path(std::uint64_t current, mft_entries_ctx& ctx, plain_cache& cache) {
    std::vector<std::u16string> parts;
    std::set<std::uint64_t> visited;
    plain_node node;
    while ((current & inode_mask) != root_inode && plain_step(node, current, parts, ctx, cache)) {
        parts.push_back(node.name);
        if (!visited.insert(node.parent).second || node.parent == current) {
            parts.push_back(u"<path corrupted>");
            break;
        }
        current = node.parent;
    }
    std::u16string path = u"[root]\\";
    for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
        if (!part->empty() && *part != u".") path += *part + u"\\";
    }
    return utf8_from_utf16(path);
}

}  // namespace

int run_input(const std::uint8_t* data, std::size_t size) {
    const std::size_t count = std::min(size / bytes_per_record, most_records);
    const temporary_file file(mft_of(data, count));
    mft_entries_ctx ctx;
    open_mft(ctx, file);
    plain_cache cache;
    walk_state state;
    file_record record;
    std::vector<std::uint8_t> buffer;
    for (std::uint64_t inode = 0; inode < first_number + count; ++inode) {
        bool bad = false;
        if (!read_file_record(buffer, bad, ctx, inode) || !parse_file_record(record, buffer, inode, ctx, state))
            continue;
        if (record.is_directory()) cache.emplace(with_sequence(record), node_of(record));
        for (const auto& item : record.parents) {
            expect(item.value.path == plain_path(item.key & inode_mask, ctx, cache));
        }
    }
    return 0;
}
