/* What libvaltrosse-dom-checked.so exports besides the face of libvaltrosse-dom.so.
 *
 * That library gives no value for a handle that it did not hand out, or whose object is gone. A host
 * finds these functions by name (dlsym); libvaltrosse-dom.so does not have them.
 */
#ifndef VALTROSSE_CHECKED_HANDLES_H
#define VALTROSSE_CHECKED_HANDLES_H

#include "valtrosse/host_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Told of a refused handle, on the thread of the call and before the call ends. The names are static.
 * It must not call a script function. */
typedef void (*vt_refused_handle_callback)(void* data, const vt_name* function,
                                           const vt_name* parameter, uint32_t handle);

/* valtrosse_on_refused_handle: sets the callback for all threads; null ends the reports. */
typedef void (*vt_on_refused_handle)(vt_refused_handle_callback callback, void* data);

/* valtrosse_add_handle: lets the library take an object for a handle that the host made with libxml2
 * itself; it ends when libxml2 frees the object. VT_OUT_OF_MEMORY, or VT_OK. */
typedef vt_status (*vt_add_handle)(const void* object);

#ifdef __cplusplus
}
#endif

#endif
