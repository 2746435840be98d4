// The check of handles. libvaltrosse-dom-checked.so is built from the same sources with
// VALTROSSE_CHECKED_HANDLES defined: it takes for a handle only what it has handed out and what is still
// alive. What is declared here is defined in that library alone (checked/), and the frame calls it there
// alone.
#pragma once

#include <cstdint>

#include "valtrosse/host_abi.h"

namespace valtrosse {

#ifdef VALTROSSE_CHECKED_HANDLES
constexpr bool checked_handles = true;
#else
constexpr bool checked_handles = false;
#endif

/// Hears from now on what libxml2 frees on this thread. Before any work of a call.
void watch_this_thread();

/// Enters an object that is about to be handed out; it must be alive. VT_OUT_OF_MEMORY when it cannot
/// be entered: then its handle would be refused, and must not be handed out.
vt_status handle_given(const void* object);
/// Says that an object is about to go whose end libxml2 does not announce.
void handle_gone(const void* object);

/// VT_OK, or for a handle that is not (or no longer) one the status that ends the call with no value,
/// after a report that names the parameter: an element of the library's own name arrays.
vt_status check_handle(std::uint32_t handle, const vt_name& parameter);

}  // namespace valtrosse
