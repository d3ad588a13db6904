// Makes a large, valid $MFT file to measure with: the same bytes for the same arguments, on every machine.
// Run by bench/run.sh and bench/peers.sh; prints what a reader of the file will meet, as name=value.
// Makes records only: the clusters that their runs name exist nowhere. Shares no code with the program.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "made_volume.h"
#include "system_files.h"

namespace {

using namespace bench;

// ---- directories ----------------------------------------------------------------------------------------------------

// One directory of a level is drawn, twice if the first was deleted: few live below what is gone.
std::size_t draw_parent(volume& volume, std::size_t depth) {
    while (volume.by_depth[depth].empty()) --depth;
    const std::vector<std::size_t>& level = volume.by_depth[depth];
    const std::size_t recent = volume.dice.permille(500) ? std::min<std::size_t>(level.size(), 32) : level.size();
    std::size_t place = level[level.size() - 1 - volume.dice.below(recent)];
    if (volume.directories[place].deleted) place = level[volume.dice.below(level.size())];
    return place;
}

std::size_t usual_parent(volume& volume) {
    constexpr std::size_t share[deepest_usual] = {1, 4, 8, 12, 15, 16, 14, 11, 8, 6, 3, 2};  // percent by depth
    std::size_t depth = 0;
    for (std::uint64_t rest = volume.dice.below(100); rest >= share[depth]; ++depth) rest -= share[depth];
    return draw_parent(volume, depth);
}

std::size_t plan_directory(volume& volume, std::uint64_t number, std::size_t parent) {
    directory made;
    made.number = number;
    made.parent = parent;
    made.depth = volume.directories[parent].depth + 1;
    made.salt = volume.dice.next();
    made.sequence = static_cast<std::uint16_t>(1 + volume.dice.below(4));
    const bool usual = volume.shape == tree_shape::usual;
    made.deleted = usual && (volume.directories[parent].deleted || volume.dice.permille(30));
    made.empty = usual && volume.dice.permille(100);
    const std::size_t place = volume.directories.size();
    volume.directories.push_back(made);
    if (!made.empty && made.depth < deepest_usual) volume.by_depth[made.depth].push_back(place);
    if (!made.empty) volume.homes.push_back(place);
    volume.made.deepest = std::max<std::uint64_t>(volume.made.deepest, made.depth);
    return place;
}

std::u16string name_for_directory(const volume& volume, const directory& made) {
    if (volume.shape == tree_shape::deep) return {static_cast<char16_t>(u'a' + made.depth % 26)};
    const directory& parent = volume.directories[made.parent];
    return directory_name_of(parent.salt, parent.entries);
}

record_builder make_directory(volume& volume, std::uint64_t number, std::size_t place) {
    directory& made = volume.directories[place];
    made.known = true;
    const auto sequence = static_cast<std::uint16_t>(made.sequence + (made.deleted ? 1 : 0));
    record_builder record = start_record(number, sequence, made.deleted ? directory_bit : live_directory);
    const record_times times = times_of_directory(volume.dice, creation_time(volume, number));
    const bool mounted = volume.dice.permille(2);
    const std::uint32_t attributes = mounted ? 0x410 : 0x10;
    add_resident(record, standard_information, 0, u"", standard_value(times.info, attributes & ~0x10u, number));
    const link name = link_into(volume, made.parent, name_for_directory(volume, made));
    const std::uint16_t links = add_names(volume, record, {name}, times.name, 0x1000'0000 | (attributes & ~0x10u));
    if (volume.dice.permille(20)) add_object_id(volume, record);
    add_index(volume, record, made.empty);
    if (mounted) add_resident(record, reparse_point, record.next_id, u"", mount_point());
    if (volume.dice.permille(10)) add_resident(record, logged_stream, record.next_id, u"$TXF_DATA", byte_vector(56, 0));
    finish_record(record, number, links);
    ++volume.made.directories;
    volume.made.deleted += made.deleted ? 1 : 0;
    return record;
}

// ---- files ----------------------------------------------------------------------------------------------------------

std::vector<link> links_of_file(volume& volume, std::size_t home) {
    const directory& parent = volume.directories[home];
    std::vector<link> links{link_into(volume, home, file_name_of(parent.salt, parent.entries))};
    if (parent.deleted || !volume.dice.permille(7)) return links;
    std::size_t other = volume.homes[volume.dice.below(volume.homes.size())];
    if (volume.directories[other].deleted || volume.dice.permille(200)) other = home;
    ++volume.made.hard_links;
    // The first name will have taken an entry of its directory.
    const std::uint64_t ordinal = volume.directories[other].entries + (other == home ? 1 : 0);
    links.push_back(link_into(volume, other, file_name_of(volume.directories[other].salt, ordinal)));
    return links;
}

void add_named_stream(volume& volume, record_builder& record) {
    constexpr std::u16string_view names[] = {u"Zone.Identifier", u"Zone.Identifier", u"Zone.Identifier", u"SmartScreen",
                                             u"{4c8cc155-6c1e-11d1-8e41-00c04fb9386d}"};
    const std::u16string_view name = pick(names, volume.dice.next());
    const std::size_t size = name.size() > 20 ? 0 : 26 + volume.dice.below(100);
    if (!has_room(record, resident_length(name.size(), size))) return;
    add_resident(record, data_stream, record.next_id, name, random_bytes(volume.dice, size));
    ++volume.made.streams;
}

void add_data(volume& volume, record_builder& record) {
    const std::uint64_t kind = volume.dice.below(1000);
    if (kind < 200) {
        const std::size_t room = std::min<std::size_t>(600, record_size - record.used - 40);
        const std::size_t size = kind < 20 ? 0 : 1 + volume.dice.below(room);
        add_resident(record, data_stream, 1, u"", random_bytes(volume.dice, size));
    } else {
        const std::size_t pieces = kind < 800 ? 1 : kind < 940 ? 2 : 3;
        stream_part part = allocate_stream(volume, 1 + volume.dice.below(1u << volume.dice.below(10)), pieces);
        if (kind >= 997) part.runs.push_back({0, 16, true});
        if (kind >= 997) part.size += 16 * cluster_size;
        add_non_resident(record, data_stream, 1, u"", part);
    }
    if (volume.dice.permille(70)) add_named_stream(volume, record);
}

// A stream in so many pieces that records behind its own hold it. Returns their entries of the attribute list.
byte_vector make_extensions(volume& volume, std::uint64_t base_number, std::uint16_t base_sequence) {
    const std::size_t pieces = 24 + volume.dice.below(30);
    std::vector<stream_part> parts{allocate_stream(volume, pieces * 8, pieces)};
    if (volume.dice.permille(250)) parts.push_back(split_off(parts.front(), pieces / 2));
    byte_vector list;
    for (const stream_part& part : parts) {
        const std::uint64_t number = base_number + 1 + volume.extensions.size();
        const auto sequence = static_cast<std::uint16_t>(1 + volume.dice.below(3));
        record_builder record = start_record(number, sequence, live_file, reference(base_number, base_sequence));
        add_non_resident(record, data_stream, 0, u"", part);
        append_list_entry(list, data_stream, part.first_vcn, reference(number, sequence), 0);
        if (parts.size() == 1 && volume.dice.permille(200)) {
            add_resident(record, data_stream, 1, u"SmartScreen", random_bytes(volume.dice, 7));
            append_list_entry(list, data_stream, 0, reference(number, sequence), 1, u"SmartScreen");
        }
        finish_record(record, number, 0);
        volume.extensions.push_back(record);
    }
    ++volume.made.attribute_lists;
    volume.made.extension_records += parts.size();
    return list;
}

void add_list(volume& volume, record_builder& record, const link& link, std::uint64_t number, std::uint16_t sequence) {
    const std::uint64_t self = reference(number, sequence);
    byte_vector list;
    append_list_entry(list, standard_information, 0, self, 0);
    if (link.space == win32_name) append_list_entry(list, file_name, 0, self, 3);
    append_list_entry(list, file_name, 0, self, 2);
    const byte_vector elsewhere = make_extensions(volume, number, sequence);
    list.insert(list.end(), elsewhere.begin(), elsewhere.end());
    add_resident(record, attribute_list, 4, u"", list);
}

bool may_be_followed(const volume& volume, std::uint64_t number) {
    const auto next = volume.ahead.lower_bound(number);
    return number + 3 < volume.first_unused() && (next == volume.ahead.end() || next->first > number + 2);
}

record_builder make_file(volume& volume, std::uint64_t number, std::size_t home) {
    const bool deleted = volume.directories[home].deleted || volume.dice.permille(80);
    const auto sequence = static_cast<std::uint16_t>(1 + volume.dice.below(6));
    record_builder record = start_record(number, sequence, deleted ? deleted_file : live_file);
    const record_times times = times_of_file(volume.dice, creation_time(volume, number));
    add_resident(record, standard_information, 0, u"", standard_value(times.info, 0x20, number));
    const std::vector<link> links = links_of_file(volume, home);
    const bool listed = !deleted && links.size() == 1 && may_be_followed(volume, number) && volume.dice.below(400) == 0;
    if (listed) add_list(volume, record, links.front(), number, sequence);
    const std::uint16_t names = add_names(volume, record, links, times.name, 0x20);
    if (volume.dice.permille(20)) add_object_id(volume, record);
    if (!listed) add_data(volume, record);
    finish_record(record, number, names);
    ++volume.made.files;
    volume.made.deleted += deleted ? 1 : 0;
    return record;
}

// ---- the order of records -------------------------------------------------------------------------------------------

// Files come in bursts: a directory gets some, then another has its turn, a recent one more often than not.
std::size_t home_for_file(volume& volume) {
    if (volume.shape == tree_shape::wide) return volume.homes.back();
    if (volume.home_left-- > 0) return volume.home;
    const std::size_t count = volume.homes.size();
    const bool recent = volume.shape == tree_shape::usual && volume.dice.permille(550);
    const std::size_t back = volume.dice.below(recent ? std::min<std::size_t>(count, 64) : count);
    volume.home = volume.homes[count - 1 - back];
    volume.home_left = volume.dice.below(24);
    return volume.home;
}

bool wants_directory(volume& volume, std::uint64_t number) {
    if (volume.shape == tree_shape::wide)
        return volume.homes.size() == 1 || volume.directories.back().entries >= widest;
    if (volume.shape == tree_shape::deep) return number % 10 == 0 && volume.made.deepest < deepest_chain;
    return volume.dice.permille(84);
}

record_builder make_next(volume& volume, std::uint64_t number) {
    if (!wants_directory(volume, number)) return make_file(volume, number, home_for_file(volume));
    if (volume.shape != tree_shape::usual) {
        const std::size_t parent = volume.shape == tree_shape::wide ? root : volume.homes.back();
        return make_directory(volume, number, plan_directory(volume, number, parent));
    }
    const std::uint64_t later = number + 20 + volume.dice.below(4000);
    const std::size_t parent = usual_parent(volume);
    if (!volume.dice.permille(40) || later >= volume.first_unused() || volume.ahead.count(later) != 0) {
        return make_directory(volume, number, plan_directory(volume, number, parent));
    }
    // This one's record lies behind those of its first files.
    const std::size_t place = plan_directory(volume, later, parent);
    volume.ahead[later] = place;
    if (!volume.directories[place].empty) volume.home = place;
    volume.home_left = volume.dice.below(24);
    return make_file(volume, number, volume.home);
}

record_builder make_record(volume& volume, std::uint64_t number) {
    if (number < 16 || (number >= 24 && number < first_user_record)) return make_system_file(volume, number);
    if (!volume.extensions.empty()) {
        const record_builder record = volume.extensions.front();
        volume.extensions.erase(volume.extensions.begin());
        return record;
    }
    if (const auto planned = volume.ahead.find(number); planned != volume.ahead.end()) {
        const std::size_t place = planned->second;
        volume.ahead.erase(planned);
        return make_directory(volume, number, place);
    }
    if (number >= first_user_record && volume.dice.below(1000) == 0) volume.never_used_left = 1 + volume.dice.below(32);
    if (number < 24 || number >= volume.first_unused() || volume.never_used_left > 0) {
        if (volume.never_used_left > 0) --volume.never_used_left;
        ++volume.made.never_used;
        return {};
    }
    return make_next(volume, number);
}

volume new_volume(std::uint64_t records, tree_shape shape) {
    volume volume;
    volume.records = records;
    volume.shape = shape;
    volume.dice.state = 0x6D66'7421;
    directory root_directory, extend_directory;
    root_directory.number = 5;
    root_directory.salt = 7;
    extend_directory.number = extend_directory.sequence = 11;
    extend_directory.depth = 1;
    volume.directories = {root_directory, extend_directory};
    volume.by_depth[0] = {root};
    volume.homes = {root};
    return volume;
}

bool write_file(volume& volume, const char* path) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    byte_vector block;
    for (std::uint64_t number = 0; number < volume.records && out; ++number) {
        const record_builder record = make_record(volume, number);
        block.insert(block.end(), record.bytes.begin(), record.bytes.end());
        if (block.size() < (1u << 20) && number + 1 < volume.records) continue;
        out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size()));
        block.clear();
    }
    return static_cast<bool>(out.flush());
}

