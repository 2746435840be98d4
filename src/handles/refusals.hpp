// Reports of refused handles, and the functions that a library with slots exports besides its face.
#pragma once

#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/handles.h"

/// As handles.h says of vt_on_refused_handle, vt_handle_of_object and vt_object_of_handle.
VALTROSSE_EXPORT void valtrosse_on_refused_handle(vt_refused_handle_callback callback, void* data);
VALTROSSE_EXPORT vt_status valtrosse_handle_of_object(const void* object, std::uint32_t* handle);
VALTROSSE_EXPORT void* valtrosse_object_of_handle(std::uint32_t handle);

namespace valtrosse {

/// Tells the host, when it wants to hear of it. parameter is an element of a parameter array.
void report_refusal(std::uint32_t handle, const vt_name& parameter);

}  // namespace valtrosse
