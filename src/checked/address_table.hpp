// A hash table of addresses. It takes its memory from the C library: libxml2's allocator may be a host's,
// which counts.
#pragma once

#include <cstddef>
#include <cstdint>

namespace valtrosse {

/// Addresses other than 0, each with another address or 0 beside it.
class AddressTable {
public:
    struct Entry {
        std::uint32_t address;
        std::uint32_t next;
    };

    constexpr AddressTable() = default;

    /// Makes room for more entries. False without memory; then nothing changes.
    bool reserve(std::size_t more);
    /// The entry of the address, made when there is none; reserve() must have made room. Good until the
    /// next reserve() or take().
    Entry& enter(std::uint32_t address);
    bool contains(std::uint32_t address) const;
    /// Removes an entry and gives what it was; an empty one when there is none.
    Entry take(std::uint32_t address);

private:
    std::size_t home_of(std::uint32_t address) const;
    /// The slot that holds the address, or the empty one where it belongs. There must be slots.
    std::size_t find(std::uint32_t address) const;

    Entry* slots_ = nullptr;  // linear probing; at least half of them are empty (address 0)
    std::size_t mask_ = 0;    // their number less 1: a power of two less 1
    std::size_t count_ = 0;
};

}  // namespace valtrosse
