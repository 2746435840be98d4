// Elements by ID. The tree itself is searched, as scripts have left it.
#include "dom/attr/by_id.hpp"

#include <libxml/hash.h>

#include <algorithm>
#include <cstring>

#include "dom/attr/declaration.hpp"
#include "dom/doc/documents.hpp"
#include "dom/node/identity.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The local names of the attributes that a DTD declares as IDs for some element: whatever has another
/// name needs no further look. Mostly there is one.
class IdNames {
public:
    explicit IdNames(const xmlDtd& dtd) {
        xmlHashScan(static_cast<xmlHashTable*>(dtd.attributes), gather, this);
    }
    bool none() const { return count_ == 0; }
    bool may_be_id(const xmlAttr* attr) const {
        if (count_ > max_names) return true;
        const xmlChar* const local = local_part(attr->name);
        return std::any_of(names_, names_ + count_, [local](const xmlChar* name) {
            return name[0] == local[0] && xmlStrEqual(name, local);
        });
    }

private:
    static constexpr std::size_t max_names = 8;

    // A name whose prefix was never declared keeps its colon.
    static const xmlChar* local_part(const xmlChar* name) {
        const xmlChar* const colon = xmlStrchr(name, ':');
        return colon ? colon + 1 : name;
    }
    static void gather(void* payload, void* self, const xmlChar*) {
        const auto* const declaration = static_cast<const xmlAttribute*>(payload);
        auto& names = *static_cast<IdNames*>(self);
        if (declaration->atype != XML_ATTRIBUTE_ID || names.count_ > max_names) return;
        const auto same = [&](const xmlChar* name) { return xmlStrEqual(name, declaration->name); };
        if (std::any_of(names.names_, names.names_ + names.count_, same)) return;
        if (names.count_ < max_names) names.names_[names.count_] = declaration->name;
        ++names.count_;
    }

    const xmlChar* names_[max_names];
    std::size_t count_ = 0;
};

bool has_value(const xmlAttr* attr, const xmlChar* value) {
    const xmlNode* const text = attr->children;
    if (text && !text->next && text->type == XML_TEXT_NODE)
        return xmlStrEqual(text->content, value);
    return xmlStrEqual(attribute_value(attr).get(), value);
}

/// The first attribute of this local name, in any namespace: its value is what counts.
const xmlAttr* first_of_name(const xmlNode* element, const xmlChar* name) {
    const xmlAttr* attr = element->properties;
    while (!xmlStrEqual(attr->name, name)) attr = attr->next;
    return attr;
}

bool has_id(const xmlNode* element, const xmlChar* id, const IdNames& names, xmlDtd* dtd) {
    for (const xmlAttr* attr = element->properties; attr; attr = attr->next) {
        if (!names.may_be_id(attr) || !has_value(first_of_name(element, attr->name), id)) continue;
        const XmlString element_name(_x_nodeName(element));
        if (is_declared_id(dtd, element_name.get(), attr)) return true;
    }
    return false;
}

/// As next_in_subtree, but into what an entity declaration holds of its content, too.
xmlNode* next_to_search(xmlNode* node, const xmlNode* root) {
    if (node->type == XML_ENTITY_DECL && node->children && node->children->parent == node)
        return node->children;
    return next_in_subtree(node, root);
}

/// Whether every attribute that may be an ID is the only one of its element with that local name: then
/// the value that a search compares is the one that the parser entered.
bool has_plain_names(xmlDoc* doc, const IdNames& names) {
    for (const xmlNode* node = reinterpret_cast<xmlNode*>(doc); node;
         node = next_in_subtree(node, reinterpret_cast<xmlNode*>(doc)))
        for (const xmlAttr* attr = first_attribute(node); attr; attr = attr->next)
            if (names.may_be_id(attr) && first_of_name(node, attr->name) != attr) return false;
    return true;
}

/// Whether the first holder of an ID in document order is the one in libxml2's table of IDs. So the
/// parser leaves it, with two exceptions: a search goes through the text of entities, too, and compares
/// the first of several attributes of one local name.
bool table_is_in_order(xmlDoc* doc, const IdNames& names) {
    if (doc->extSubset || doc->intSubset->entities) return false;
    if (has_ids_in_order(doc)) return true;
    if (!is_as_loaded(doc)) return false;
    const bool plain = has_plain_names(doc, names);
    if (plain)
        note_ids_in_order(doc);
    else
        note_changed(doc);  // so that the next look-up does not walk for this again
    return plain;
}

/// The element that the table gives for the ID, if a search would take it, too; else null.
xmlNode* find_in_table(xmlDoc* doc, const xmlChar* id, const IdNames& names) {
    const auto* const entry =
        static_cast<xmlID*>(xmlHashLookup(static_cast<xmlHashTable*>(doc->ids), id));
    xmlNode* const element = entry && entry->attr ? entry->attr->parent : nullptr;
    return element && has_id(element, id, names, doc->intSubset) ? element : nullptr;
}

/// The element of `doc` with the ID `id`. No value where there is none and for another node.
Result element_by_id(Call& call, xmlNode* doc, HostText id) {
    if (id.absent() || !is_document(doc)) return no_value;
    const Utf8 value(call, id);
    if (value.failed()) return value.failure();
    return call.handle_or_no_value(_x_getElementById(doc, value.text()));
}

}  // namespace
}  // namespace valtrosse

xmlNode* _x_getElementById(xmlNode* root, const xmlChar* id) {
    using namespace valtrosse;
    xmlDoc* const doc = document_for_lookup(root);
    if (!doc || !doc->intSubset) return nullptr;
    const IdNames names(*doc->intSubset);
    if (names.none()) return nullptr;
    if (root == reinterpret_cast<xmlNode*>(doc) && table_is_in_order(doc, names))
        if (xmlNode* const element = find_in_table(doc, id, names)) return element;
    for (xmlNode* node = root; node; node = next_to_search(node, root))
        if (is_element(node) && node->properties && has_id(node, id, names, doc->intSubset))
            return node;
    return nullptr;
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetElementById, valtrosse::element_by_id)
