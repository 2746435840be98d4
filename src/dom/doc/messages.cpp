#include "dom/doc/messages.hpp"

#include <libxml/globals.h>

#include <cstring>

#include "dom/address_key.hpp"
#include "dom/owned.hpp"
#include "lock.hpp"

using namespace valtrosse;

namespace {

xmlHashTable* table = nullptr;

/// Call under the lock.
xmlHashTable* table_made_on_demand() {
    if (!table) table = xmlHashCreate(0);
    return table;
}

constexpr std::size_t thread_key_length = 2 * AddressKey::length;

/// Call under the lock.
void remove_entry(const xmlChar* key) {
    if (void* message = xmlHashLookup(table, key)) {
        xmlFree(message);
        xmlHashRemoveEntry(table, key, nullptr);
    }
}

void remove_if_of_thread(void*, void* thread, const xmlChar* name, const xmlChar*, const xmlChar*) {
    const auto* key = static_cast<const AddressKey*>(thread);
    if (name && std::strlen(reinterpret_cast<const char*>(name)) == thread_key_length &&
        std::memcmp(name, key->text, AddressKey::length) == 0)
        remove_entry(name);
}

/// libxml2's per-thread state lives at addresses that later threads use again. When this thread uses
/// its key for the first time, what an earlier thread left under it goes.
void forget_earlier_thread() {
    // Initial-exec: no call per use, and no dependency on the dynamic loader's library.
    static thread_local const void* state_in_use __attribute__((tls_model("initial-exec"))) =
        nullptr;
    const void* state = xmlGetGlobalState();
    if (state == state_in_use) return;
    state_in_use = state;
    AddressKey key(state);
    SharedStateLock lock;
    if (table) xmlHashScanFull(table, remove_if_of_thread, &key);
}

/// The key under which the messages of an object stand.
class MessageKey {
public:
    MessageKey(const xmlNode* object, const vt_call_context* context) {
        if (const xmlDoc* doc = _x_getDocNode(object)) {
            text_.reset(_x_xmlNodePtrToxmlCharPtr(reinterpret_cast<std::uintptr_t>(doc)));
        } else {
            forget_earlier_thread();
            text_.reset(_x_getMsgThreadId(context));
        }
    }
    explicit operator bool() const { return text_ != nullptr; }
    const xmlChar* text() const { return text_.get(); }

private:
    XmlString text_;
};

}  // namespace

xmlHashTable* _x_getMsgTable() {
    SharedStateLock lock;
    return table_made_on_demand();
}

bool valtrosse::store_message(const xmlNode* object, const vt_call_context* context,
                              const xmlChar* message) {
    const MessageKey key(object, context);
    XmlString copy(xmlStrdup(message));
    if (!key || !copy) return false;
    SharedStateLock lock;
    if (!table_made_on_demand()) return false;
    const auto free_old = [](void* old, const xmlChar*) { xmlFree(old); };
    if (xmlHashUpdateEntry(table, key.text(), copy.get(), free_old) != 0) return false;
    // Without memory for its key the entry is there all the same, out of reach until all are removed.
    return xmlHashLookup(table, key.text()) == copy.release();
}

void _x_addMsgCopy(const xmlNode* object, const vt_call_context* context, const xmlChar* message) {
    if (message) store_message(object, context, message);
}

xmlChar* _x_getMsgCopy(const xmlNode* object, const vt_call_context* context) {
    const MessageKey key(object, context);
    if (!key) return nullptr;
    SharedStateLock lock;
    return xmlStrdup(
        static_cast<const xmlChar*>(xmlHashLookup(table_made_on_demand(), key.text())));
}

void _x_removeMsg(const xmlNode* object, const vt_call_context* context) {
    const MessageKey key(object, context);
    if (!key) return;
    SharedStateLock lock;
    remove_entry(key.text());
}

void _x_removeAllMsgs() {
    SharedStateLock lock;
    if (!table) return;
    xmlHashScan(table, _x_freeMsg, nullptr);
    xmlHashFree(table, nullptr);
    table = nullptr;
}

void _x_freeMsg(void* message, void*, const xmlChar*) {
    if (message) xmlFree(message);
}

xmlChar* _x_getMsgThreadId(const vt_call_context* context) {
    auto* id = static_cast<xmlChar*>(xmlMalloc(thread_key_length + 1));
    if (!id) return nullptr;
    std::memcpy(id, AddressKey(xmlGetGlobalState()).text, AddressKey::length);
    std::memcpy(id + AddressKey::length, AddressKey(context).text, AddressKey::length + 1);
    return id;
}

xmlChar* _x_xmlNodePtrToxmlCharPtr(std::uintptr_t address) {
    auto* key = static_cast<xmlChar*>(xmlMalloc(sizeof(AddressKey)));
    if (key) std::memcpy(key, AddressKey(address).text, sizeof(AddressKey));
    return key;
}

std::uintptr_t _x_xmlCharPtrToxmlNodePtr(const xmlChar* key) {
    if (!key || xmlStrlen(key) != AddressKey::length) return 0;
    std::uintptr_t address = 0;
    for (std::size_t i = AddressKey::length / 2; i-- > 0;) {
        const unsigned byte = ((key[2 * i] - 1u) << 4) + key[2 * i + 1] - 1u;
        address = address << 8 | (byte & 0xFF);
    }
    return address;
}

xmlDoc* _x_getDocNode(const xmlNode* object) { return object ? object->doc : nullptr; }
