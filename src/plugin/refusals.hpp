// Reports of refused handles, and the functions that a library with slots exports besides its face.
#pragma once

#include "handles/handle.hpp"
#include "plugin/export.hpp"
#include "valtrosse/handles.h"

/// As handles.h says of vt_on_refused_handle, vt_handle_of_object and vt_object_of_handle.
VALTROSSE_EXPORT void valtrosse_on_refused_handle(vt_refused_handle_callback callback, void* data);
VALTROSSE_EXPORT vt_status valtrosse_handle_of_object(const void* object, std::uint32_t* handle);
VALTROSSE_EXPORT void* valtrosse_object_of_handle(std::uint32_t handle);

namespace valtrosse {

/// Tells a host that wants to hear of it that a number is no handle of a live object. `parameter` is an
/// element of the library's own name arrays.
void report_refusal(Handle handle, const vt_name& parameter);

/// The object of a handle that was passed for such a parameter; null, after a report, for a number that
/// is no handle of a live object.
inline xmlNode* passed_object(Handle handle, const vt_name& parameter) {
    xmlNode* const object = object_of(handle);
    if constexpr (stale_handles_are_known) {
        if (!object) report_refusal(handle, parameter);
    }
    return object;
}

}  // namespace valtrosse
