#include "dom/doc/copy_dtd.hpp"

#include <libxml/entities.h>
#include <libxml/hash.h>
#include <libxml/valid.h>

#include <algorithm>

#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

class DtdCopier {
public:
    explicit DtdCopier(const xmlDtd* source)
        : source_(source),
          copy_(xmlNewDtd(nullptr, source->name, source->ExternalID, source->SystemID)) {}

    /// 1. Copies the tables of declarations.
    /// 2. Gives each element the list of its attributes.
    /// 3. Links the declarations, and copies of what stands between them, in the source's order.
    xmlDtd* run() {
        if (!copy_) return nullptr;
        failed_ |= is_missing(copy_->name, source_->name) ||
                   is_missing(copy_->ExternalID, source_->ExternalID) ||
                   is_missing(copy_->SystemID, source_->SystemID);
        copy_table<xmlEntity>(source_->entities, copy_->entities);
        copy_table<xmlEntity>(source_->pentities, copy_->pentities);
        copy_table<xmlNotation>(source_->notations, copy_->notations);
        copy_table<xmlElement>(source_->elements, copy_->elements);
        copy_table<xmlAttribute>(source_->attributes, copy_->attributes);
        if (!failed_ && source_->elements)
            xmlHashScan(static_cast<xmlHashTable*>(source_->elements), list_attributes, this);
        for (const xmlNode* child = source_->children; child && !failed_; child = child->next)
            if (xmlNode* const copy = copy_of_child(child))
                link_before(reinterpret_cast<xmlNode*>(copy_), copy, nullptr);
        if (!failed_) return copy_;
        xmlFreeDtd(copy_);
        return nullptr;
    }

private:
    static bool is_missing(const void* copy, const void* source) { return source && !copy; }

    xmlChar* copy_string(const xmlChar* text) {
        xmlChar* const copy = xmlStrdup(text);
        failed_ |= is_missing(copy, text);
        return copy;
    }

    template <typename T>
    T* make() {
        auto* const made = static_cast<T*>(xmlMalloc(sizeof(T)));
        if (made)
            *made = {};
        else
            failed_ = true;
        return made;
    }

    /// The table frees its declarations: each is entered while it is empty, and filled afterwards.
    template <typename T>
    struct TableCopy {
        DtdCopier& copier;
        xmlHashTable* table;

        static void enter(void* payload, void* self, const xmlChar* name, const xmlChar* name2,
                          const xmlChar* name3) {
            DtdCopier& copier = static_cast<TableCopy*>(self)->copier;
            xmlHashTable* const table = static_cast<TableCopy*>(self)->table;
            T* const copy = copier.failed_ ? nullptr : copier.make<T>();
            if (!copy) return;
            if (xmlHashAddEntry3(table, name, name2, name3, copy) != 0) {
                copier.failed_ = true;
                xmlFree(copy);
                return;
            }
            // Without memory for its key the entry is there all the same, out of reach.
            copier.failed_ |= xmlHashLookup3(table, name, name2, name3) != copy;
            copier.fill(*copy, *static_cast<const T*>(payload));
        }
    };

    template <typename T>
    void copy_table(void* from, void*& to) {
        if (!from || failed_) return;
        auto* const source = static_cast<xmlHashTable*>(from);
        TableCopy<T> copy{*this, xmlHashCreate(std::max(xmlHashSize(source), 1))};
        to = copy.table;
        failed_ |= !copy.table;
        if (copy.table) xmlHashScanFull(source, copy.enter, &copy);
    }

    void fill(xmlEntity& copy, const xmlEntity& from) {
        copy.type = XML_ENTITY_DECL;
        copy.etype = from.etype;
        copy.length = from.length;
        copy.checked = from.checked;
        copy.name = copy_string(from.name);
        copy.ExternalID = copy_string(from.ExternalID);
        copy.SystemID = copy_string(from.SystemID);
        copy.content = copy_string(from.content);
        copy.orig = copy_string(from.orig);
        copy.URI = copy_string(from.URI);
    }

    void fill(xmlNotation& copy, const xmlNotation& from) {
        copy.name = copy_string(from.name);
        copy.PublicID = copy_string(from.PublicID);
        copy.SystemID = copy_string(from.SystemID);
    }

    void fill(xmlElement& copy, const xmlElement& from) {
        copy.type = XML_ELEMENT_DECL;
        copy.etype = from.etype;
        copy.name = copy_string(from.name);
        copy.prefix = copy_string(from.prefix);
        copy_content(from.content, copy.content, nullptr);
    }

