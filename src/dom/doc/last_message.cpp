// xmlDOMDocGetLastMsg, xmlDOMDocSetLastMsg.
#include "dom/doc/messages.hpp"
#include "dom/doc/report.hpp"
#include "dom/owned.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The last message of the document that `node` belongs to or, for 0 and for a node without one, of
/// this thread and call context. No value when there is none.
Result get(Call& call, HandleOrZero<xmlNode> node) {
    const XmlString message(_x_getMsgCopy(node.object, call.context()));
    return message ? report_value(call, message.get()) : no_value;
}

/// Stores `msg` where get() finds it; gives 0. Without memory the message before it stays.
Result set(Call& call, HandleOrZero<xmlNode> node, HostText msg) {
    if (msg.absent()) return no_value;
    const Utf8 text(call, msg);
    if (text.failed()) return text.failure();
    _x_addMsgCopy(node.object, call.context(), text.text());
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetLastMsg, valtrosse::get)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSetLastMsg, valtrosse::set)
