// What the functions on attributes, names and texts are to give.
#include <algorithm>

#include "fuzz/random/check.hpp"
#include "fuzz/random/session.hpp"

namespace valtrosse::random {

// ---- Look-ups -----------------------------------------------------------------------------------

Node* Session::find_attribute(Node* element, const std::string& name) const {
    for (Node* attr : element->attributes)
        if (attr->name == name) return attr;
    const Node* const document = forest_.lookup_document(element);
    if (!document || !document->internal_subset) return nullptr;
    Node* const declaration = forest_.attribute_declaration(document, element->name, name, "");
    return declaration && declaration->default_value ? declaration : nullptr;
}

Node* Session::find_attribute_ns(Node* element, const std::string& name,
                                 const std::string& uri) const {
    for (Node* attr : element->attributes)
        if (attr->name == name && attr->ns && attr->ns->uri == uri) return attr;
    const Node* const document = forest_.lookup_document(element);
    if (!document || !document->internal_subset) return nullptr;
    for (const NamespaceRef& ns : all_in_scope(element)) {
        if (ns->uri != uri) continue;
        Node* const declaration = forest_.attribute_declaration(document, element->qualified_name(),
                                                                name, ns->prefix.value_or(""));
        if (declaration) return declaration->default_value ? declaration : nullptr;
    }
    return nullptr;
}

Expected Session::value_of_found(const Node* found) const {
    if (!found) return none();
    return text(found->is_attribute() ? forest_.attribute_value(found) : found->default_value);
}

namespace {

bool has_colon(const std::string& name) { return name.find(':') != std::string::npos; }

}  // namespace

Expected Session::get_attribute(const Args& args) {
    if (!args.nodes[0]->is_element() || has_colon(args.texts[1])) return none();
    return value_of_found(find_attribute(args.nodes[0], args.texts[1]));
}

Expected Session::get_attribute_node(const Args& args) {
    if (!args.nodes[0]->is_element() || has_colon(args.texts[1])) return none();
    return node_or_none(find_attribute(args.nodes[0], args.texts[1]));
}

Expected Session::get_attribute_ns(const Args& args) {
    if (!args.nodes[0]->is_element() || has_colon(args.texts[1])) return none();
    return value_of_found(find_attribute_ns(args.nodes[0], args.texts[1], args.texts[2]));
}

Expected Session::get_attribute_node_ns(const Args& args) {
    if (!args.nodes[0]->is_element() || has_colon(args.texts[1])) return none();
    return node_or_none(find_attribute_ns(args.nodes[0], args.texts[1], args.texts[2]));
}

// ---- Changes ------------------------------------------------------------------------------------

Expected Session::set_attribute_node(const Args& args) {
    Node* const attr = args.nodes[1];
    if (!args.nodes[0]->is_element() || !attr->is_attribute() || attr->parent) return none();
    return node_or_none(forest_.set_attribute(args.nodes[0], attr, false));
}

Expected Session::set_attribute_node_ns(const Args& args) {
    Node* const element = args.nodes[0];
    Node* const attr = args.nodes[1];
    if (!element->is_element() || !attr->is_attribute() || attr->parent || !attr->ns) return none();
    if (attr->ns->prefix != "xmlns" || attr->ns->uri != "http://www.w3.org/2000/xmlns/")
        return node_or_none(forest_.set_attribute(element, attr, true));
    if (attr->children.empty()) return none();
    if (!attr->name.empty() && forest_.attribute_value(attr).empty()) return none();
    forest_.declare(element, forest_.attribute_value(attr),
                    attr->name.empty() ? Text() : Text(attr->name));
    return integer(0);
}

Expected Session::remove_attribute_node(const Args& args) {
    Node* const attr = args.nodes[1];
    if (!args.nodes[0]->is_element() || !attr->is_attribute() || attr->parent != args.nodes[0])
        return none();
    forest_.remove_attribute(attr);
    return node_or_none(attr);
}

// ---- What an attribute is -----------------------------------------------------------------------

Expected Session::first_attribute(const Args& args) {
    const auto& attributes = args.nodes[0]->attributes;
    return node_or_none(attributes.empty() ? nullptr : attributes.front());
}

Expected Session::next_attribute(const Args& args) {
    const Node* const attr = args.nodes[1];
    if (!args.nodes[0]->is_element() || !attr->is_attribute() || attr->parent != args.nodes[0])
        return none();
    return node_or_none(sibling(attr, 1));
}

Expected Session::specified(const Args& args) {
    if (args.nodes[0]->is_attribute()) return boolean(true);
    return args.nodes[0]->type == XML_ATTRIBUTE_DECL ? boolean(false) : none();
}

Expected Session::is_id(const Args& args) {
    Node* const attr = args.nodes[0];
    if (!attr->is_attribute() || attr->owner == 0 || !attr->parent) return none();
    return boolean(forest_.is_declared_id(forest_.lookup_document(attr), attr->parent, attr, true));
}

Expected Session::property_ns(const Args& args) {
    const Node* const node = args.nodes[0];
    if ((!node->is_element() && !node->is_attribute()) || !node->ns) return none();
    switch (args.integers[1]) {
        case 0: return text(node->name);
        case 1: return text(node->ns->uri);
        case 2: return text(node->ns->prefix);
        default: return none();
    }
}

// ---- Names and texts ----------------------------------------------------------------------------

Expected Session::level1(const Args& args) { return boolean(!has_colon(args.texts[0])); }

Expected Session::level2(const Args& args) {
    return boolean(std::count(args.texts[0].begin(), args.texts[0].end(), ':') == 1);
}

Expected Session::valid_name(const Args& args) {
    const std::u16string& name = args.units[0];
    // Enough of the letters of XML for the names that are made up here.
    const auto is_letter = [](char16_t c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
               (c >= 0xC0 && c <= 0xF6 && c != 0xD7) || (c >= 0x4E00 && c <= 0x9FA5);
    };
    const auto is_part = [&](char16_t c) {
        return is_letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == 0xB7;
    };
    return boolean(!name.empty() && is_letter(name[0]) &&
                   std::all_of(name.begin(), name.end(), is_part));
}

Expected Session::str_replace(const Args& args) {
    const std::u16string& what = args.units[1];
    std::u16string result = args.units[0];
    if (what.empty() || result.find(what) == std::u16string::npos)
        return {.kind = Expected::Kind::status, .number = VT_MALFORMED};
    for (std::size_t at = 0; (at = result.find(what, at)) != std::u16string::npos;
         at += args.units[2].size())
        result.replace(at, what.size(), args.units[2]);
    return {.kind = Expected::Kind::text, .text = result};
}

Expected Session::encode(const Args& args) {
    const std::string utf8 = encode_units(args.units[0]);
    return {.kind = Expected::Kind::bytes, .bytes = {utf8.begin(), utf8.end()}};
}

Expected Session::decode(const Args& args) {
    const std::string bytes(args.bytes[0].begin(), args.bytes[0].end());
    Expected expected{.kind = Expected::Kind::text};
    const std::uint32_t status = decode_bytes(bytes, expected.text);
    if (status == VT_MALFORMED) return none();
    if (status != 0) return {.kind = Expected::Kind::status, .number = status};
    return expected;
}

Expected Session::version(const Args&) { return text("1.6.0.6"); }

}  // namespace valtrosse::random
