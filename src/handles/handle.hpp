// What a handle is: the number of 32 bits by which a script knows an object of libxml2.
//
// There are two kinds, and nothing outside of this folder knows which one it has to do with:
//
//     address.hpp   the object's address, in the 32-bit library
//     slots.hpp     a place in an array, where an address does not fit into 32 bits, and in the library
//                   that checks handles: there a handle that has ended, or never was one, is known as such
//
// Both define the following. Objects are documents, nodes, attributes, DTDs, declarations and notation
// records: all of them begin as an xmlNode does, and every function looks at the type first.
//
//     xmlNode* object_of(Handle)
//         The object, or null for a number that is no handle of a live object. 0 gives null.
//     vt_status give_handle(const void* object, Handle& handle)
//         The handle of a live object, always the same. VT_OUT_OF_MEMORY when there is no room for one;
//         then the object must not be handed out.
//     void end_handle(const void* object)
//         Says that an object is about to go whose end libxml2 does not announce.
//     Handle number_of_gone(const void* object)
//         What scripts are told of an object that may be gone, for which there may be no handle.
//     void hear_ends_on_this_thread(), void hear_ends_on_new_threads()
//         Before any work of a call, and when the library is loaded: hears what libxml2 frees.
//     constexpr bool stale_handles_are_known
//         Whether object_of() knows a handle that has ended, or never was one.
#pragma once

#include <cstdint>

namespace valtrosse {

using Handle = std::uint32_t;

}  // namespace valtrosse

#if UINTPTR_MAX > 0xFFFFFFFF || defined(VALTROSSE_CHECKED_HANDLES)
#include "handles/slots.hpp"
#else
#include "handles/address.hpp"
#endif
