#include "handles/handle.hpp"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>

namespace valtrosse {

constinit std::atomic<Slot*> slots::pieces[limit / piece_size];

namespace {

using namespace slots;

// A lock of its own, the innermost: libxml2 frees nodes wherever the library stands.
class SlotsLock {
public:
    SlotsLock() { pthread_mutex_lock(&mutex_); }
    ~SlotsLock() { pthread_mutex_unlock(&mutex_); }
    SlotsLock(const SlotsLock&) = delete;
    SlotsLock& operator=(const SlotsLock&) = delete;

private:
    static inline pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// All of this is called, read and written under the lock.

std::uint32_t opened = 1;  // positions before it have been taken at least once
std::uint32_t in_use = 0;
std::uint32_t free_since_longest = 0;
std::uint32_t free_since_last = 0;

std::uintptr_t hide(const xmlNode* object) { return ~reinterpret_cast<std::uintptr_t>(object); }

/// The handle of a position after its last one.
Handle next_handle(std::uint32_t position, Handle last) {
    Handle room = 0;
    while (position >> position_bits(room << 30) != 0) ++room;
    const unsigned bits = position_bits(room << 30);
    const std::uint32_t generations = 1U << (30 - bits);
    std::uint32_t generation = ((last >> bits) + 1) % generations;
    if (generation == 0) generation = 1;
    return room << 30 | generation << bits | position;
}

/// Makes the piece that holds the position, if it is not there. False without memory.
bool make_piece(std::uint32_t position) {
    if (at(position)) return true;
    // From the system: zeroed, not there before it is touched, and nothing that a host counts.
    void* const memory = mmap(nullptr, piece_size * sizeof(Slot), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return false;
    auto* const piece = static_cast<Slot*>(memory);
    if (position < piece_size) piece[0].hidden = hide(nullptr);  // what the handle 0 finds
    pieces[position >> piece_bits] = piece;
    return true;
}

/// The slot of a position that has been taken at least once.
Slot& opened_slot(std::uint32_t position) {
    Slot* const slot = at(position);
    if (!slot) __builtin_unreachable();  // make_piece() was called for it
    return *slot;
}

/// The position that has been free for longest.
std::uint32_t take_free() {
    const std::uint32_t position = free_since_longest;
    if (position != 0) free_since_longest = opened_slot(position).next;
    return position;
}

/// A position that no object has; 0 without memory. While there are not more slots free than in use, a
/// new one is taken: the longer a slot is free, the longer its old handles are known as such.
std::uint32_t take_position() {
    constexpr std::uint32_t fewest = 1U << 13;
    const std::uint32_t free = opened - 1 - in_use;
    if (free > std::max(in_use, fewest) || opened == limit || !make_piece(opened))
        return take_free();
    return opened++;
}

void release(std::uint32_t position) {
    Slot& slot = opened_slot(position);
    slot.hidden = hide(nullptr);
    slot.next = 0;
    (free_since_longest != 0 ? opened_slot(free_since_last).next : free_since_longest) = position;
    free_since_last = position;
    --in_use;
}

/// libxml2 does not announce the end of entity, element and attribute declarations: they end with their
/// DTD.
xmlNode* dtd_of(const xmlNode* declaration) {
    const bool ends_unannounced = declaration->type == XML_ENTITY_DECL ||
                                  declaration->type == XML_ELEMENT_DECL ||
                                  declaration->type == XML_ATTRIBUTE_DECL;
    // libxml2's own declarations of &lt; and the like have no DTD and never end.
    return ends_unannounced ? declaration->parent : nullptr;
}

/// The slot of an object, taken if it has none yet. Null without memory, for an object whose field
/// somebody else uses, and for a namespace record.
Slot* slot_for(xmlNode* object) {
    const Handle noted = noted_handle(object);
    if (object_of(noted) == object) return at(position_of(noted));
    // A namespace record is no node, and has another field in its place.
    if (object->_private || object->type == XML_NAMESPACE_DECL) return nullptr;
    const std::uint32_t position = take_position();
    if (position == 0) return nullptr;
    ++in_use;
    Slot& slot = *at(position);
    const Handle handle = next_handle(position, slot.handle);
    slot.handle = handle;
    slot.next = 0;
    slot.hidden = hide(object);
    __atomic_store_n(&object->_private, reinterpret_cast<void*>(std::uintptr_t{handle}),
                     __ATOMIC_RELEASE);
    return &slot;
}

}  // namespace

vt_status slots::give_new_handle(xmlNode* object, Handle& handle) {
    const SlotsLock lock;
    Slot* dtd_slot = nullptr;
    if (xmlNode* const dtd = dtd_of(object)) {
        dtd_slot = slot_for(dtd);
        if (!dtd_slot) return VT_OUT_OF_MEMORY;
    }
    // Another thread may have given a declaration a handle meanwhile: those of &lt; belong to no thread.
    const bool is_new = object_of(noted_handle(object)) != object;
    Slot* const slot = slot_for(object);
    if (!slot) return VT_OUT_OF_MEMORY;
    handle = slot->handle;
    if (dtd_slot && is_new) {
        slot->next = dtd_slot->next;
        dtd_slot->next = position_of(handle);
    }
    return VT_OK;
}

void end_handle(const void* object) {
    const auto* const node = static_cast<const xmlNode*>(object);
    const Handle handle = noted_handle(node);
    if (object_of(handle) != node) return;
    const SlotsLock lock;
    // A DTD is followed by its declarations.
    for (std::uint32_t position = position_of(handle), next; position != 0; position = next) {
        next = at(position)->next;
        release(position);
    }
}

}  // namespace valtrosse
