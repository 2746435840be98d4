// Nodes as people write them. Every handle passed in here must be alive.
#pragma once

#include <cstdint>
#include <string>

#include "host/host.hpp"

namespace valtrosse::cli {

using Handle = std::uint32_t;

/// The codes of xmlDOMNodeGetType that are asked for by name.
enum class NodeType : std::uint32_t {
    none = 0,  ///< HTML documents, element and attribute declarations
    element = 1,
    attribute = 2,
    text = 3,
    cdata = 4,
    entity_reference = 5,
    entity = 6,
    instruction = 7,
    comment = 8,
    document = 9,
    doctype = 10,
    fragment = 11,
    notation = 12
};

NodeType type_of(host::Host& host, Handle node);
/// The parent (of a notation the one before it), or 0.
Handle parent_of(host::Host& host, Handle node);

/// "element", "attribute", ... ; "HTML document" for a document without a type code.
std::string kind_of(host::Host& host, Handle node);

/// One line of markup: `<item id="3">`, `id="3"`, `"text"`, `<!--comment-->`, of a document its
/// address and root: `library.xml <library>`. Long values are cut.
std::string markup_of(host::Host& host, Handle node);

/// What is in a document: `XML document library.xml, root <library>, 12 elements, UTF-8`.
std::string summary_of(host::Host& host, Handle document);

}  // namespace valtrosse::cli
