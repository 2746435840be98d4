// Who owns what when nodes move.
//
// A node outside any document owns all it points at: its strings are on the heap, not in a document's
// dictionary; it stands in no ID table; an entity reference has let go of its declaration, and has a
// text of its own in the place of the declaration's. Its doc
// field is a value for scripts, which may name a document that is gone or something that is no
// document: nobody reads through it. A node in a document names that document in its doc field (in a
// cloned document: none), and so do its attributes and their text.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// The document to look declarations up in for this node: the one that its doc field names, if that
/// exists, else the one that it is in; null when there is neither.
xmlDoc* document_for_lookup(const xmlNode* node);

/// Whether a DTD is part of a document: it hangs under one or is its external subset, which hangs
/// nowhere.
bool belongs_to_document(const xmlDtd* dtd);

/// Makes one node or attribute of doc (null: none) own its strings, which is as good inside a document.
/// False without memory.
bool own_strings(xmlNode* node, const xmlDoc* doc);
/// Takes from one node or attribute what it has only in doc (null: none): its entry in the table of
/// IDs, and the declaration of an entity.
void let_go(xmlNode* node, xmlDoc* doc);

/// The text that an entity reference owns, or null: its content is the declaration's own otherwise, or
/// none. libxml2 frees neither.
inline xmlChar* own_text(const xmlNode* reference) {
    return static_cast<xmlChar*>(reference->psvi);
}
/// Gives a reference that owns none a copy of the text. False without memory.
bool give_own_text(xmlNode* reference, const xmlChar* text);
/// The same with the text that doc (null: none) declares for the entity, where it does.
bool own_declared_text(xmlNode* reference, xmlDoc* doc);
void release_own_text(xmlNode* reference);

/// Makes a subtree name the same document as the parent it is about to hang under and, where that one
/// is in a document, enters its IDs. The subtree is outside any document.
void adopt(xmlNode* root, const xmlNode* parent);

/// Clears every doc field of the tree that `node` is in which may name a document that is gone, so
/// that libxml2 may walk it. Nothing to do for a node in a document.
void clear_stale_docs(xmlNode* node);

/// Lets libxml2 read through a node's doc field: for as long as it lives the field names the document
/// for look-ups, or none, instead of a document that may be gone. The node must outlive it; null is
/// allowed.
class LookupDoc {
public:
    explicit LookupDoc(xmlNode* node) : node_(node), doc_(node ? node->doc : nullptr) {
        if (node) node->doc = document_for_lookup(node);
    }
    ~LookupDoc() {
        if (node_) node_->doc = doc_;
    }
    LookupDoc(const LookupDoc&) = delete;
    LookupDoc& operator=(const LookupDoc&) = delete;

private:
    xmlNode* node_;
    xmlDoc* doc_;
};

}  // namespace valtrosse
