// Ordered map for a handful of entries: a sorted vector that keeps its storage when cleared.
// Used by everything that is refilled once per record; for a few dozen keys at most it beats a tree.
// References into it last until the next insertion. Entries are not destroyed by clear(), only forgotten.
#pragma once

#include <algorithm>
#include <cstddef>
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

    item* begin() { return items_.data(); }
    item* end() { return items_.data() + used_; }
    const item* begin() const { return items_.data(); }
    const item* end() const { return items_.data() + used_; }
    std::size_t size() const { return used_; }
    bool empty() const { return used_ == 0; }
    void clear() { used_ = 0; }

    template <class any_key>
    value_type* find(const any_key& key) {
        item* at = lower_bound(key);
        return at != end() && !(key < at->key) ? &at->value : nullptr;
    }
    template <class any_key>
    const value_type* find(const any_key& key) const {
        return const_cast<flat_map*>(this)->find(key);
    }

    // The value under `key`, made if it is missing. A value made may hold what an earlier use of its storage left:
    // the caller fills or clears it. `made` tells which of the two happened.
    template <class any_key>
    value_type& insert(const any_key& key, bool& made) {
        item* at = lower_bound(key);
        made = at == end() || key < at->key;
        if (!made) return at->value;
        const std::size_t index = static_cast<std::size_t>(at - items_.data());
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
    template <class any_key>
    item* lower_bound(const any_key& key) {
        // Keys mostly arrive in rising order: look at the end first.
        if (used_ == 0 || items_[used_ - 1].key < key) return end();
        return std::lower_bound(begin(), end(), key,
                                [](const item& left, const any_key& right) { return left.key < right; });
    }

    std::vector<item> items_;
    std::size_t used_ = 0;
};
