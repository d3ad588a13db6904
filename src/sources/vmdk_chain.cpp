#include "sources/vmdk_chain.h"

#include <algorithm>
#include <cstring>

#include "base/diagnostic_log.h"
#include "base/numbers.h"
#include "base/text.h"
#include "sources/vmdk_layout.h"

namespace {

vmdk_disk* owner_of(const vmdk_chain& chain, std::uint64_t offset) {
    std::uint64_t ignored = 0;
    vmdk_disk* disk = chain.leaf;
    while (disk != nullptr && !disk->map(offset, ignored)) disk = disk->parent;
    return disk;
}

// Zeros in the place of bytes change every digest that they enter. Once a grain, and not for ever.
void tell_lost_grain(vmdk_chain& chain, const vmdk_disk& disk, std::uint64_t offset) {
    constexpr std::size_t most_told = 65'536;
    const std::uint64_t grain = offset - offset % disk.grain_bytes;
    if (!is_read(chain.log) || chain.lost_grains.size() > most_told || !chain.lost_grains.insert(grain).second) return;
    std::string text = "err: zeros from ";
    append_hex(text, offset);
    text += " of the virtual disk on: ";
    text += disk.system_error == 0 ? "behind the end" : system_error_text(disk.system_error);
    text += ": " + utf8_from_utf16(disk.path);
    if (chain.lost_grains.size() > most_told) text = "err: zeros in more grains than are told of";
    log_diag_text(chain.log, text);
}

// At most to the end of the owner's grain, or of the base's where there is no owner. Returns how many came: at least 1.
std::uint32_t read_piece(vmdk_chain& chain, std::uint8_t* to, std::uint64_t offset, std::uint32_t size) {
    vmdk_disk* const owner = owner_of(chain, offset);
    const std::uint64_t grain_bytes = (owner != nullptr ? owner : chain.base)->grain_bytes;
    const auto piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, grain_bytes - offset % grain_bytes));
    if (owner != nullptr) {
        std::uint32_t came = piece;
        owner->system_error = 0;
        if (owner->read_grains(to, offset, came)) return came;
        chain.system_error = owner->system_error;
        tell_lost_grain(chain, *owner, offset);
    }
    std::memset(to, 0, piece);
    return piece;
}

// Of spans without a table of their own in any disk, which disks have the shared one there: spans of one kind hold the
// same bytes. 0: it is like no other, tables do not cover the same in all disks, or there is none: disks pass over
// that by themselves, behind their last table in one step.
std::uint64_t kind_of_span(const vmdk_chain& chain, std::uint64_t index) {
    constexpr std::size_t most_disks = 63;
    if (chain.ordered_disks.size() > most_disks) return 0;
    std::uint64_t kind = 1, shared = 0;
    for (const vmdk_disk* disk : chain.ordered_disks) {
        if (disk->table_span != chain.leaf->table_span || disk->has_own_table(index)) return 0;
        const bool is_shared = index < disk->table_places.size() && disk->table_places[index] != vmdk_disk::no_table;
        shared |= is_shared ? 1u : 0u;
        kind = kind << 1 | (is_shared ? 1u : 0u);
    }
    return shared != 0 ? kind : 0;
}

// True if the span at `offset` holds nothing that the search has not passed.
bool is_repeated(vmdk_chain& chain, std::uint64_t offset) {
    vmdk_search& search = chain.searched;
    const std::uint64_t span = offset / chain.leaf->table_span;
    if (span != search.span) {
        if (search.span_kind != 0) search.passed_kinds.insert(search.span_kind);
        search.span = span;
        search.span_kind = kind_of_span(chain, span);
    }
    return search.span_kind != 0 && search.passed_kinds.contains(search.span_kind);
}

// Guard: tables may name the same grains over and over. All files together hold no more grains than these.
bool is_endless(const vmdk_chain& chain) {
    constexpr std::uint64_t most_at_once = 1024 * 1024;  // bytes that a search reads in a row
    constexpr std::uint64_t spare_answers = 4096, spare_steps = 1u << 20;
    std::uint64_t bytes = 0, least = most_at_once;
    for (const vmdk_disk* disk : chain.ordered_disks) {
        bytes += disk->file_size;
        least = std::min(least, disk->grain_bytes);
    }
    return chain.searched.answers > bytes / least + spare_answers || chain.searched.steps > bytes + spare_steps;
}

}  // namespace

bool vmdk_chain::add(const std::u16string& path) {
    auto disk = std::make_unique<vmdk_disk>();
    const bool opened = disk->open(path);
    if (!opened) system_error = disk->system_error;
    const std::string why = disk->system_error != 0 ? system_error_text(disk->system_error) : disk->fault;
    if (!why.empty()) log_diag_text(log, "err: " + utf8_from_utf16(path) + ": " + why);
    if (!opened) return false;
    std::string id = disk->cid;
    disks.try_emplace(std::move(id), std::move(disk));
    return true;
}

void join_disks(vmdk_disk& parent, vmdk_disk& child) {
    child.parent = &parent;
    parent.child = &child;
}

void order_disks(vmdk_chain& chain) {
    chain.ordered_disks.clear();
    vmdk_disk* disk = chain.base;
    for (; disk != nullptr && chain.ordered_disks.size() < chain.disks.size(); disk = disk->child) {
        chain.ordered_disks.push_back(disk);
        chain.leaf = disk;
    }
    chain.ready = chain.base != nullptr && disk == nullptr;
}

bool vmdk_chain::link() {
    base = nullptr;
    bool complete = true;
    for (const auto& [id, disk] : disks) {
        if (disk->parent_cid == cid_of_no_parent) {
            base = disk.get();
            continue;
        }
        const auto parent = disks.find(disk->parent_cid);
        if (parent == disks.end())
            complete = false;
        else
            join_disks(*parent->second, *disk);
    }
    if (!complete || base == nullptr) return false;
    order_disks(*this);
    return ready;
}

bool vmdk_chain::read(void* buffer, std::uint64_t offset, std::uint32_t& size) {
    if (!ready || buffer == nullptr || size == 0) return false;
    system_error = 0;
    auto* const to = static_cast<std::uint8_t*>(buffer);
    for (std::uint32_t done = 0; done < size;) done += read_piece(*this, to + done, offset + done, size - done);
    return true;
}

std::uint64_t vmdk_chain::size() const {
    constexpr std::uint64_t most_sectors = INT64_MAX / vmdk_sector;  // positions are signed
    return ready ? std::min(base->capacity, most_sectors) * vmdk_sector : 0;
}

std::uint64_t vmdk_chain::next_data(std::uint64_t offset) {
    const std::uint64_t end = size();
    if (offset < searched.asked) searched = {};  // another one begins
    searched.asked = offset;
    while (offset < end && !is_endless(*this)) {
        ++searched.steps;
        std::uint64_t nearest = end;
        if (is_repeated(*this, offset)) {
            nearest = (searched.span + 1) * leaf->table_span;
        } else {
            for (const vmdk_disk* disk : ordered_disks) nearest = std::min(nearest, disk->next_data(offset));
        }
        if (nearest == offset) return ++searched.answers, offset;
        offset = nearest;
    }
    return end;
}
