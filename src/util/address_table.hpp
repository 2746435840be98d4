// A hash table of addresses.
#pragma once

#include <libxml/globals.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace valtrosse {

/// Addresses other than null, each with a value. The values lie in the table itself, and are copied as
/// bytes when it grows. It is never freed, and shared by nobody: the caller has the lock.
template <typename Value>
class AddressTable {
public:
    constexpr AddressTable() = default;

    /// The value of the address, or null when it is not in the table. Good until the next enter() or
    /// remove().
    Value* find(const void* address) const {
        if (!entries_ || !address) return nullptr;
        Entry& entry = entries_[place_of(key_of(address))];
        return entry.key ? &entry.value : nullptr;
    }

    /// Gives the address this value, in place of another one. Null without memory for a new entry; then
    /// nothing changes.
    Value* enter(const void* address, const Value& value) {
        Value* known = find(address);
        if (!known) {
            if (!has_room() && !grow()) return nullptr;
            Entry& entry = entries_[place_of(key_of(address))];
            entry.key = key_of(address);
            known = &entry.value;
            ++count_;
        }
        *known = value;
        return known;
    }

    /// Takes the address out of the table, if it is in it.
    void remove(const void* address) {
        if (!find(address)) return;
        std::size_t hole = place_of(key_of(address));
        // What lies after the hole moves into it, unless its home lies between.
        for (std::size_t i = next(hole); entries_[i].key; i = next(i)) {
            const std::size_t home = home_of(entries_[i].key);
            if (((i - home) & mask()) < ((i - hole) & mask())) continue;
            entries_[hole] = entries_[i];
            hole = i;
        }
        entries_[hole].key = 0;
        --count_;
    }

private:
    using Key = std::uintptr_t;
    struct Entry {
        Key key;  // 0: an empty entry
        Value value;
    };
    static constexpr unsigned word_bits = 8 * sizeof(Key);
    static constexpr unsigned smallest_bits = 6;

    std::size_t size() const { return std::size_t{1} << bits_; }
    std::size_t mask() const { return size() - 1; }
    std::size_t next(std::size_t i) const { return (i + 1) & mask(); }
    /// Half of the entries stay empty.
    bool has_room() const { return entries_ && 2 * (count_ + 1) <= size(); }

    /// No address itself: to a search for leaks, what only this table knows is lost.
    static Key key_of(const void* address) { return ~reinterpret_cast<Key>(address); }

    std::size_t home_of(Key key) const {
        // 2 to the number of bits, divided by the golden ratio: neighbours come to lie far apart. The
        // upper bits of the product depend on all bits of the key.
        constexpr auto golden = static_cast<Key>(0x9E3779B97F4A7C15U >> (64 - word_bits));
        return key * golden >> (word_bits - bits_);
    }
    /// Where the key is, or the empty entry where it belongs.
    std::size_t place_of(Key key) const {
        std::size_t i = home_of(key);
        while (entries_[i].key && entries_[i].key != key) i = next(i);
        return i;
    }

    bool grow() {
        const AddressTable old = *this;
        const unsigned bits = entries_ ? bits_ + 1 : smallest_bits;
        const std::size_t bytes = sizeof(Entry) << bits;
        auto* const entries = static_cast<Entry*>(xmlMalloc(bytes));
        if (!entries) return false;
        std::memset(static_cast<void*>(entries), 0, bytes);
        entries_ = entries;
        bits_ = bits;
        for (std::size_t i = 0; old.entries_ && i < old.size(); ++i)
            if (const Entry& entry = old.entries_[i]; entry.key)
                entries_[place_of(entry.key)] = entry;
        xmlFree(old.entries_);
        return true;
    }

    Entry* entries_ = nullptr;  // linear probing
    unsigned bits_ = 0;         // of their number
    std::size_t count_ = 0;
};

}  // namespace valtrosse
