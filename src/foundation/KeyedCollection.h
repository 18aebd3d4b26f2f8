#pragma once
// The one keyed collection behind every collection of the model (Peripherals, Watches,
// BuildTargets, ...): items in insertion order, looked up by a text key, an unknown key giving
// nullptr instead of an error. Items are shared_ptr because some objects stand in two
// collections at once (a build target in the graph and in its parent's sources).

#include "foundation/Error.h"

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace bx {

template <class T>
class KeyedCollection {
public:
    using Ptr = std::shared_ptr<T>;
    struct Entry {
        std::string key;
        Ptr item;
    };

    // Inserts item under key at the end. Returns false, and changes nothing, when the key is
    // already taken.
    bool TryAdd(const std::string& key, Ptr item) {
        return TryInsertAt(entries_.size(), key, item);
    }

    // Inserts item under key before position index (index == Count() appends). Returns false
    // when the key is already taken.
    bool TryInsertAt(std::size_t index, const std::string& key, Ptr item) {
        if (index_.count(key) != 0)
            return false;
        if (index > entries_.size())
            index = entries_.size();
        entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(index),
                        Entry{key, std::move(item)});
        Reindex(index);
        return true;
    }

    // Like TryAdd, but a taken key is the collection's duplicate-key error.
    const Ptr& Add(const std::string& key, Ptr item) {
        if (!TryAdd(key, std::move(item)))
            throw DuplicateKeyError("Collection");
        return entries_.back().item;
    }

    // The item under key, or nullptr.
    Ptr Item(const std::string& key) const {
        auto it = index_.find(key);
        return it == index_.end() ? nullptr : entries_[it->second].item;
    }

    bool Contains(const std::string& key) const { return index_.count(key) != 0; }

    // Removes the item under key; an absent key is ignored. Returns whether one was removed.
    bool Remove(const std::string& key) {
        auto it = index_.find(key);
        if (it == index_.end())
            return false;
        RemoveAt(it->second);
        return true;
    }

    void RemoveAt(std::size_t position) {
        index_.erase(entries_[position].key);
        entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
        Reindex(position);
    }

    void Clear() {
        entries_.clear();
        index_.clear();
    }

    std::size_t Count() const { return entries_.size(); }
    bool Empty() const { return entries_.empty(); }
    Ptr First() const { return entries_.empty() ? nullptr : entries_.front().item; }
    const Entry& At(std::size_t position) const { return entries_.at(position); }

    // Iteration in insertion order yields the entries (key and item).
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

private:
    void Reindex(std::size_t from) {
        for (std::size_t i = from; i < entries_.size(); ++i)
            index_[entries_[i].key] = i;
    }

    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> index_;
};

} // namespace bx
