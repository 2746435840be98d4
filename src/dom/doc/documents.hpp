// The documents that the library has made and not yet freed.
//
// A node outside any document may name in its doc field a document that is gone, or something that is
// no document. Before anything is read through such a field, it is looked up here.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// Enters a new document. Without memory it stays unknown, which is safe and only slower.
void document_made(xmlDoc* doc);
/// The same for one that a parser has made: until note_changed() it is as the parser left it.
void document_loaded(xmlDoc* doc);
/// Takes a document out that is about to be freed.
void document_gone(xmlDoc* doc);
/// Whether the address is that of a document that was made and is not gone; false for null.
bool is_known_document(const xmlDoc* doc);
/// Whether a doc field may name something else: a document has gone, or a node was made for a handle
/// that is no known document.
bool may_have_stale_docs();
/// Says that such a node is about to be made.
void note_stale_doc();

/// Notes that the document may own what libxml2 does not free with it: private namespace records, or
/// nodes below an entity reference.
void note_own_records(xmlDoc* doc);
/// Whether the document may own such things; true for an unknown document.
bool may_have_own_records(const xmlDoc* doc);

/// Notes that something in the document is linked, unlinked or given another attribute value.
void note_changed(xmlDoc* doc);
/// Whether the document is as a parser made it.
bool is_as_loaded(const xmlDoc* doc);
/// Notes of a document as loaded that what its table of IDs finds is what a search would find; the note
/// goes with the next change.
void note_ids_in_order(xmlDoc* doc);
bool has_ids_in_order(const xmlDoc* doc);

/// Notes that the document's table of IDs lacks one: there was no memory to enter it, or the first of
/// several holders of an ID has gone.
void note_ids_missing(xmlDoc* doc);
/// Notes that none is missing any more.
void note_ids_complete(xmlDoc* doc);
/// Whether the table may lack an ID; true for an unknown document.
bool may_lack_ids(const xmlDoc* doc);

/// Notes that an ID of the document has more than one holder; a parsed document may have such from the
/// start.
void note_ids_repeated(xmlDoc* doc);
/// Notes that none has.
void note_ids_unrepeated(xmlDoc* doc);
/// Whether an ID may have more than one holder; true for an unknown document.
bool may_repeat_ids(const xmlDoc* doc);
/// Notes of a copy what is known of the IDs of its source.
void note_ids_of_copy(xmlDoc* copy, const xmlDoc* source);

}  // namespace valtrosse
