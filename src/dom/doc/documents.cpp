#include "dom/doc/documents.hpp"

#include <libxml/hash.h>

#include <atomic>

#include "dom/address_key.hpp"
#include "lock.hpp"

namespace valtrosse {
namespace {

// What is known of a document, as the payload of its entry: never null. Each follows from one before.
char as_loaded;
char with_ids_in_order;
char plain;
char with_own_records;

xmlHashTable* documents = nullptr;

// The last document found in the table: nearly every look-up is for the same one.
std::atomic<const xmlDoc*> last_found = nullptr;
std::atomic<bool> stale_docs = false;
// The last document that was noted as changed: scripts change one document again and again.
std::atomic<const xmlDoc*> last_changed = nullptr;

const void* entry_of(const xmlDoc* doc) {
    return doc ? xmlHashLookup(documents, AddressKey(doc).text) : nullptr;
}

/// Call under the lock.
void set_entry(const xmlDoc* doc, char& state) {
    xmlHashUpdateEntry(documents, AddressKey(doc).text, &state, nullptr);
}

void enter(xmlDoc* doc, char& state) {
    if (!doc) return;
    SharedStateLock lock;
    if (!documents) documents = xmlHashCreate(0);
    last_changed = nullptr;
    set_entry(doc, state);
}

bool has_entry(const xmlDoc* doc, const char& state) {
    SharedStateLock lock;
    return entry_of(doc) == &state;
}

}  // namespace

void document_made(xmlDoc* doc) { enter(doc, plain); }
void document_loaded(xmlDoc* doc) { enter(doc, as_loaded); }

void document_gone(xmlDoc* doc) {
    SharedStateLock lock;
    last_found = nullptr;
    stale_docs = true;
    xmlHashRemoveEntry(documents, AddressKey(doc).text, nullptr);
}

bool is_known_document(const xmlDoc* doc) {
    if (!doc) return false;
    if (doc == last_found.load()) return true;
    SharedStateLock lock;
    if (!entry_of(doc)) return false;
    last_found = doc;
    return true;
}

bool may_have_stale_docs() { return stale_docs.load(); }
void note_stale_doc() { stale_docs = true; }

void note_own_records(xmlDoc* doc) {
    SharedStateLock lock;
    if (entry_of(doc)) set_entry(doc, with_own_records);
}

bool may_have_own_records(const xmlDoc* doc) {
    SharedStateLock lock;
    const void* const entry = entry_of(doc);
    return !entry || entry == &with_own_records;
}

void note_changed(xmlDoc* doc) {
    if (doc == last_changed.load()) return;
    SharedStateLock lock;
    const void* const entry = entry_of(doc);
    if (entry == &as_loaded || entry == &with_ids_in_order) set_entry(doc, plain);
    last_changed = doc;
}

bool is_as_loaded(const xmlDoc* doc) { return has_entry(doc, as_loaded); }
bool has_ids_in_order(const xmlDoc* doc) { return has_entry(doc, with_ids_in_order); }

void note_ids_in_order(xmlDoc* doc) {
    SharedStateLock lock;
    if (entry_of(doc) == &as_loaded) set_entry(doc, with_ids_in_order);
}

}  // namespace valtrosse
