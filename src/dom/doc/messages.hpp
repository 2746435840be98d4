// The last-message table: libxml2's diagnostic text of the last parse, for each document, or, where a
// parse gave no document, for each thread and call context.
#pragma once

#include <libxml/hash.h>
#include <libxml/tree.h>

#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

/// The table, made on first use. Null only when it cannot be made.
VALTROSSE_EXPORT xmlHashTable* _x_getMsgTable();
/// Stores a copy of message (UTF-8) for the owning document of object, or, when there is none, for
/// this thread and the call context. Replaces an earlier message; a null message changes nothing.
VALTROSSE_EXPORT void _x_addMsgCopy(const xmlNode* object, const vt_call_context* context,
                                    const xmlChar* message);
/// A copy of the stored message, to be freed with xmlFree; null when there is none.
VALTROSSE_EXPORT xmlChar* _x_getMsgCopy(const xmlNode* object, const vt_call_context* context);
/// Removes the stored message.
VALTROSSE_EXPORT void _x_removeMsg(const xmlNode* object, const vt_call_context* context);
/// Frees every message and the table; the next use makes a new one.
VALTROSSE_EXPORT void _x_removeAllMsgs();
/// Frees one message of the table; null is allowed. Has the shape of an xmlHashScanner.
VALTROSSE_EXPORT void _x_freeMsg(void* message, void* data, const xmlChar* name);
/// The key of this thread and call context: two address keys. To be freed with xmlFree; null without
/// memory.
VALTROSSE_EXPORT xmlChar* _x_getMsgThreadId(const vt_call_context* context);
/// The 8 bytes (with 64-bit addresses 16), each 1 to 16, that stand for an address as a key: its bytes in
/// memory order, the high half of each before the low one. To be freed with xmlFree; null without memory.
VALTROSSE_EXPORT xmlChar* _x_xmlNodePtrToxmlCharPtr(std::uintptr_t address);
/// The address of such a key; 0 for a text of another length.
VALTROSSE_EXPORT std::uintptr_t _x_xmlCharPtrToxmlNodePtr(const xmlChar* key);
/// The value of the object's doc field; null for null. It may name a document that is gone.
VALTROSSE_EXPORT xmlDoc* _x_getDocNode(const xmlNode* object);

namespace valtrosse {

/// As _x_addMsgCopy; false without memory.
bool store_message(const xmlNode* object, const vt_call_context* context, const xmlChar* message);

}  // namespace valtrosse
