#include "walk/paths.h"

#include <algorithm>

#include "base/diagnostic_log.h"
#include "base/text.h"
#include "ntfs/extension_records.h"
#include "ntfs/record_read.h"
#include "ntfs/record_source.h"

namespace {

constexpr std::uint32_t no_node = ~std::uint32_t{0};
constexpr std::uint32_t corrupted_part = no_node;  // stands for "<path corrupted>" among the parts of a climb
constexpr std::size_t climb_limit = 16384;         // guard: no volume can hold a longer path
constexpr std::size_t known_text_limit = 64 * 1024;
constexpr std::size_t first_slots = 1024;

std::uint64_t number_of(std::uint64_t reference) { return reference & inode_mask; }
std::uint64_t sequence_of(std::uint64_t reference) { return reference >> sequence_shift; }

std::size_t slot_of(const path_cache& cache, std::uint64_t number) {
    return static_cast<std::size_t>((number * 0x9E37'79B9'7F4A'7C15) >> 24) & (cache.slots.size() - 1);
}

template <class test>
std::uint32_t find_node(const path_cache& cache, std::uint64_t number, test wanted) {
    for (std::size_t slot = slot_of(cache, number); cache.slots[slot] != 0;
         slot = (slot + 1) & (cache.slots.size() - 1)) {
        const std::uint32_t index = cache.slots[slot] - 1;
        if (number_of(cache.nodes[index].reference) == number && wanted(cache.nodes[index])) return index;
    }
    return no_node;
}

std::uint32_t find_cached(const path_cache& cache, std::uint64_t reference) {
    return find_node(cache, number_of(reference), [reference](const path_node& node) {
        return node.reference == reference && (node.state & node_cached) != 0;
    });
}

void occupy_slot(path_cache& cache, std::uint32_t index) {
    std::size_t slot = slot_of(cache, number_of(cache.nodes[index].reference));
    while (cache.slots[slot] != 0) slot = (slot + 1) & (cache.slots.size() - 1);
    cache.slots[slot] = index + 1;
}

bool append_name(path_cache& cache, std::u16string_view name) {
    if (!cache.whole_names) return append_utf8(cache.names, name);
    const std::size_t start = cache.names.size();
    cache.names.resize(start + most_utf8 * name.size());
    const char* const end = put_whole_utf8(cache.names.data() + start, name);
    cache.names.resize(static_cast<std::size_t>(end - cache.names.data()));
    return true;
}

std::uint32_t enter_node(path_cache& cache, const path_node& node) {
    const auto index = static_cast<std::uint32_t>(cache.nodes.size());
    cache.nodes.push_back(node);
    if (2 * cache.nodes.size() <= cache.slots.size()) {
        occupy_slot(cache, index);
        return index;
    }
    cache.slots.assign(2 * cache.slots.size(), 0);
    for (std::uint32_t each = 0; each <= index; ++each) occupy_slot(cache, each);
    return index;
}

std::uint32_t add_node(path_cache& cache, std::uint64_t reference, std::uint64_t parent, std::u16string_view name,
                       std::uint8_t state) {
    path_node node;
    node.reference = reference;
    node.parent = parent;
    node.set_name_at(cache.names.size());
    if (!append_name(cache, name)) state |= node_name_cut;
    if (name.empty() || name == u".") state |= node_silent;
    node.name_bytes = static_cast<std::uint16_t>(cache.names.size() - node.name_at());
    node.state = state;
    return enter_node(cache, node);
}

// The name that stands for a directory in paths. Kept: by default its first in map order, be it the DOS name. A
// thorough run takes the first that is not, if there is one.
std::u16string_view name_in_paths(const file_record& record, bool thorough) {
    const auto& names = record.file_names;
    if (names.empty()) return {};
    auto name = names.begin();
    if (thorough) name = std::find_if(name, names.end(), [](const auto& item) { return !item.value.is_dos; });
    return name == names.end() ? names.begin()->value.name : name->value.name;
}

std::uint8_t flags_state(const file_record& record) {
    return static_cast<std::uint8_t>((record.is_directory() ? node_directory : 0) |
                                     (record.in_use() ? node_in_use : 0));
}

std::uint64_t reference_of(const file_record& record) {
    return (static_cast<std::uint64_t>(record.sequence) << sequence_shift) | record.inode;
}

// Reads a record's sequence, first name and parents. Its node is unreadable if the read fails or names no parent.
std::uint32_t lookup_parents(path_cache& cache, record_source& records, std::uint64_t number) {
    if (cache.lookup == nullptr) cache.lookup = std::make_unique<file_record>();
    file_record& record = *cache.lookup;
    if (!read_and_decode_record(record, records, number, false) || record.parents.empty()) {
        return add_node(cache, number, 0, {}, node_unreadable);
    }
    const auto state = static_cast<std::uint8_t>(node_fresh | flags_state(record));
    return add_node(cache, reference_of(record), record.parents.begin()->key, name_in_paths(record, records.thorough),
                    state);
}

// What reading a record would give now. Each record is read once; the source does not change under a walk.
std::uint32_t fresh_node(path_cache& cache, record_source& records, std::uint64_t number) {
    const std::uint32_t index = find_node(
        cache, number, [](const path_node& node) { return (node.state & (node_fresh | node_unreadable)) != 0; });
    return index != no_node ? index : lookup_parents(cache, records, number);
}

// Guard: parents of deleted records can form a ring; a reference met twice ends the climb.
bool mark_visit(path_cache& cache, std::uint32_t index, bool by_number) {
    path_node& node = cache.nodes[index];
    std::uint32_t& visit = by_number ? node.number_visit : node.visit;
    if (visit == cache.climbs) return false;
    visit = cache.climbs;
    return true;
}

const known_path* find_known(const path_cache& cache, std::uint32_t index) {
    const known_path& entry = cache.known[number_of(cache.nodes[index].reference) % cache.known.size()];
    return entry.node == index + 1 ? &entry : nullptr;
}

// The same for the first reference of a climb, without a look at any node: most files lie in a directory that some
// file before them did. Only where no other record can have the number.
const known_path* find_known_number(const path_cache& cache, std::uint64_t number) {
    const known_path& entry = cache.known[number % cache.known.size()];
    const bool is_it = entry.node != 0 && number_of(entry.reference) == number;
    return is_it && cache.numbers_are_live ? &entry : nullptr;
}

// From now on the node is found by its whole reference.
std::uint32_t keep_node(path_cache& cache, std::uint32_t index) {
    path_node& node = cache.nodes[index];
    if ((node.state & node_cached) == 0 && find_cached(cache, node.reference) == no_node) node.state |= node_cached;
    return index;
}

// The record has been freed since: a second node, under the reference that children still carry. Its text is not
// remembered, for the record's number leads to the first.
std::uint32_t keep_freed_node(path_cache& cache, std::uint32_t index, std::uint64_t reference) {
    path_node node = cache.nodes[index];
    node.reference = reference;
    node.visit = node.number_visit = 0;
    node.state = static_cast<std::uint8_t>((node.state & ~node_fresh) | node_cached);
    return enter_node(cache, node);
}

// By default a step asks for the record's own sequence number or none, and a record that gives no parent ends the path
// as if it lay in the root.
std::uint32_t take_parent(path_cache& cache, std::uint32_t index, std::uint64_t reference) {
    const path_node& node = cache.nodes[index];
    if ((node.state & node_unreadable) != 0) return no_node;
    if (sequence_of(reference) == 0 || sequence_of(reference) == sequence_of(node.reference))
        return keep_node(cache, index);
    cache.parts.push_back(corrupted_part);
    return no_node;
}

// A thorough step asks whether the record still is, or when it was freed was, the directory that the reference means.
std::uint32_t prove_parent(path_cache& cache, std::uint32_t index, std::uint64_t reference) {
    const path_node& node = cache.nodes[index];
    const auto expected = static_cast<std::uint16_t>(sequence_of(reference));
    const auto own = static_cast<std::uint16_t>(sequence_of(node.reference));
    const bool is_directory = (node.state & node_unreadable) == 0 && (node.state & node_directory) != 0;
    if (is_directory && sequence_fits(expected, own, (node.state & node_in_use) != 0)) {
        const bool by_own = expected == 0 || expected == own;
        return by_own ? keep_node(cache, index) : keep_freed_node(cache, index, reference);
    }
    cache.parts.push_back(corrupted_part);
    return no_node;
}

// The node of one step. `no_node`: the climb ends here, with `<path corrupted>` where the record is another one now.
std::uint32_t step_to(path_cache& cache, record_source& records, std::uint64_t reference) {
    std::uint32_t index = find_cached(cache, reference);
    if (index != no_node) return index;
    index = fresh_node(cache, records, number_of(reference));
    return records.thorough ? prove_parent(cache, index, reference) : take_parent(cache, index, reference);
}

// Gathers the nodes from the first reference up, in climbing order. `known` is set where an earlier climb continues.
// False: the root was not reached.
bool climb(path_cache& cache, record_source& records, std::uint64_t first, const known_path*& known) {
    std::uint64_t current = first;
    for (std::size_t steps = 0; number_of(current) != root_inode; ++steps) {
        const std::uint32_t index = step_to(cache, records, current);
        if (index == no_node) return false;
        const bool seen = steps > 0 && !mark_visit(cache, index, sequence_of(current) == 0);
        if (seen || steps == climb_limit) {
            cache.parts.push_back(corrupted_part);
            return false;
        }
        known = find_known(cache, index);
        if (known != nullptr && steps + known->steps <= climb_limit) return true;
        known = nullptr;
        const path_node& node = cache.nodes[index];
        cache.parts.push_back(index);
        if (node.parent == node.reference) {
            cache.parts.push_back(corrupted_part);
            return false;
        }
        current = node.parent;
    }
    return true;
}

// The parts, last found first. False: a name's conversion ended early, and the text with it.
bool compose(std::string& path, const path_cache& cache) {
    for (auto part = cache.parts.rbegin(); part != cache.parts.rend(); ++part) {
        if (*part == corrupted_part) {
            path += "<path corrupted>\\";
            continue;
        }
        const path_node& node = cache.nodes[*part];
        if ((node.state & node_silent) != 0) continue;
        path.append(cache.names, node.name_at(), node.name_bytes);
        if ((node.state & node_name_cut) != 0) return false;
        path += '\\';
    }
    return true;
}

// Keeps the text of a climb under its first node, if a later climb would find the very same continuation there.
void remember(path_cache& cache, const known_path* continued, const std::string& text, bool cut) {
    if (cache.parts.empty() || text.size() > known_text_limit) return;
    const std::uint32_t index = cache.parts.front();
    constexpr std::uint8_t found_either_way = node_cached | node_fresh;
    if ((cache.nodes[index].state & found_either_way) != found_either_way) return;
    const auto steps = static_cast<std::uint32_t>(cache.parts.size() + (continued != nullptr ? continued->steps : 0));
    known_path& entry = cache.known[number_of(cache.nodes[index].reference) % cache.known.size()];
    entry.reference = cache.nodes[index].reference;
    entry.node = index + 1;
    entry.steps = steps;
    entry.cut = cut;
    entry.text = text;
}

}  // namespace

void path_node::set_name_at(std::uint64_t at) {
    name_low = static_cast<std::uint32_t>(at);
    name_high = static_cast<std::uint8_t>(at >> 32);
}

path_cache::path_cache() : slots(first_slots, 0) {}
path_cache::~path_cache() = default;

void path_cache::clear() {
    nodes.clear();
    names.clear();
    slots.assign(first_slots, 0);
    for (known_path& entry : known) entry = {};
    parts.clear();
    climbs = 0;
    numbers_are_live = true;
}

std::uint64_t parent_to_climb(std::uint64_t reference, const record_source& records) {
    return records.thorough ? reference : number_of(reference);
}

void add_directory_node(path_cache& cache, const file_record& record, const record_source& records, bool reads_alike) {
    // A thorough climb must come to the same end whether the walk has passed the record or not: one that reads
    // otherwise, gives no parent, or lies in a free cluster, is not what its number leads to.
    if (records.thorough && (!reads_alike || record.parents.empty() || !cache.numbers_are_live)) return;
    const std::uint64_t reference = reference_of(record);
    if (find_cached(cache, reference) != no_node) return;
    // A read that finds no parent is a failed one: such a record is known to the walk alone.
    const bool fresh = reads_alike && cache.numbers_are_live && !record.parents.empty();
    if (fresh) {
        const std::uint32_t index = find_node(cache, number_of(reference), [reference](const path_node& node) {
            return (node.state & node_fresh) != 0 && node.reference == reference;
        });
        if (index != no_node) {
            cache.nodes[index].state |= node_cached;
            return;
        }
    }
    const std::uint64_t parent = record.parents.empty() ? 0 : record.parents.begin()->key;
    const int state = (fresh ? node_cached | node_fresh : node_cached) | flags_state(record);
    add_node(cache, reference, parent, name_in_paths(record, records.thorough), static_cast<std::uint8_t>(state));
}

bool build_path(std::string& path, std::uint64_t inode_reference, record_source& records, path_cache& cache) {
    path.clear();
    if (!source_usable(records)) return false;
    if (sequence_of(inode_reference) == 0) {
        if (const known_path* entry = find_known_number(cache, number_of(inode_reference))) {
            path = entry->text;
            return true;
        }
    }
    cache.parts.clear();
    if (++cache.climbs == 0) {
        for (path_node& node : cache.nodes) node.visit = node.number_visit = 0;
        cache.climbs = 1;
    }
    const known_path* known = nullptr;
    const bool reached = climb(cache, records, inode_reference, known);
    path = known != nullptr ? std::string_view(known->text) : std::string_view("[root]\\");
    const bool whole = !(known != nullptr && known->cut) && compose(path, cache);
    if (reached) remember(cache, known, path, !whole);
    return reached;
}
