// Serialising a node.
#include "dom/node/ownership.hpp"
#include "dom/owned.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The XML text of `node` and its subtree; with `format` 1 indented. No value for another format.
Result dump(Call& call, xmlNode* node, std::uint32_t format) {
    constexpr std::size_t frame_units = 100;
    if (format > 1) return no_value;
    const XmlOwned<xmlBuffer> buffer(xmlBufferCreate());
    if (!buffer) return no_value;
    clear_stale_docs(node);
    xmlNodeDump(buffer.get(), document_for_lookup(node), node, 0, static_cast<int>(format));
    const xmlChar* const text = xmlBufferContent(buffer.get());
    return utf8_value<frame_units>(call, text ? text : reinterpret_cast<const xmlChar*>(""));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeDumpNode, valtrosse::dump)
