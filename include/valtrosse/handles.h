/* What a library exports besides its face when it knows its handles: the 64-bit library, and
 * libvaltrosse-dom-checked.so, which is built for 32 bits. The plain 32-bit library does not have these:
 * its handles are the addresses of libxml2's objects.
 *
 * Such a library gives no value for a handle that it did not hand out, or whose object is gone. A host
 * finds these functions by name (dlsym). The library keeps an object's handle in libxml2's field
 * _private: a host must not write to that field of an object that it adds or gets here.
 */
#ifndef VALTROSSE_HANDLES_H
#define VALTROSSE_HANDLES_H

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

/* valtrosse_handle_of_object: the handle of a live object (a document, node, attribute, DTD or
 * declaration), also of one that the host made with libxml2 itself. It ends when libxml2 frees the
 * object. VT_OK; or VT_OUT_OF_MEMORY, also for an object whose field _private the host uses. */
typedef vt_status (*vt_handle_of_object)(const void* object, uint32_t* handle);

/* valtrosse_object_of_handle: the object, or null for a number that is no handle of a live one. */
typedef void* (*vt_object_of_handle)(uint32_t handle);

#ifdef __cplusplus
}
#endif

#endif
