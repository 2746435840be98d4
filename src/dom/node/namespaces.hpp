// Namespace reconciliation: what the ns fields of elements and attributes point at.
//
// Inside a document they point at declarations (nsDef) in scope. Outside, each node owns its record: a
// private namespace record, in no declaration list, marked by its type and freed with its node. Before
// a subtree leaves a document its references become private records; after it has entered one they are
// exchanged for declarations in scope, found by prefix alone or made on the spot.
//
// In all of these, mode 1 means always; any other mode means only while the node is in a document.
#pragma once

#include <libxml/tree.h>

#include <cstdint>

#include "plugin/export.hpp"

/// A private record with copies of the URI and the prefix (null for a default namespace); null without
/// memory. Makes one for the reserved prefix xml too.
VALTROSSE_EXPORT xmlNs* _x_xmlNewNsPriv(const xmlChar* uri, const xmlChar* prefix);
/// 1 for an element or attribute whose ns is a private record, else 0; 0 for null.
VALTROSSE_EXPORT int _x_hasNsPriv(const xmlNode* node);

/// Makes a subtree independent of the document it is about to leave: private namespace records, its own
/// strings, no entries in the ID table, no entity declarations; clears the doc fields of the node and
/// of all nodes below it, attributes of elements excepted. Gives 1, or 0 without memory: then nothing
/// has changed.
VALTROSSE_EXPORT int _x_NsBeforeUnlinkNode(xmlNode* node, std::int16_t mode);
VALTROSSE_EXPORT int _x_NsBeforeUnlinkNodeRec(xmlNode* node);
/// Exchanges the private records of a subtree for declarations in scope. A reference that is not
/// private is pointed at the declaration of its prefix in scope, or ends with no namespace.
VALTROSSE_EXPORT void _x_NsAfterLinkNode(xmlNode* node, std::int16_t mode);
VALTROSSE_EXPORT void _x_NsAfterLinkNodeRec(xmlNode* node);

/// Removes declarations whose prefix an ancestor declares already; what used them takes the outer one.
/// Returns 1 when any was removed, else 0.
VALTROSSE_EXPORT int _x_NsNormalize(xmlNode* node);
VALTROSSE_EXPORT int _x_NsNormalizeRec(xmlNode* node);
/// In a subtree, makes every ns that is `from` point at `to`; nothing when one of them is null.
VALTROSSE_EXPORT void _x_NsReplaceRec(xmlNode* node, const xmlNs* from, xmlNs* to);

namespace valtrosse {

/// Declares the prefix (null: the default namespace) on the element, unless it declares it already, or
/// it is the predefined xml. False without memory.
bool declare_namespace(xmlNode* element, const xmlChar* uri, const xmlChar* prefix);

}  // namespace valtrosse
