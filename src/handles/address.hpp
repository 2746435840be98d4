// Handles that are addresses: included by handle.hpp, which says what is defined here.
#pragma once

#include <libxml/tree.h>

#include "valtrosse/host_abi.h"

namespace valtrosse {

static_assert(sizeof(void*) == sizeof(Handle));

constexpr bool stale_handles_are_known = false;

inline xmlNode* object_of(Handle handle) { return reinterpret_cast<xmlNode*>(handle); }

inline Handle number_of_gone(const void* object) { return reinterpret_cast<Handle>(object); }

inline vt_status give_handle(const void* object, Handle& handle) {
    handle = reinterpret_cast<Handle>(object);
    return VT_OK;
}

inline void end_handle(const void*) {}
inline void hear_ends_on_this_thread() {}
inline void hear_ends_on_new_threads() {}

}  // namespace valtrosse
