// Reports of refused handles, and the functions that the checked library exports besides.
#pragma once

#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/checked_handles.h"

/// As checked_handles.h says of vt_on_refused_handle and vt_add_handle.
VALTROSSE_EXPORT void valtrosse_on_refused_handle(vt_refused_handle_callback callback, void* data);
VALTROSSE_EXPORT vt_status valtrosse_add_handle(const void* object);

namespace valtrosse {

/// Tells the host, when it wants to hear of it. parameter is an element of a parameter array.
void report_refusal(std::uint32_t handle, const vt_name& parameter);

}  // namespace valtrosse
