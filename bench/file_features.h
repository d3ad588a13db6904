// What a file of a used volume looks like from outside: its names, long and short, and its times.
// Used by bench/make_mft.cpp alone; the same dice and numbers give the same file.
// Makes no bytes, and does not know which directory a file is in.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace bench {

struct random_source {
    std::uint64_t state = 0;

    std::uint64_t next() {
        std::uint64_t mixed = state += 0x9E37'79B9'7F4A'7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58'476D'1CE4'E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D0'49BB'1331'11EB;
        return mixed ^ (mixed >> 31);
    }
    std::uint64_t below(std::uint64_t bound) { return (next() >> 16) % bound; }
    bool permille(std::uint64_t share) { return below(1000) < share; }
};

inline constexpr std::uint64_t ticks_per_second = 10'000'000;
inline constexpr std::uint64_t ticks_per_day = 86'400 * ticks_per_second;
inline constexpr std::uint64_t first_day = 130'961'664'000'000'000;  // 2016-01-01 as a FILETIME
inline constexpr std::uint64_t days_of_use = 2500;                   // with all that follows it, over before 2024

struct four_times {
    std::uint64_t created = 0, modified = 0, changed = 0, accessed = 0;
};

struct record_times {
    four_times info, name;
};

inline four_times all_at(std::uint64_t time) { return {time, time, time, time}; }

inline std::uint64_t whole_second(std::uint64_t time) { return time / ticks_per_second * ticks_per_second; }

