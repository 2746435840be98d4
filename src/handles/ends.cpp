// Hears of the ends of objects. libxml2 announces the end of every node, attribute, document and DTD, on
// the thread that frees it and only to that thread's callback.
#include "handles/ends.hpp"

#include <libxml/globals.h>

#include <atomic>

#include "handles/handle.hpp"

namespace valtrosse {
namespace {

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
    if (node->_private && object_of(slots::noted_handle(node)) == node) {
        end_handle(node);
        object_ended(node);
    }
    pass_on(node);
}

}  // namespace

void hear_ends_on_new_threads() {
    // Makes libxml2 call callbacks at all, too.
    const xmlDeregisterNodeFunc before = xmlThrDefDeregisterNodeDefault(node_gone);
    if (before != node_gone) default_before = before;
}

void hear_ends_on_this_thread() {
    // Not xmlDeregisterNodeDefault: on every thread, that one sets the main thread's callback.
    xmlDeregisterNodeFunc& callback = xmlDeregisterNodeDefaultValue;
    if (callback == node_gone) return;
    if (!watched.known) watched.first = callback;
    watched.latest = callback;
    watched.known = true;
    callback = node_gone;
}

}  // namespace valtrosse
