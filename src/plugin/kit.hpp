// Small helpers of the frame that every plug-in of this kind carries.
#pragma once

#include <cstdint>

#include "plugin/host_api.hpp"

/// A node of a circular doubly linked list.
struct DNode {
    DNode* next;
    DNode* previous;
};

/// Makes the node a list of its own. Returns the node.
VALTROSSE_EXPORT DNode* DNode_Init(DNode* node);
/// Inserts the node right after anchor. Returns anchor.
VALTROSSE_EXPORT DNode* DNode_AddAfter(DNode* node, DNode* anchor);
/// Takes the node out of its list and makes it a list of its own. Returns the node.
VALTROSSE_EXPORT DNode* DNode_Remove(DNode* node);

/// The address of the private data behind an object reference; null for a reference without object.
VALTROSSE_EXPORT void* TOVIK_ObjRefGetPrivatePtr(const vt_object_reference* reference);

/// Stores text (count in 16-bit units) in a property of an object, which owns it on success. Returns
/// the status of making the value or of storing it; a value that could not be stored is released.
VALTROSSE_EXPORT vt_status TOVIKUtil_SetPropString(const valtrosse::HostApi* api,
                                                   vt_host_runtime* runtime,
                                                   const vt_object_reference* reference,
                                                   std::uint32_t property, const char16_t* text,
                                                   std::uint32_t count, std::uint16_t flag);
