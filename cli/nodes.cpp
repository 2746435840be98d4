#include "cli/nodes.hpp"

#include "cli/format.hpp"

namespace valtrosse::cli {

namespace {

constexpr std::size_t value_limit = 40;
constexpr std::size_t attribute_limit = 6;

Handle handle_or_none(const host::Outcome& outcome) {
    const auto* handle = std::get_if<std::uint32_t>(&outcome.value());
    return handle != nullptr ? *handle : 0;
}

/// Empty where there is none, and where it cannot be given (a character above U+FFFF).
std::u16string text_or_none(const host::Outcome& outcome) {
    const auto* text = std::get_if<std::u16string>(&outcome.value());
    return text != nullptr ? *text : std::u16string();
}

std::string name_of(host::Host& host, Handle node) {
    return escaped(text_or_none(host.call("xmlDOMNodeGetName", {node})), value_limit);
}

std::string value_of(host::Host& host, Handle node) {
    const host::Outcome outcome = host.call("xmlDOMNodeGetValue", {node});
    if (outcome.status() != 0) return "…";
    return escaped(text_or_none(outcome), value_limit);
}

/// Of one text node: xmlDOMNodeGetValue would go on with its siblings.
std::string text_of(host::Host& host, Handle text) {
    if (handle_or_none(host.call("xmlDOMNodeGetRelative", {text, 1})) == 0) {
        return value_of(host, text);
    }
    return escaped(text_or_none(host.call("xmlDOMNodeDumpNode", {text, 0})), value_limit);
}

std::string attribute_markup(host::Host& host, Handle attribute) {
    return name_of(host, attribute) + "=\"" + value_of(host, attribute) + '"';
}

std::string tag_of(host::Host& host, Handle element) {
    std::string tag = '<' + name_of(host, element);
    std::size_t count = 0;
    Handle attribute = handle_or_none(host.call("xmlDOMNodeGetFirstAttribute", {element}));
    while (attribute != 0 && count++ < attribute_limit) {
        tag += ' ' + attribute_markup(host, attribute);
        attribute = handle_or_none(host.call("xmlDOMNodeGetNextAttribute", {element, attribute}));
    }
    return tag + (attribute != 0 ? " …>" : ">");
}

std::string property_of(host::Host& host, Handle document, int property) {
    const host::Outcome outcome = host.call("xmlDOMDocGetProperty", {document, property});
    return host::to_utf8(text_or_none(outcome));
}

std::string document_markup(host::Host& host, Handle document) {
    std::string markup = property_of(host, document, 3);
    const Handle root = handle_or_none(host.call("xmlDOMDocGetRootNode", {document}));
    if (!markup.empty()) markup += ' ';
    return markup + (root != 0 ? '<' + name_of(host, root) + '>' : "without an element");
}

}  // namespace

NodeType type_of(host::Host& host, Handle node) {
    return static_cast<NodeType>(handle_or_none(host.call("xmlDOMNodeGetType", {node})));
}

Handle parent_of(host::Host& host, Handle node) {
    return handle_or_none(host.call("xmlDOMNodeGetRelative", {node, 0}));
}

std::string kind_of(host::Host& host, Handle node) {
    switch (type_of(host, node)) {
        case NodeType::element: return "element";
        case NodeType::attribute: return "attribute";
        case NodeType::text: return "text";
        case NodeType::cdata: return "CDATA section";
        case NodeType::entity_reference: return "entity reference";
        case NodeType::entity: return "entity";
        case NodeType::instruction: return "processing instruction";
        case NodeType::comment: return "comment";
        case NodeType::document: return "document";
        case NodeType::doctype: return "DTD";
        case NodeType::fragment: return "document fragment";
        case NodeType::notation: return "notation";
        case NodeType::none: break;
    }
    return name_of(host, node) == "#document" ? "HTML document" : "declaration";
}

std::string markup_of(host::Host& host, Handle node) {
    std::string name = name_of(host, node);
    switch (type_of(host, node)) {
        case NodeType::element: return tag_of(host, node);
        case NodeType::attribute: return attribute_markup(host, node);
        case NodeType::text: return '"' + text_of(host, node) + '"';
        case NodeType::cdata: return "<![CDATA[" + value_of(host, node) + "]]>";
        case NodeType::entity_reference: return '&' + name + ';';
        case NodeType::entity: return "<!ENTITY " + name + '>';
        case NodeType::instruction: {
            const std::string value = value_of(host, node);
            return "<?" + name + (value.empty() ? "" : ' ' + value) + "?>";
        }
        case NodeType::comment: return "<!--" + value_of(host, node) + "-->";
        case NodeType::doctype: return "<!DOCTYPE " + name + '>';
        case NodeType::notation: return "<!NOTATION " + name + '>';
        case NodeType::fragment: return name;
        case NodeType::document:
        case NodeType::none: break;
    }
    return name == "#document" ? document_markup(host, node) : name;
}

std::string summary_of(host::Host& host, Handle document) {
    const bool xml = type_of(host, document) == NodeType::document;
    std::string summary = xml ? "XML document" : "HTML document";
    if (const std::string url = property_of(host, document, 3); !url.empty()) summary += ' ' + url;
    const Handle root = handle_or_none(host.call("xmlDOMDocGetRootNode", {document}));
    if (root == 0) return summary + ", empty";
    summary += ", root " + tag_of(host, root);
    const host::Outcome elements = host.call("xmlDOMNodeSelectNodes", {document, u"//*"});
    if (const auto* list = std::get_if<std::u16string>(&elements.value())) {
        summary += ", " + counted(list->size() / 8, "element");
    }
    const std::string encoding = property_of(host, document, 1);
    return summary + ", " + (encoding.empty() ? "no encoding named" : encoding);
}

}  // namespace valtrosse::cli
