// The functions with their parameters: how each is read, and what a generator likes to give it.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace valtrosse::random {

/// What a parameter wants. The order matters to reading_of() alone.
enum class Taste : unsigned char {
    // Handles.
    node,
    document,
    xml_document,
    html_document,
    owner,  // any number but 0
    element,
    attribute,
    attribute_to_link,
    child_attribute,  // of the element before it
    node_to_link,
    parent,
    node_to_free,
    copy_source,
    character_data,
    text_node,
    dtd,
    dtd_to_link,
    entity,
    notation,
    attribute_or_declaration,
    message_node,  // or 0
    // Integers.
    relative,
    position,
    node_type,
    ns_node_type,
    keep_blanks,  // 0 or 1: others give no value
    format,
    property,
    strict_flag,  // 0 or 1: others are refused
    // Texts and bytes.
    xml,
    html,
    version,
    name,
    qname,
    uri,
    content,
    id_value,
    xpath,
    encoding,
    xml_path,
    html_path,
    dtd_path,
    xslt_input,
    stylesheet,
    any_text,
    short_text,
    bytes,
};

enum class Reading : unsigned char { handle, handle_or_zero, integer, flag, text, bytes };

constexpr Reading reading_of(Taste taste) {
    if (taste < Taste::message_node) return Reading::handle;
    if (taste == Taste::message_node) return Reading::handle_or_zero;
    if (taste < Taste::strict_flag) return Reading::integer;
    if (taste == Taste::strict_flag) return Reading::flag;
    return taste == Taste::bytes ? Reading::bytes : Reading::text;
}

struct FunctionSpec {
    std::string_view name;
    unsigned weight;  // how often it is called, against the others
    std::vector<Taste> parameters;
};

/// The 64 functions and, after them, the methods of LIBXMLLife and the end of an object.
const std::vector<FunctionSpec>& functions();
/// Null for an unknown name.
const FunctionSpec* find_function(std::string_view name);

}  // namespace valtrosse::random