    void fill(xmlAttribute& copy, const xmlAttribute& from) {
        copy.type = XML_ATTRIBUTE_DECL;
        copy.atype = from.atype;
        copy.def = from.def;
        copy.name = copy_string(from.name);
        copy.prefix = copy_string(from.prefix);
        copy.elem = copy_string(from.elem);
        copy.defaultValue = copy_string(from.defaultValue);
        xmlEnumeration** last = &copy.tree;
        for (const xmlEnumeration* value = from.tree; value && !failed_; value = value->next) {
            *last = xmlCreateEnumeration(value->name);
            failed_ |= !*last || is_missing((*last)->name, value->name);
            if (*last) last = &(*last)->next;
        }
    }

    /// A content model is a tree of pairs: (a, b, c, d) is a chain along c2 as long as the list, and c1 is
    /// as deep as its parentheses, which the parser limits.
    void copy_content(const xmlElementContent* from, xmlElementContent*& place,
                      xmlElementContent* parent) {
        xmlElementContent** next = &place;
        for (; from && !failed_; from = from->c2) {
            auto* const copy = make<xmlElementContent>();
            *next = copy;
            if (!copy) return;
            copy->type = from->type;
            copy->ocur = from->ocur;
            copy->parent = parent;
            copy->name = copy_string(from->name);
            copy->prefix = copy_string(from->prefix);
            copy_content(from->c1, copy->c1, copy);
            parent = copy;
            next = &copy->c2;
        }
    }

    xmlAttribute* copy_of(const xmlAttribute* source) const {
        return static_cast<xmlAttribute*>(
            xmlHashLookup3(static_cast<xmlHashTable*>(copy_->attributes), source->name,
                           source->prefix, source->elem));
    }

    static void list_attributes(void* payload, void* self, const xmlChar*) {
        const auto& copier = *static_cast<DtdCopier*>(self);
        const auto* const source = static_cast<const xmlElement*>(payload);
        auto* const element = static_cast<xmlElement*>(xmlHashLookup2(
            static_cast<xmlHashTable*>(copier.copy_->elements), source->name, source->prefix));
        if (!element) return;
        xmlAttribute** last = &element->attributes;
        for (const xmlAttribute* attr = source->attributes; attr; attr = attr->nexth) {
            *last = copier.copy_of(attr);
            if (!*last) return;
            last = &(*last)->nexth;
        }
    }

    /// The copy of a declaration, which a table has, or a new copy of another child. Null where there is
    /// none, as for an entity that another of its name has made void.
    xmlNode* copy_of_child(const xmlNode* child) {
        void* copy = nullptr;
        switch (child->type) {
            case XML_ELEMENT_DECL: {
                const auto* const element = reinterpret_cast<const xmlElement*>(child);
                copy = xmlHashLookup2(static_cast<xmlHashTable*>(copy_->elements), element->name,
                                      element->prefix);
                break;
            }
            case XML_ATTRIBUTE_DECL:
                copy = copy_of(reinterpret_cast<const xmlAttribute*>(child));
                break;
            case XML_ENTITY_DECL: {
                const auto* const entity = reinterpret_cast<const xmlEntity*>(child);
                const bool of_parameters = entity->etype == XML_INTERNAL_PARAMETER_ENTITY ||
                                           entity->etype == XML_EXTERNAL_PARAMETER_ENTITY;
                copy = xmlHashLookup(
                    static_cast<xmlHashTable*>(of_parameters ? copy_->pentities : copy_->entities),
                    entity->name);
                break;
            }
            case XML_COMMENT_NODE:
            case XML_PI_NODE: {
                xmlNode* const node = child->type == XML_PI_NODE
                                          ? xmlNewPI(child->name, child->content)
                                          : xmlNewComment(child->content);
                failed_ |= !node || is_missing(node->content, child->content) ||
                           is_missing(node->name, child->name);
                return node;
            }
            default: return nullptr;
        }
        auto* const node = static_cast<xmlNode*>(copy);
        return node && !node->parent ? node : nullptr;
    }

    const xmlDtd* source_;
    xmlDtd* copy_;
    bool failed_ = false;
};

}  // namespace

xmlDtd* copy_dtd(const xmlDtd* source) { return DtdCopier(source).run(); }

}  // namespace valtrosse
