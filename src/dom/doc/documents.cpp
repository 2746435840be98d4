#include "dom/doc/documents.hpp"

#include <atomic>

#include "lock.hpp"
#include "util/address_table.hpp"

namespace valtrosse {
namespace {

/// What is known of a document.
struct Facts {
    bool as_loaded = false;
    bool ids_in_order = false;
    bool ids_missing = false;
    bool own_records = false;
    bool ids_repeated = false;
};

constinit AddressTable<Facts> documents;

// The last document found in the table: nearly every look-up is for the same one.
std::atomic<const xmlDoc*> last_found = nullptr;
std::atomic<bool> stale_docs = false;
// Nearly always false: memory has never run out where it matters for IDs, and no ID has lost a holder.
std::atomic<bool> some_lack_ids = false;
// The last document that was noted as changed: scripts change one document again and again.
std::atomic<const xmlDoc*> last_changed = nullptr;

void enter(xmlDoc* doc, const Facts& facts) {
    if (!doc) return;
    SharedStateLock lock;
    last_changed = nullptr;
    if (!documents.enter(doc, facts)) some_lack_ids = true;  // of which nothing will be known
}

bool is_known(const xmlDoc* doc, bool Facts::*fact, bool of_unknown_document) {
    SharedStateLock lock;
    const Facts* const facts = documents.find(doc);
    return facts ? facts->*fact : of_unknown_document;
}

void note(const xmlDoc* doc, bool Facts::*fact, bool value) {
    SharedStateLock lock;
    if (Facts* const facts = documents.find(doc)) facts->*fact = value;
}

}  // namespace

void document_made(xmlDoc* doc) { enter(doc, {}); }
void document_loaded(xmlDoc* doc) { enter(doc, {.as_loaded = true, .ids_repeated = true}); }

void document_gone(xmlDoc* doc) {
    SharedStateLock lock;
    last_found = nullptr;
    stale_docs = true;
    documents.remove(doc);
}

bool is_known_document(const xmlDoc* doc) {
    if (!doc) return false;
    if (doc == last_found.load()) return true;
    SharedStateLock lock;
    if (!documents.find(doc)) return false;
    last_found = doc;
    return true;
}

bool may_have_stale_docs() { return stale_docs.load(); }
void note_stale_doc() { stale_docs = true; }

void note_own_records(xmlDoc* doc) { note(doc, &Facts::own_records, true); }
bool may_have_own_records(const xmlDoc* doc) { return is_known(doc, &Facts::own_records, true); }

void note_changed(xmlDoc* doc) {
    if (doc == last_changed.load()) return;
    SharedStateLock lock;
    if (Facts* const facts = documents.find(doc)) facts->as_loaded = facts->ids_in_order = false;
    last_changed = doc;
}

bool is_as_loaded(const xmlDoc* doc) { return is_known(doc, &Facts::as_loaded, false); }

void note_ids_in_order(xmlDoc* doc) { note(doc, &Facts::ids_in_order, true); }
bool has_ids_in_order(const xmlDoc* doc) { return is_known(doc, &Facts::ids_in_order, false); }

void note_ids_missing(xmlDoc* doc) {
    some_lack_ids = true;
    note(doc, &Facts::ids_missing, true);
}
void note_ids_complete(xmlDoc* doc) { note(doc, &Facts::ids_missing, false); }
bool may_lack_ids(const xmlDoc* doc) {
    return some_lack_ids.load() && is_known(doc, &Facts::ids_missing, true);
}

void note_ids_repeated(xmlDoc* doc) { note(doc, &Facts::ids_repeated, true); }
void note_ids_unrepeated(xmlDoc* doc) { note(doc, &Facts::ids_repeated, false); }
bool may_repeat_ids(const xmlDoc* doc) { return is_known(doc, &Facts::ids_repeated, true); }

void note_ids_of_copy(xmlDoc* copy, const xmlDoc* source) {
    if (may_repeat_ids(source)) note_ids_repeated(copy);
    if (may_lack_ids(source)) note_ids_missing(copy);
}

}  // namespace valtrosse
