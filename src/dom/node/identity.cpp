// What a node is: its type, name and value, and setting the text of character data.
#include "dom/node/identity.hpp"

#include <cstring>

#include "dom/node/ids.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/strings.hpp"
#include "dom/node/text.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"

xmlChar* _x_nodeName(const xmlNode* node) {
    if (!node) return nullptr;
    switch (node->type) {
        case XML_TEXT_NODE: return xmlCharStrdup("#text");
        case XML_CDATA_SECTION_NODE: return xmlCharStrdup("#cdata-section");
        case XML_COMMENT_NODE: return xmlCharStrdup("#comment");
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE: return xmlCharStrdup("#document");
        case XML_DOCUMENT_FRAG_NODE: return xmlCharStrdup("#document-fragment");
        default: break;
    }
    const auto length_of = [](const xmlChar* text) {
        return text ? std::strlen(reinterpret_cast<const char*>(text)) : 0;
    };
    const bool may_have_prefix = valtrosse::is_element(node) || valtrosse::is_attribute(node);
    const xmlChar* const prefix = may_have_prefix && node->ns ? node->ns->prefix : nullptr;
    const std::size_t prefix_length = length_of(prefix);
    const std::size_t name_length = length_of(node->name);

    auto* name = static_cast<xmlChar*>(xmlMalloc(prefix_length + 1 + name_length + 1));
    if (!name) return nullptr;
    xmlChar* end = name;
    if (prefix_length > 0) {
        std::memcpy(end, prefix, prefix_length);
        end += prefix_length;
        *end++ = ':';
    }
    if (name_length > 0) std::memcpy(end, node->name, name_length);
    end[name_length] = 0;
    return name;
}

namespace valtrosse {
namespace {

/// The type code of `node`: 1 to 12, with 10 for a DTD and 6 for an entity declaration. No value for
/// other types (an HTML document among them).
Result type(Call& call, xmlNode* node) {
    switch (node->type) {
        case XML_DTD_NODE: return call.integer(XML_DOCUMENT_TYPE_NODE);
        case XML_ENTITY_DECL: return call.integer(XML_ENTITY_NODE);
        default: break;
    }
    const auto code = static_cast<std::uint32_t>(node->type);
    return code >= XML_ELEMENT_NODE && code <= XML_NOTATION_NODE ? call.integer(code) : no_value;
}

/// The DOM name of `node`.
Result name(Call& call, xmlNode* node) {
    return utf8_value(call, XmlString(_x_nodeName(node)).get());
}

/// The value of an attribute, CDATA section, processing instruction or comment; of a text node its
/// text with that of all later text, CDATA and entity reference siblings. No value for other nodes.
Result value(Call& call, xmlNode* node) {
    vt_status status = VT_OK;
    switch (node->type) {
        case XML_ATTRIBUTE_NODE: {
            const XmlString text = attribute_value(reinterpret_cast<xmlAttr*>(node), &status);
            return status == VT_OK ? utf8_value(call, text.get()) : failure(status);
        }
        case XML_CDATA_SECTION_NODE:
        case XML_PI_NODE:
        case XML_COMMENT_NODE: return utf8_value(call, node->content);
        case XML_TEXT_NODE:
            if (!node->next) return utf8_value(call, node->content);
            {
                const XmlString text = sibling_text(node, &status);
                return status == VT_OK ? utf8_value(call, text.get()) : failure(status);
            }
        default: return no_value;
    }
}

/// Replaces the text of a text node, CDATA section, processing instruction or comment; gives the
/// node. Other nodes stay as they are and give no value.
Result set_value(Call& call, xmlNode* node, HostText value) {
    if (value.absent()) return no_value;
    const Utf8 text(call, value);
    if (text.failed()) return text.failure();
    switch (node->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_PI_NODE:
        case XML_COMMENT_NODE: break;
        default: return no_value;
    }
    // xmlNodeSetContent would lose the old text when there is no memory for the new one.
    const xmlDoc* const doc = document_for_lookup(node);
    const AttributeTextChange change(node->parent);
    const xmlChar* content = is_inside(node) ? nullptr : node->content;
    if (!replace_string(content, text.text(), doc ? doc->dict : nullptr))
        return failure(VT_OUT_OF_MEMORY);
    node->content = const_cast<xmlChar*>(content);
    note_markup(node);
    return call.handle(node);
}

/// 0 for a text node or CDATA section of nothing but white space; no value for any other node.
Result is_blank(Call& call, xmlNode* node) {
    return xmlIsBlankNode(node) == 1 ? call.integer(0) : no_value;
}

/// The length in UTF-8 bytes of what value() gives for a text node.
Result text_length(Call& call, xmlNode* node) {
    if (node->type != XML_TEXT_NODE) return no_value;
    vt_status status = VT_OK;
    const XmlString text = sibling_text(node, &status);
    if (status != VT_OK) return failure(status);
    if (!text) return no_value;
    return call.integer(static_cast<std::uint32_t>(xmlStrlen(text.get())));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetType, valtrosse::type)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetName, valtrosse::name)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetValue, valtrosse::value)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeSetValue, valtrosse::set_value)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeIsBlankNode, valtrosse::is_blank)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMTextGetLength, valtrosse::text_length)
