#include "dom/doc/documents.hpp"

#include <libxml/hash.h>

#include <atomic>

#include "dom/address_key.hpp"
#include "lock.hpp"

namespace valtrosse {
namespace {

// What is known of a document, as the payload of its entry: never null.
char plain;
char with_own_records;

xmlHashTable* documents = nullptr;

// The last document found in the table: nearly every look-up is for the same one.
std::atomic<const xmlDoc*> last_found = nullptr;
std::atomic<bool> stale_docs = false;

const void* entry_of(const xmlDoc* doc) {
    return doc ? xmlHashLookup(documents, AddressKey(doc).text) : nullptr;
}

}  // namespace

void document_made(xmlDoc* doc) {
    if (!doc) return;
    SharedStateLock lock;
    if (!documents) documents = xmlHashCreate(0);
    xmlHashUpdateEntry(documents, AddressKey(doc).text, &plain, nullptr);
}

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
    if (entry_of(doc) == &plain)
        xmlHashUpdateEntry(documents, AddressKey(doc).text, &with_own_records, nullptr);
}

bool may_have_own_records(const xmlDoc* doc) {
    SharedStateLock lock;
    return entry_of(doc) != &plain;
}

}  // namespace valtrosse
