#include "dom/attr/list.hpp"

#include "dom/doc/documents.hpp"
#include "dom/node/departure.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {

xmlAttr* put_in_list(xmlNode* element, ListPlace place, xmlAttr* newattr) {
    xmlAttr* const old = place.found;
    xmlDoc* const doc = containing_document(element);
    Departure leaving;
    if (old) {
        if (!leaving.prepare(as_node(old))) return nullptr;
        leaving.complete(Departure::DocFields::stay);
    }
    newattr->parent = element;
    newattr->prev = old ? old->prev : place.last;
    newattr->next = old ? old->next : nullptr;
    (newattr->prev ? newattr->prev->next : element->properties) = newattr;
    if (newattr->next) newattr->next->prev = newattr;
    if (old) {
        old->parent = nullptr;
        old->next = old->prev = nullptr;
    }
    adopt(as_node(newattr), element);
    if (doc && _x_hasNsPriv(as_node(newattr))) note_own_records(doc);
    note_markup(as_node(newattr));
    return old ? old : newattr;
}

}  // namespace valtrosse
