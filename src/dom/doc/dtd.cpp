// DTDs of their own and DTDs of documents.
#include "dom/doc/parse_dtd.hpp"
#include "dom/node/free.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The handle of a new DTD, which is freed when it cannot be handed over; no value for null.
Result dtd_value(Call& call, xmlDtd* dtd) {
    if (dtd) note_markup(reinterpret_cast<const xmlNode*>(dtd));
    const Result result = call.handle_or_no_value(dtd);
    if (result.failed()) _x_freeNode(reinterpret_cast<xmlNode*>(dtd));
    return result;
}

/// A new, empty DTD of this name that belongs to no document.
Result create(Call& call, HostText name) {
    const Utf8 text(call, name);
    if (text.failed()) return text.failure();
    xmlDtd* dtd = xmlNewDtd(nullptr, text.text(), nullptr, nullptr);
    if (dtd && !dtd->name) {
        xmlFreeDtd(dtd);
        dtd = nullptr;
    }
    return dtd_value(call, dtd);
}

/// The DTD parsed from an external subset, which belongs to no document. An empty `publicId` is none.
Result load(Call& call, HostText public_id, HostText system_id) {
    const Utf8 external(call, public_id);
    if (external.failed()) return external.failure();
    const Utf8 system(call, system_id);
    if (system.failed()) return system.failure();
    return dtd_value(call,
                     parse_dtd(external.length() > 0 ? external.text() : nullptr, system.text()));
}

/// Makes `dtd` the internal subset of an XML document that has none, and its property; gives 0. No
/// value, and nothing changed, for other nodes, a document with an internal subset, and a DTD that
/// belongs to a document already.
Result set_external(Call& call, xmlDoc* doc, xmlDtd* dtd) {
    if (doc->type != XML_DOCUMENT_NODE || dtd->type != XML_DTD_NODE) return no_value;
    if (doc->intSubset || belongs_to_document(dtd)) return no_value;
    // libxml2 finds the right place among the document's children for a placeholder.
    xmlDtd* const placeholder = xmlCreateIntSubset(doc, dtd->name, dtd->ExternalID, dtd->SystemID);
    if (!placeholder) return no_value;
    auto* const node = reinterpret_cast<xmlNode*>(dtd);
    adopt(node, reinterpret_cast<xmlNode*>(doc));
    placeholder->doc = dtd->doc;
    xmlReplaceNode(reinterpret_cast<xmlNode*>(placeholder), node);
    placeholder->doc = nullptr;
    doc->intSubset = dtd;
    xmlFreeDtd(placeholder);
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocCreateDoctype, valtrosse::create)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocLoadDoctype, valtrosse::load)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSetExternalDtd, valtrosse::set_external)
