#include "dom/doc/documents.hpp"

#include <libxml/hash.h>

#include <atomic>
#include <cstddef>

#include "dom/address_key.hpp"
#include "lock.hpp"

namespace valtrosse {
namespace {

// What is known of a document, as bits. The payload of its entry is the byte of that number: never null.
enum : std::size_t {
    as_loaded = 1,
    ids_in_order = 2,
    ids_missing = 4,
    own_records = 8,
    ids_repeated = 16
};
char facts_of_documents[32];

xmlHashTable* documents = nullptr;

// The last document found in the table: nearly every look-up is for the same one.
std::atomic<const xmlDoc*> last_found = nullptr;
std::atomic<bool> stale_docs = false;
// Nearly always false: memory has never run out where it matters for IDs, and no ID has lost a holder.
std::atomic<bool> some_lack_ids = false;
// The last document that was noted as changed: scripts change one document again and again.
std::atomic<const xmlDoc*> last_changed = nullptr;

/// Call under the lock. Null for a document that is not known.
char* entry_of(const xmlDoc* doc) {
    return doc ? static_cast<char*>(xmlHashLookup(documents, AddressKey(doc).text)) : nullptr;
}

/// Call under the lock.
void set_entry(const xmlDoc* doc, std::size_t facts) {
    xmlHashUpdateEntry(documents, AddressKey(doc).text, facts_of_documents + facts, nullptr);
}

void enter(xmlDoc* doc, std::size_t facts) {
    if (!doc) return;
    SharedStateLock lock;
    if (!documents) documents = xmlHashCreate(0);
    last_changed = nullptr;
    set_entry(doc, facts);
    if (!entry_of(doc)) some_lack_ids = true;  // of which nothing will be known
}

bool is_known(const xmlDoc* doc, std::size_t fact, bool of_unknown_document) {
    SharedStateLock lock;
    const char* const entry = entry_of(doc);
    return entry ? ((entry - facts_of_documents) & fact) != 0 : of_unknown_document;
}

/// For a known document this takes no memory.
void change_facts(const xmlDoc* doc, std::size_t added, std::size_t removed) {
    SharedStateLock lock;
    const char* const entry = entry_of(doc);
    if (!entry) return;
    const auto facts = static_cast<std::size_t>(entry - facts_of_documents);
    const std::size_t changed = (facts | added) & ~removed;
    if (changed != facts) set_entry(doc, changed);
}

}  // namespace

void document_made(xmlDoc* doc) { enter(doc, 0); }
void document_loaded(xmlDoc* doc) { enter(doc, as_loaded | ids_repeated); }

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

void note_own_records(xmlDoc* doc) { change_facts(doc, own_records, 0); }
bool may_have_own_records(const xmlDoc* doc) { return is_known(doc, own_records, true); }

void note_changed(xmlDoc* doc) {
    if (doc == last_changed.load()) return;
    change_facts(doc, 0, as_loaded | ids_in_order);
    last_changed = doc;
}

bool is_as_loaded(const xmlDoc* doc) { return is_known(doc, as_loaded, false); }

void note_ids_in_order(xmlDoc* doc) { change_facts(doc, ids_in_order, 0); }
bool has_ids_in_order(const xmlDoc* doc) { return is_known(doc, ids_in_order, false); }

void note_ids_missing(xmlDoc* doc) {
    some_lack_ids = true;
    change_facts(doc, ids_missing, 0);
}
void note_ids_complete(xmlDoc* doc) { change_facts(doc, 0, ids_missing); }
bool may_lack_ids(const xmlDoc* doc) {
    return some_lack_ids.load() && is_known(doc, ids_missing, true);
}

void note_ids_repeated(xmlDoc* doc) { change_facts(doc, ids_repeated, 0); }
void note_ids_unrepeated(xmlDoc* doc) { change_facts(doc, 0, ids_repeated); }
bool may_repeat_ids(const xmlDoc* doc) { return is_known(doc, ids_repeated, true); }

void note_ids_of_copy(xmlDoc* copy, const xmlDoc* source) {
    if (may_repeat_ids(source)) note_ids_repeated(copy);
    if (may_lack_ids(source)) note_ids_missing(copy);
}

}  // namespace valtrosse
