#include "dom/attr/list.hpp"

#include "dom/doc/documents.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

/// What is below an attribute that leaves its element owns what it points at; the doc fields stay.
void leave_list(xmlAttr* attr, xmlDoc* doc) {
    for (xmlNode* part = as_node(attr); part; part = next_in_subtree(part, as_node(attr)))
        make_independent(part, doc);
    attr->parent = nullptr;
    attr->next = attr->prev = nullptr;
}

}  // namespace

xmlAttr* put_in_list(xmlNode* element, ListPlace place, xmlAttr* newattr) {
    xmlAttr* const old = place.found;
    newattr->parent = element;
    newattr->prev = old ? old->prev : place.last;
    newattr->next = old ? old->next : nullptr;
    (newattr->prev ? newattr->prev->next : element->properties) = newattr;
    if (newattr->next) newattr->next->prev = newattr;

    xmlDoc* const doc = containing_document(element);
    if (old) leave_list(old, doc);
    adopt(as_node(newattr), element);
    if (doc && _x_hasNsPriv(as_node(newattr))) note_own_records(doc);
    return old ? old : newattr;
}

}  // namespace valtrosse