// Three to four distinct times for most: unpacked files are older than their record, others were worked on later.
inline record_times times_of_file(random_source& dice, std::uint64_t created) {
    record_times times{all_at(created), all_at(created)};
    four_times& info = times.info;
    const std::uint64_t kind = dice.below(100);
    if (kind < 40) {
        info.modified = created - dice.below(900 * ticks_per_day);
        if (kind < 22) info.modified = whole_second(info.modified);  // as archives keep it
        info.changed = created + dice.below(20 * ticks_per_second);
    } else if (kind < 50) {
        info.modified = info.changed = created + dice.below(5 * ticks_per_second);
        if (kind < 45) info.accessed = info.modified;
    } else if (kind < 97) {
        info.modified = created + dice.below(100 * ticks_per_day);
        info.changed = info.modified + dice.below(9 * ticks_per_day);
        info.accessed = info.changed + dice.below(90 * ticks_per_day);
    }
    const std::uint64_t name_kind = dice.below(1000);
    if (name_kind < 120) times.name.modified = info.modified;  // renamed: the name took the times over
    if (name_kind >= 120 && name_kind < 200) times.name.modified = times.name.changed = created + dice.below(90'000);
    if (name_kind == 999) info.created = info.changed = created - 700 * ticks_per_day;  // set back by hand
    return times;
}

inline record_times times_of_directory(random_source& dice, std::uint64_t created) {
    record_times times{all_at(created), all_at(created)};
    times.info.modified = times.info.changed = created + dice.below(60 * ticks_per_day);
    times.info.accessed = times.info.modified + (dice.permille(600) ? dice.below(60 * ticks_per_day) : 0);
    return times;
}

inline constexpr std::u16string_view words[] = {
    u"account", u"archive",  u"audit",   u"backup",  u"budget",  u"cache",   u"channel",  u"client",
    u"config",  u"contract", u"core",    u"credit",  u"data",    u"default", u"design",   u"device",
    u"display", u"draft",    u"driver",  u"engine",  u"event",   u"export",  u"feature",  u"filter",
    u"font",    u"graph",    u"handler", u"hotfix",  u"image",   u"import",  u"index",    u"install",
    u"invoice", u"journal",  u"kernel",  u"letter",  u"library", u"license", u"list",     u"manual",
    u"market",  u"media",    u"meeting", u"memory",  u"message", u"minutes", u"module",   u"monitor",
    u"network", u"notes",    u"office",  u"order",   u"package", u"payment", u"picture",  u"plan",
    u"policy",  u"printer",  u"process", u"project", u"query",   u"report",  u"resource", u"runtime"};
inline constexpr std::u16string_view foreign_words[] = {
    u"Übersicht Größe", u"résumé façade", u"Отчёт за март", u"договор аренды", u"έγγραφο πελάτη", u"旅行の写真",
    u"会议资料 最终",   u"분기 보고서",   u"smørrebrød",    u"mañana último",  u"fête 😀 photo",   u"żółta łódź"};
inline constexpr std::u16string_view endings[] = {u".dll",  u".xml", u".txt",  u".docx", u".png", u".manifest",
                                                  u".js",   u".log", u".pdf",  u".json", u".exe", u".mui",
                                                  u".html", u".h",   u".xlsx", u".cat"};

template <class element, std::size_t count>
const element& pick(const element (&table)[count], std::uint64_t number) {
    return table[number % count];
}

inline void append_number(std::u16string& text, std::uint64_t number, unsigned base, std::size_t width) {
    std::u16string digits;
    for (; number != 0 || digits.size() < width; number /= base)
        digits.insert(digits.begin(), u"0123456789abcdef"[number % base]);
    text += digits;
}

// Two words, and a number that tells each 64 entries of a directory from the others.
inline std::u16string word_pair(std::uint64_t salt, std::uint64_t ordinal, std::u16string_view between) {
    std::u16string name(pick(words, salt + ordinal));
    name.append(between).append(pick(words, (salt >> 8) + 7 * ordinal));
    if (ordinal >= std::size(words)) append_number(name += u'-', ordinal / std::size(words), 10, 1);
    return name;
}

// The name of a directory's entry number `ordinal`; `salt` is the directory's own: 64 entries, one kind of file.
inline std::u16string file_name_of(std::uint64_t salt, std::uint64_t ordinal) {
    salt += ordinal / std::size(words) * 0x9E37'79B9'7F4A'7C15;
    const std::u16string_view ending = pick(endings, salt >> 20);
    std::u16string name;
    switch (salt % 12) {
        case 0: append_number(name = u"IMG_", ordinal, 10, 4); return name += u".JPG";
        case 1:
            append_number(name, (salt >> 4) ^ ordinal * 0xBF58'476D'1CE4'E5B9, 16, 16);
            append_number(name += u'-', ordinal, 16, 8);
            return name += u".dat";
        case 2:
            append_number(name = word_pair(salt, ordinal, u" of ") + u" (", ordinal + 1, 10, 1);
            return name += u").docx";
        case 3: return u"api-ms-" + word_pair(salt, ordinal, u"-") + u"-l1-1-0.dll";
        case 4:
            append_number(name.append(pick(foreign_words, salt >> 30)) += u' ', ordinal + 1, 10, 2);
            return name.append(ending);
        case 5: append_number(name = u"data_", ordinal, 10, 1); return name;
        case 6: return (name = word_pair(salt, ordinal, u"_") + u".").append(pick(words, salt >> 7)).append(ending);
        default: return (name = word_pair(salt, ordinal, salt % 2 == 0 ? u"-" : u"")).append(ending);
    }
}

inline std::u16string directory_name_of(std::uint64_t salt, std::uint64_t ordinal) {
    std::u16string name;
    if (salt % 25 == 0) {
        append_number(name.append(pick(foreign_words, salt >> 30)) += u' ', ordinal, 10, 1);
        return name;
    }
    name = word_pair(salt, ordinal, salt % 3 == 0 ? u" " : u"");
    name[0] = static_cast<char16_t>(name[0] - u'a' + u'A');
    return name;
}

inline bool plain_unit(char16_t unit) {
    const bool letter = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
    return letter || (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'-';
}

inline bool fits_8_3(std::u16string_view name) {
    const std::size_t dot = std::min(name.find(u'.'), name.size());
    const std::u16string_view stem = name.substr(0, dot), rest = name.substr(std::min(dot + 1, name.size()));
    if (stem.empty() || stem.size() > 8 || rest.size() > 3) return false;
    return std::all_of(stem.begin(), stem.end(), plain_unit) && std::all_of(rest.begin(), rest.end(), plain_unit);
}

inline std::u16string capitals(std::u16string_view name, std::size_t most) {
    std::u16string out;
    for (char16_t unit : name) {
        if (out.size() == most) break;
        if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 32);
        if (plain_unit(unit)) out += unit;
    }
    return out;
}

// NAME~1.EXT; later entries of a directory carry four hexadecimal digits of their own instead.
inline std::u16string short_name_of(std::u16string_view name, std::uint64_t ordinal) {
    const std::size_t dot = name.rfind(u'.');
    std::u16string out = capitals(name.substr(0, dot), ordinal < 4 ? 6 : 2);
    if (ordinal >= 4) append_number(out, (ordinal * 40503) & 0xFFFF, 16, 4);
    out = capitals(out, 8) + u'~';
    append_number(out, ordinal < 4 ? ordinal + 1 : 1 + (ordinal >> 16), 10, 1);
    if (dot != name.npos) out += u'.' + capitals(name.substr(dot + 1), 3);
    return out;
}

}  // namespace bench
