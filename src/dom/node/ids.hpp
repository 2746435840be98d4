// The table of IDs that libxml2 keeps for a document follows what scripts do to attributes, so that
// XPath id() keeps answering and no entry outlives its attribute.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// Drops the attribute's entry, if it has one. Another attribute with its value is entered in its place
/// by enter_missing_ids().
void remove_id(xmlDoc* doc, xmlAttr* attr);
/// Enters the attribute of an element of doc where it is an ID there. The first holder of a value
/// keeps it. False without memory.
bool add_id(xmlDoc* doc, xmlAttr* attr);
/// The same for what cannot be refused any more: what there is no memory for is missing until
/// enter_missing_ids().
void add_id_or_note(xmlDoc* doc, xmlAttr* attr);
/// Before the table of a document is read: enters what was missing. False without memory.
bool enter_missing_ids(xmlDoc* doc);

/// Marks exactly those attributes of the document as IDs that stand in its table.
void restore_marks(xmlDoc* doc);

/// Enters exactly those attributes of the document that are marked as IDs; its table has none of them.
/// False without memory.
bool enter_marked(xmlDoc* doc);

/// A change of the text below an attribute: the table finds an entry by the attribute's value, so the
/// entry goes before the change and comes back after it. Does nothing for a node that hangs under no
/// attribute of a document.
class AttributeTextChange {
public:
    /// node: the attribute, or a node below it that is to change or to get siblings.
    explicit AttributeTextChange(xmlNode* node);
    ~AttributeTextChange();
    AttributeTextChange(const AttributeTextChange&) = delete;
    AttributeTextChange& operator=(const AttributeTextChange&) = delete;

private:
    xmlDoc* doc_ = nullptr;
    xmlAttr* attr_ = nullptr;
};

}  // namespace valtrosse
