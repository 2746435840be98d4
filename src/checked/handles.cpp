// The objects that were handed out and are alive.
//
// libxml2 announces the end of every node, attribute, document and DTD, on the thread that frees it and
// only to that thread's callback. It does not announce the end of entity, element and attribute
// declarations: they end with their DTD, and hang in a chain off its entry. Notation records are the
// library's own, which says so itself.
//
// Only what was handed out is entered: whatever libxml2 makes besides (while it parses, transforms or
// evaluates) is no handle, also at an address that was one.
#include <libxml/globals.h>
#include <libxml/tree.h>
#include <pthread.h>

#include <atomic>

#include "checked/refusals.hpp"
#include "dom/node/tree.hpp"
#include "plugin/handle_check.hpp"
#include "util/address_table.hpp"

namespace valtrosse {
namespace {

// A lock of its own, the innermost: libxml2 frees nodes wherever the library stands.
class TableLock {
public:
    TableLock() { pthread_mutex_lock(&mutex_); }
    ~TableLock() { pthread_mutex_unlock(&mutex_); }
    TableLock(const TableLock&) = delete;
    TableLock& operator=(const TableLock&) = delete;

private:
    static inline pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// Each with the next one in the chain of its DTD, or null.
constinit AddressTable<const void*> table;

/// Whose callbacks libxml2 had on a thread, which are called in turn.
struct Watched {
    xmlDeregisterNodeFunc first;   ///< before the library came
    xmlDeregisterNodeFunc latest;  ///< when it last put its own in
    bool known;
    bool passing_on;
};

// In the thread's own block from its start: memory for it can never be missing.
__attribute__((tls_model("initial-exec"))) constinit thread_local Watched watched{};

// What new threads would have had.
std::atomic<xmlDeregisterNodeFunc> default_before = nullptr;

void pass_on(xmlNode* node) {
    if (!watched.known) watched = {default_before, default_before, true, false};
    // A callback that was put over this one, and calls it in turn, comes here a second time.
    const bool again = watched.passing_on;
    const xmlDeregisterNodeFunc callback = again ? watched.first : watched.latest;
    if (!callback) return;
    watched.passing_on = true;
    callback(node);
    watched.passing_on = again;
}

void node_gone(xmlNode* node) {
    handle_gone(node);
    pass_on(node);
}

// Makes libxml2 call callbacks at all, too.
void watch_new_threads() {
    const xmlDeregisterNodeFunc before = xmlThrDefDeregisterNodeDefault(node_gone);
    if (before != node_gone) default_before = before;
}

pthread_once_t new_threads_once = PTHREAD_ONCE_INIT;

bool is_known(std::uint32_t handle) {
    const TableLock lock;
    return table.find(reinterpret_cast<const void*>(handle)) != nullptr;
}

}  // namespace

void watch_this_thread() {
    pthread_once(&new_threads_once, watch_new_threads);
    // Not xmlDeregisterNodeDefault: on every thread, that one sets the main thread's callback.
    xmlDeregisterNodeFunc& callback = xmlDeregisterNodeDefaultValue;
    if (callback == node_gone) return;
    if (!watched.known) watched.first = callback;
    watched.latest = callback;
    watched.known = true;
    callback = node_gone;
}

vt_status handle_given(const void* object) {
    const auto* const node = static_cast<const xmlNode*>(object);
    const TableLock lock;
    if (table.find(node)) return VT_OK;
    // libxml2's own declarations of &lt; and the like have no DTD and never end.
    const xmlNode* const dtd = is_declaration(node) ? node->parent : nullptr;
    const void* next = nullptr;
    if (dtd) {
        const void** const first = table.find(dtd);
        if (!first && !table.enter(dtd, nullptr)) return VT_OUT_OF_MEMORY;
        next = first && *first ? *first : dtd;
    }
    if (!table.enter(node, next)) return VT_OUT_OF_MEMORY;
    if (dtd) *table.find(dtd) = node;
    return VT_OK;
}

void handle_gone(const void* object) {
    const TableLock lock;
    // The chain of a DTD's declarations ends at the DTD.
    while (const void* const* const known = table.find(object)) {
        const void* const next = *known;
        table.remove(object);
        if (!next) return;
        object = next;
    }
}

vt_status check_handle(std::uint32_t handle, const vt_name& parameter) {
    if (is_known(handle)) return VT_OK;
    report_refusal(handle, parameter);
    return VT_NULL_STRING;
}

}  // namespace valtrosse
