// Creating nodes, which hang nowhere until a script links them.
#include <libxml/tree.h>

#include "dom/attr/reserved.hpp"
#include "dom/doc/documents.hpp"
#include "dom/node/free.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/tree.hpp"
#include "dom/owned.hpp"
#include "utf8/text.hpp"
#include "util/names.hpp"

namespace valtrosse {
namespace {

/// Makes the node name `doc` as its own and gives its handle; it is freed when it cannot be handed
/// over. No value for a null node. `doc` is whatever handle the script passed.
Result new_node(Call& call, xmlNode* node, xmlDoc* doc) {
    if (!node) return no_value;
    if (!is_complete(node)) {
        _x_freeNode(node);
        return failure(VT_OUT_OF_MEMORY);
    }
    if (!is_known_document(doc)) note_stale_doc();
    node->doc = doc;
    note_markup(node);
    const Result result = call.handle(node);
    if (result.failed()) _x_freeNode(node);
    return result;
}

/// A node without a namespace, made without a document; null for a type that cannot be made or a name
/// with a colon.
xmlNode* make_node(std::uint32_t type, const Utf8& data) {
    const xmlChar* const text = data.text();
    const bool plain_name = _x_isLevel1Name(text) == 1;
    switch (type) {
        case XML_ELEMENT_NODE: return plain_name ? xmlNewNode(nullptr, text) : nullptr;
        case XML_ATTRIBUTE_NODE:
            return plain_name ? as_node(xmlNewProp(nullptr, text, nullptr)) : nullptr;
        case XML_TEXT_NODE: return xmlNewText(text);
        case XML_CDATA_SECTION_NODE:
            return xmlNewCDataBlock(nullptr, text, static_cast<int>(data.length()));
        case XML_ENTITY_REF_NODE: return plain_name ? xmlNewReference(nullptr, text) : nullptr;
        case XML_PI_NODE: return xmlNewPI(text, nullptr);
        case XML_COMMENT_NODE: return xmlNewComment(text);
        case XML_DOCUMENT_FRAG_NODE: return xmlNewDocFragment(nullptr);
        default: return nullptr;
    }
}

/// A new node of `type` 1, 2, 3, 4, 5, 7, 8 or 11; `data` is its name (1, 2, 5), target (7) or text
/// (3, 4, 8). No value for other types and for element, attribute and entity names with a colon.
Result create(Call& call, xmlDoc* doc, std::uint32_t type, HostText data) {
    const Utf8 text(call, data);
    if (text.failed()) return text.failure();
    return new_node(call, make_node(type, text), doc);
}

/// A new element (`type` 1) or attribute (2) with the local name and prefix of `qname` (prefix:local)
/// in the namespace `uri`. No value for other types, a name without exactly one colon, and a reserved
/// prefix with another URI than its own. An empty prefix means the default namespace.
Result create_ns(Call& call, xmlDoc* doc, std::uint32_t type, HostText qname,
                 Deferred<HostText> uri_argument) {
    const Utf8 name(call, qname);
    if (name.failed()) return name.failure();
    if (_x_isLevel2Name(name.text()) != 1) return no_value;
    HostText uri_text{};
    if (vt_status status = uri_argument.read(call, uri_text)) return failure(status);
    const Utf8 uri(call, uri_text);
    if (uri.failed()) return uri.failure();

    const xmlChar* const colon = xmlStrchr(name.text(), ':');
    const XmlString prefix(xmlStrndup(name.text(), static_cast<int>(colon - name.text())));
    const xmlChar* const local = colon + 1;
    if (!prefix || _x_isValidURIPrefix(uri.text(), prefix.get()) != 1) return no_value;

    xmlNode* node = nullptr;
    if (type == XML_ELEMENT_NODE) node = xmlNewNode(nullptr, local);
    if (type == XML_ATTRIBUTE_NODE) node = as_node(xmlNewProp(nullptr, local, nullptr));
    if (!node) return no_value;
    node->ns = _x_xmlNewNsPriv(uri.text(), *prefix.get() ? prefix.get() : nullptr);
    if (!node->ns) {
        _x_freeNode(node);
        return no_value;
    }
    return new_node(call, node, doc);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocCreateNode, valtrosse::create)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocCreateNodeNS, valtrosse::create_ns)
