// Addresses as keys of libxml2's hash tables.
#pragma once

#include <libxml/xmlstring.h>

#include <cstddef>
#include <cstdint>

namespace valtrosse {

inline std::uint32_t address_of(const void* object) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object));
}

/// A terminated key of 8 bytes, none of them 0: two for each byte of the address in memory order, the
/// high half plus 1 and the low half plus 1.
struct AddressKey {
    static constexpr std::size_t length = 8;
    xmlChar text[length + 1];

    explicit AddressKey(std::uint32_t address) {
        for (std::size_t i = 0; i < 4; ++i, address >>= 8) {
            text[2 * i] = static_cast<xmlChar>((address >> 4 & 0xF) + 1);
            text[2 * i + 1] = static_cast<xmlChar>((address & 0xF) + 1);
        }
        text[length] = 0;
    }
    explicit AddressKey(const void* object) : AddressKey(address_of(object)) {}
};

}  // namespace valtrosse
