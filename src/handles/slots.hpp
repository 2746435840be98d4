// Handles that are places in an array: included by handle.hpp, which says what is defined here.
//
// A slot knows its object and the handle under which that was given out; the object's field _private
// knows the handle. A slot ends with its object, is taken by another one some time later, and has another
// handle then:
//
//     room (2 bits) | generation | position
//
// The room says how many bits the position has: 14, 18, 22 or 26. So the slots of a small script have
// 65,535 generations, and 67 million objects can have a handle. Generations begin with 1, so that no handle
// is a small number, let alone 0.
#pragma once

#include <libxml/tree.h>

#include <atomic>
#include <cstdint>

#include "valtrosse/host_abi.h"

namespace valtrosse {

constexpr bool stale_handles_are_known = true;

struct Slot {
    /// The object's address with all bits turned over: to a search for leaks, what only a slot knows is
    /// lost. While the slot is free, that of null.
    std::atomic<std::uintptr_t> hidden;
    /// The object's handle. While the slot is free, the last one; 0 before the first.
    std::atomic<Handle> handle;
    /// A position, or 0. While the slot is free, the slot that is free since then; of a DTD its first
    /// declaration, of a declaration the next one of its DTD.
    std::uint32_t next;
};

namespace slots {

constexpr unsigned position_bits(Handle handle) { return 14 + 4 * (handle >> 30); }
constexpr std::uint32_t position_of(Handle handle) {
    return handle & ((1U << position_bits(handle)) - 1);
}
constexpr std::uint32_t limit = 1U << position_bits(0xFFFFFFFF);

// The array lies in pieces, which stay where they are when it grows: threads read it without a lock.
constexpr unsigned piece_bits = 14;
constexpr std::uint32_t piece_size = 1U << piece_bits;
extern std::atomic<Slot*> pieces[limit / piece_size];

/// Null where there is no slot yet.
inline Slot* at(std::uint32_t position) {
    Slot* const piece = pieces[position >> piece_bits].load(std::memory_order_acquire);
    return piece ? piece + (position & (piece_size - 1)) : nullptr;
}

/// What an object's field says. The field may be somebody else's, or say what was copied from another
/// object: only object_of() tells whether the handle is this object's.
inline Handle noted_handle(const xmlNode* object) {
    void* const field = __atomic_load_n(&object->_private, __ATOMIC_ACQUIRE);
    return static_cast<Handle>(reinterpret_cast<std::uintptr_t>(field));
}

/// The slow part of give_handle().
vt_status give_new_handle(xmlNode* object, Handle& handle);

}  // namespace slots

inline xmlNode* object_of(Handle handle) {
    const Slot* const slot = slots::at(slots::position_of(handle));
    if (!slot || slot->handle.load(std::memory_order_acquire) != handle) return nullptr;
    return reinterpret_cast<xmlNode*>(~slot->hidden.load(std::memory_order_relaxed));
}

inline Handle number_of_gone(const void*) { return 0; }

inline vt_status give_handle(const void* object, Handle& handle) {
    auto* const node = static_cast<xmlNode*>(const_cast<void*>(object));
    handle = slots::noted_handle(node);
    if (object_of(handle) == node) return VT_OK;
    return slots::give_new_handle(node, handle);
}

void end_handle(const void* object);
void hear_ends_on_this_thread();
void hear_ends_on_new_threads();

}  // namespace valtrosse