void print_counts(const volume& volume) {
    const counts& made = volume.made;
    const std::pair<const char*, std::uint64_t> lines[] = {
        {"records", volume.records},
        {"directories", made.directories},
        {"files", made.files},
        {"deleted", made.deleted},
        {"never_used", made.never_used},
        {"hard_links", made.hard_links},
        {"short_names", made.short_names},
        {"named_streams", made.streams},
        {"attribute_lists", made.attribute_lists},
        {"extension_records", made.extension_records},
        {"climbed_ahead", made.climbed_ahead},
        {"deepest", made.deepest},
    };
    for (const auto& [name, value] : lines) std::printf("%s=%llu\n", name, static_cast<unsigned long long>(value));
}

}  // namespace

int main(int count, char** arguments) {
    const std::string_view shape = count > 3 ? arguments[3] : "usual";
    const std::uint64_t records = count > 2 ? std::strtoull(arguments[2], nullptr, 10) : 0;
    if (records < 64 || records > 0xFFFF'FFFF || (shape != "usual" && shape != "wide" && shape != "deep")) {
        std::fprintf(stderr, "make_mft <file> <records, at least 64> [usual | wide | deep]\n");
        return 2;
    }
    const tree_shape kind = shape == "wide" ? tree_shape::wide : shape == "deep" ? tree_shape::deep : tree_shape::usual;
    volume made = new_volume(records, kind);
    if (!write_file(made, arguments[1])) give_up("the file could not be written");
    print_counts(made);
    return 0;
}
