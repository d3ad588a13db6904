#include "report/timeline_entry.h"

#include <cstring>
#include <string_view>

#include "report/default_report.h"
#include "report/report_output.h"
#include "run/run_context.h"

namespace {

struct four_times {
    std::uint64_t modified, accessed, mft_changed, created;
};

template <class entry>
four_times times_of(const entry& from) {
    return {from.modified, from.accessed, from.mft_changed, from.created};
}

// The entry of a timestamp, made if it is new. A call has a handful of them: looking at each beats any order.
timeline_entry& entry_at(timeline& times, std::uint64_t time) {
    const std::size_t used = times.times.size();
    for (std::size_t index = 0; index < used; ++index) {
        if (times.times[index] == time) return times.entries[index];
    }
    times.times.push_back(time);
    if (used == times.entries.size()) times.entries.emplace_back();
    timeline_entry& entry = times.entries[used];
    std::memset(entry.macb, '.', sizeof entry.macb);
    std::memset(entry.touched, 0, sizeof entry.touched);
    entry.long_names.clear();
    entry.dos_names.clear();
    return entry;
}

void put_in_order(timeline& times) {
    times.order.resize(times.times.size());
    for (std::uint32_t index = 0; index < times.order.size(); ++index) {
        std::size_t place = index;
        while (place > 0 && times.times[times.order[place - 1]] > times.times[index]) {
            times.order[place] = times.order[place - 1];
            --place;
        }
        times.order[place] = index;
    }
}

constexpr std::uint32_t no_name = ~std::uint32_t{0};

// A name that times are added with: its place among the group's narrow names.
struct dated_name {
    std::uint32_t index = no_name;
    bool is_dos = false;
};

void add_name(timeline_entry& entry, dated_name name, const std::vector<text_buffer>& texts) {
    if (name.index == no_name) return;
    std::vector<std::uint32_t>& names = name.is_dos ? entry.dos_names : entry.long_names;
    if (!names.empty() && names.back() == name.index) return;  // most times of a group share their name
    const std::string_view text = texts[name.index].view();
    auto place = names.begin();
    while (place != names.end() && texts[*place].view() < text) ++place;
    if (place == names.end() || texts[*place].view() != text) names.insert(place, name.index);
}

void add_times(report_scratch& scratch, const four_times& times, time_source source, dated_name name) {
    const std::uint64_t values[4] = {times.modified, times.accessed, times.mft_changed, times.created};
    timeline_entry* entry = nullptr;
    for (std::size_t letter = 0; letter < 4; ++letter) {
        if (values[letter] == 0) continue;
        // Neighbours are mostly the same.
        if (entry == nullptr || values[letter] != values[letter - 1]) {
            entry = &entry_at(scratch.times, values[letter]);
            entry->touched[source] = true;
            add_name(*entry, name, scratch.names);
        }
        entry->macb[source][letter] = "macb"[letter];
    }
}

// The call's $STANDARD_INFORMATION, whose times come first, under a further name.
void add_si(report_scratch& scratch, const si_entry& si, dated_name name, std::size_t& si_times) {
    for (std::size_t index = 0; index < si_times; ++index) add_name(scratch.times.entries[index], name, scratch.names);
    if (si_times > 0) return;
    add_times(scratch, times_of(si), from_si, name);
    si_times = scratch.times.times.size();
}

dated_name narrow_name(report_scratch& scratch, std::uint32_t index, const name_entry& name, bool whole) {
    if (index == scratch.names.size()) scratch.names.emplace_back();
    scratch.names[index].clear();
    append_name(scratch.names[index], name.name, whole);
    return {scratch.names[index].empty() ? no_name : index, name.is_dos};
}

}  // namespace

void fill_timeline(const report_call& call, report_scratch& scratch, const mft_entries_ctx& ctx) {
    scratch.times.times.clear();
    const file_record& record = call.record;
    const si_entry* si = record.std_infos.empty() ? nullptr : &record.std_infos.begin()->value;
    std::uint32_t names = 0;
    std::size_t si_times = 0;
    for (const name_entry* each : call.path != nullptr ? names_in(record, call.path->key) : all_names(record)) {
        const name_entry& name = *each;
        if (name.is_dos && ctx.hide_dos_fntimes) continue;
        const dated_name dated = narrow_name(scratch, names++, name, ctx.format_jsonl);
        if (si != nullptr) add_si(scratch, *si, dated, si_times);
        if (call.path == nullptr) continue;
        add_times(scratch, times_of(name), name.is_dos ? from_dos_name : from_long_name, dated);
    }
    if (scratch.times.times.empty() && si != nullptr) add_times(scratch, times_of(*si), from_si, {});
    put_in_order(scratch.times);
}
