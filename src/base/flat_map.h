// Ordered map for a handful of entries: a sorted vector that keeps its storage when cleared.
// Used by everything that is refilled once per record; for a few dozen keys at most it beats a tree.
// References into it last until the next insertion, or, where many keys came out of order, until the entries are looked
// at next. Entries are not destroyed by clear(), only forgotten; release() gives their storage back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>
#include <vector>

template <class key_type, class value_type>
struct flat_map_item {
    key_type key{};
    value_type value{};
};

template <class key_type, class value_type>
class flat_map {
public:
    using item = flat_map_item<key_type, value_type>;

    item* begin() {
        if (!places_.empty()) put_in_order();
        return items_.data();
    }
    item* end() { return begin() + used_; }
    const item* begin() const { return const_cast<flat_map*>(this)->begin(); }
    const item* end() const { return const_cast<flat_map*>(this)->end(); }
    std::size_t size() const { return used_; }
    bool empty() const { return used_ == 0; }
    void clear() {
        used_ = 0;
        if (!places_.empty()) places_.clear();
    }
    void release() {
        clear();
        items_ = {};
    }

    template <class any_key>
    value_type* find(const any_key& key) {
        if (!places_.empty()) {
            const auto place = places_.find(key);
            return place == places_.end() ? nullptr : &items_[place->second].value;
        }
        const std::size_t index = lower_bound(key);
        return index < used_ && !(key < items_[index].key) ? &items_[index].value : nullptr;
    }
    template <class any_key>
    const value_type* find(const any_key& key) const {
        return const_cast<flat_map*>(this)->find(key);
    }

    // The value under `key`, made if it is missing. A value made may hold what an earlier use of its storage left:
    // the caller fills or clears it. `made` tells which of the two happened.
    template <class any_key>
    value_type& insert(const any_key& key, bool& made) {
        if (!places_.empty()) {
            value_type* const there = find(key);
            made = there == nullptr;
            return made ? append_unordered(key) : *there;
        }
        const std::size_t index = lower_bound(key);
        made = index == used_ || key < items_[index].key;
        if (!made) return items_[index].value;
        if (index < used_ && used_ >= most_moved) {
            for (std::size_t each = 0; each < used_; ++each)
                places_.emplace_hint(places_.end(), items_[each].key, each);
            return append_unordered(key);
        }
        if (used_ == items_.size()) items_.emplace_back();
        const auto place = items_.begin() + static_cast<std::ptrdiff_t>(index);
        const auto spare = items_.begin() + static_cast<std::ptrdiff_t>(used_);
        if (place != spare) std::rotate(place, spare, spare + 1);
        ++used_;
        items_[index].key = key;
        return items_[index].value;
    }

    void erase(item* at) {
        std::rotate(at, at + 1, end());
        --used_;
    }

private:
    // Guard: to open a gap costs as much as there are entries behind it. A map that holds more than these takes what
    // comes out of order at its end, and is put in order when someone looks at it as a whole.
    static constexpr std::size_t most_moved = 64;

    // Of entries in order: the first whose key is not below `key`.
    template <class any_key>
    std::size_t lower_bound(const any_key& key) const {
        // Keys mostly arrive in rising order: look at the end first.
        if (used_ == 0 || items_[used_ - 1].key < key) return used_;
        const auto last = items_.begin() + static_cast<std::ptrdiff_t>(used_);
        const auto found = std::lower_bound(items_.begin(), last, key,
                                            [](const item& left, const any_key& right) { return left.key < right; });
        return static_cast<std::size_t>(found - items_.begin());
    }

    template <class any_key>
    value_type& append_unordered(const any_key& key) {
        if (used_ == items_.size()) items_.emplace_back();
        items_[used_].key = key;
        places_.emplace(items_[used_].key, used_);
        return items_[used_++].value;
    }

    void put_in_order() {
        std::vector<item> ordered;
        ordered.reserve(used_);
        for (const auto& place : places_) ordered.push_back(std::move(items_[place.second]));
        items_ = std::move(ordered);
        places_.clear();
    }

    std::vector<item> items_;
    std::size_t used_ = 0;
    // Where each key lies while the entries are out of order; else empty.
    std::map<key_type, std::size_t, std::less<>> places_;
};
