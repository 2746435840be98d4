#include "dom/node/ids.hpp"

#include <libxml/parser.h>

#include <utility>

#include "dom/doc/documents.hpp"
#include "dom/node/text.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

// Of an attribute that is in no table.
constexpr auto no_attribute_type = static_cast<xmlAttributeType>(0);

/// Blanks as libxml2 normalises them in values of type ID: none at the ends, one between words.
void collapse_blanks(xmlChar* text) {
    xmlChar* to = text;
    for (const xmlChar* from = text; *from; ++from)
        if (*from != ' ' || (to != text && to[-1] != ' ')) *to++ = *from;
    if (to != text && to[-1] == ' ') --to;
    *to = 0;
}

struct Search {
    xmlHashTable* table;
    const xmlAttr* attr;
};

// As libxml2 frees an entry that names its attribute.
void free_id(void* payload, const xmlChar*) {
    auto* id = static_cast<xmlID*>(payload);
    xmlFree(const_cast<xmlChar*>(id->value));
    xmlFree(id);
}

void remove_if_of_attribute(void* id, void* data, const xmlChar* name, const xmlChar*,
                            const xmlChar*) {
    const auto* search = static_cast<const Search*>(data);
    if (static_cast<xmlID*>(id)->attr == search->attr)
        xmlHashRemoveEntry(search->table, name, free_id);
}

/// Enters an attribute that is an ID and in no table.
bool enter_id(xmlDoc* doc, xmlAttr* attr) {
    const XmlString value = attribute_value(attr);
    if (!value) return false;
    collapse_blanks(value.get());
    const auto entry_of_value = [&] {
        return static_cast<xmlID*>(
            xmlHashLookup(static_cast<xmlHashTable*>(doc->ids), value.get()));
    };
    if (*value == 0) return true;
    if (entry_of_value()) {
        note_ids_repeated(doc);
        return true;
    }
    // Outside of the dictionary, which would keep each of the keys until the document ends.
    if (!doc->ids) doc->ids = xmlHashCreate(0);
    if (!doc->ids) return false;
    xmlID* const id = xmlAddID(nullptr, doc, value.get(), attr);
    if (id && entry_of_value() == id) return true;
    // Without memory for its name an entry stays in the table, where nothing finds it.
    if (id) id->attr = nullptr;
    attr->atype = no_attribute_type;
    return false;
}

}  // namespace

void remove_id(xmlDoc* doc, xmlAttr* attr) {
    if (attr->atype != XML_ATTRIBUTE_ID) return;
    attr->atype = no_attribute_type;
    if (!doc || !doc->ids) return;
    // Another attribute may have the value, and answers from now on.
    if (may_repeat_ids(doc)) note_ids_missing(doc);
    if (xmlRemoveID(doc, attr) == 0) return;
    // The entry stands under another text than the attribute's value normalises to.
    Search search{static_cast<xmlHashTable*>(doc->ids), attr};
    xmlHashScanFull(search.table, remove_if_of_attribute, &search);
}

bool add_id(xmlDoc* doc, xmlAttr* attr) {
    if (attr->atype == XML_ATTRIBUTE_ID || xmlIsID(doc, attr->parent, attr) != 1) return true;
    return enter_id(doc, attr);
}

void add_id_or_note(xmlDoc* doc, xmlAttr* attr) {
    if (!add_id(doc, attr)) note_ids_missing(doc);
}

bool enter_missing_ids(xmlDoc* doc) {
    if (!may_lack_ids(doc)) return true;
    note_ids_unrepeated(doc);
    auto* const root = reinterpret_cast<xmlNode*>(doc);
    for (xmlNode* node = root; node; node = next_in_subtree(node, root))
        for (xmlAttr* attr = first_attribute(node); attr; attr = attr->next)
            if (!add_id(doc, attr)) {
                note_ids_repeated(doc);
                return false;
            }
    note_ids_complete(doc);
    return true;
}

void restore_marks(xmlDoc* doc) {
    visit_subtree(reinterpret_cast<xmlNode*>(doc), [](xmlNode* node) {
        if (is_attribute(node)) reinterpret_cast<xmlAttr*>(node)->atype = no_attribute_type;
    });
    const auto mark = [](void* id, void*, const xmlChar*) {
        if (xmlAttr* attr = static_cast<xmlID*>(id)->attr) attr->atype = XML_ATTRIBUTE_ID;
    };
    xmlHashScan(static_cast<xmlHashTable*>(doc->ids), mark, nullptr);
}

bool enter_marked(xmlDoc* doc) {
    bool entered = true;
    visit_subtree(reinterpret_cast<xmlNode*>(doc), [&](xmlNode* node) {
        if (!is_attribute(node)) return;
        auto* const attr = reinterpret_cast<xmlAttr*>(node);
        if (std::exchange(attr->atype, no_attribute_type) == XML_ATTRIBUTE_ID)
            entered &= enter_id(doc, attr);
    });
    return entered;
}

AttributeTextChange::AttributeTextChange(xmlNode* node) {
    while (node && !is_attribute(node) && !is_element(node)) node = node->parent;
    if (!node || !is_attribute(node) || !node->parent) return;
    doc_ = containing_document(node);
    if (!doc_) return;
    note_changed(doc_);
    attr_ = reinterpret_cast<xmlAttr*>(node);
    remove_id(doc_, attr_);
}

AttributeTextChange::~AttributeTextChange() {
    if (attr_) add_id_or_note(doc_, attr_);
}

}  // namespace valtrosse
