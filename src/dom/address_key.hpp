// Addresses as keys of libxml2's hash tables.
#pragma once

#include <libxml/xmlstring.h>

#include <cstddef>
#include <cstdint>

namespace valtrosse {

/// A terminated key without a byte that is 0: two bytes for each one of the address in memory order, the
/// high half plus 1 and the low half plus 1.
struct AddressKey {
    static constexpr std::size_t length = 2 * sizeof(std::uintptr_t);
    xmlChar text[length + 1];

    explicit AddressKey(std::uintptr_t address) {
        for (std::size_t i = 0; i < sizeof address; ++i, address >>= 8) {
            text[2 * i] = static_cast<xmlChar>((address >> 4 & 0xF) + 1);
            text[2 * i + 1] = static_cast<xmlChar>((address & 0xF) + 1);
        }
        text[length] = 0;
    }
    explicit AddressKey(const void* object)
        : AddressKey(reinterpret_cast<std::uintptr_t>(object)) {}
};

}  // namespace valtrosse
