// Serialising a node.
#include "dom/doc/escaped_uris.hpp"
#include "dom/doc/memory_watch.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/ownership.hpp"
#include "dom/owned.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The XML text of `node` and its subtree; with `format` 1 indented. No value for another format
/// and without a buffer.
Result dump(Call& call, xmlNode* node, std::uint32_t format) {
    if (format > 1) return no_value;
    // Unlike an xmlBuffer, it tells a text that was cut off for want of memory.
    const XmlOwned<xmlOutputBuffer> buffer(xmlAllocOutputBuffer(nullptr));
    if (!buffer) return no_value;
    clear_stale_docs(node);
    const MemoryWatch memory;
    xmlDoc* const doc = document_for_lookup(node);
    EscapedUris uris;
    if (may_have_uris_to_escape() && !uris.escape(doc, node)) return failure(VT_OUT_OF_MEMORY);
    xmlNodeDumpOutput(buffer.get(), doc, node, 0, static_cast<int>(format), nullptr);
    const xmlChar* const text = xmlOutputBufferGetContent(buffer.get());
    if (!text || memory.ran_out()) return failure(VT_OUT_OF_MEMORY);
    // In attributes of documents without an encoding it writes each byte of a surrogate as a character.
    if (const xmlError* const last = xmlGetLastError(); last && last->domain == XML_FROM_OUTPUT)
        return failure(VT_MALFORMED);
    return utf8_value<value_frame_size>(call, text, xmlOutputBufferGetSize(buffer.get()));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeDumpNode, valtrosse::dump)
