#include "checked/address_table.hpp"

#include <cstdlib>

namespace valtrosse {

std::size_t AddressTable::home_of(std::uint32_t address) const {
    // Objects lie at multiples of 8 at least; the product's upper bits depend on all of the address.
    const std::uint32_t product = (address >> 3) * 0x9E3779B1U;
    return (product ^ product >> 15) & mask_;
}

std::size_t AddressTable::find(std::uint32_t address) const {
    std::size_t slot = home_of(address);
    while (slots_[slot].address != 0 && slots_[slot].address != address) slot = (slot + 1) & mask_;
    return slot;
}

bool AddressTable::reserve(std::size_t more) {
    const std::size_t needed = 2 * (count_ + more);
    if (slots_ && needed <= mask_ + 1) return true;
    std::size_t size = slots_ ? mask_ + 1 : 1024;
    while (size < needed) size *= 2;
    auto* const slots = static_cast<Entry*>(std::calloc(size, sizeof(Entry)));
    if (!slots) return false;

    const AddressTable old = *this;
    slots_ = slots;
    mask_ = size - 1;
    for (std::size_t slot = 0; old.slots_ && slot <= old.mask_; ++slot)
        if (const Entry& entry = old.slots_[slot]; entry.address != 0)
            slots_[find(entry.address)] = entry;
    std::free(old.slots_);
    return true;
}

AddressTable::Entry& AddressTable::enter(std::uint32_t address) {
    Entry& entry = slots_[find(address)];
    if (entry.address == 0) {
        entry = {address, 0};
        ++count_;
    }
    return entry;
}

bool AddressTable::contains(std::uint32_t address) const {
    return slots_ && slots_[find(address)].address == address && address != 0;
}

AddressTable::Entry AddressTable::take(std::uint32_t address) {
    if (!contains(address)) return {};
    std::size_t hole = find(address);
    const Entry taken = slots_[hole];
    // What lies after the hole moves into it, unless its home lies between.
    for (std::size_t slot = (hole + 1) & mask_; slots_[slot].address != 0;
         slot = (slot + 1) & mask_) {
        const std::size_t home = home_of(slots_[slot].address);
        if (((slot - home) & mask_) < ((slot - hole) & mask_)) continue;
        slots_[hole] = slots_[slot];
        hole = slot;
    }
    slots_[hole] = {};
    --count_;
    return taken;
}

}  // namespace valtrosse
