#include "dom/node/text.hpp"

#include <libxml/entities.h>
#include <libxml/hash.h>

#include <cstring>

#include "dom/node/ownership.hpp"

namespace valtrosse {
namespace {

/// A growing text that stays absent until something is added to it.
class TextBuffer {
public:
    void add(const xmlChar* text) {
        if (!text) return;
        if (!buffer_) {
            buffer_.reset(xmlBufferCreate());
            failed_ |= !buffer_;
            if (failed_) return;
            xmlBufferSetAllocationScheme(buffer_.get(), XML_BUFFER_ALLOC_DOUBLEIT);
        }
        failed_ |= xmlBufferCat(buffer_.get(), text) != 0;
    }
    bool failed() const { return failed_; }
    std::size_t length() const {
        return buffer_ ? static_cast<std::size_t>(xmlBufferLength(buffer_.get())) : 0;
    }
    XmlString take() {
        return XmlString(buffer_ && !failed_ ? xmlBufferDetach(buffer_.get()) : nullptr);
    }

private:
    XmlOwned<xmlBuffer> buffer_;
    bool failed_ = false;
};

bool has_text(const xmlNode* node) {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

std::size_t length_of(const xmlChar* text) {
    return text ? std::strlen(reinterpret_cast<const char*>(text)) : 0;
}

void add_length(void* entity, void* sum, const xmlChar*) {
    *static_cast<std::size_t*>(sum) += length_of(static_cast<const xmlEntity*>(entity)->content);
}

/// The bytes of the texts that a document's entities have by themselves.
std::size_t declared_length(const xmlDoc* doc) {
    std::size_t sum = 0;
    for (const xmlDtd* dtd : {doc->intSubset, doc->extSubset})
        if (dtd) xmlHashScan(static_cast<xmlHashTable*>(dtd->entities), add_length, &sum);
    return sum;
}

/// Whether references made too much of what is written, as the parser bounds it. `declared` is 0 until
/// it is needed.
bool is_too_long(std::size_t length, std::size_t written, const xmlDoc* doc,
                 std::size_t& declared) {
    constexpr std::size_t always_allowed = 10000000, factor = 10;
    if (length <= always_allowed || length / factor <= written) return false;
    if (declared == 0) declared = declared_length(doc);
    return length / factor > written + declared;
}

/// Adds what sibling_text() gives. False, after a part of it, when it is too long.
bool add_sibling_text(const xmlNode* node, TextBuffer& text) {
    xmlDoc* doc = nullptr;
    bool doc_known = false;
    const xmlEntity* last = nullptr;
    XmlString last_text;
    std::size_t written = 0, declared = 0;
    for (; node && !text.failed(); node = node->next) {
        if (has_text(node)) {
            text.add(node->content);
            written += length_of(node->content);
        } else if (node->type == XML_ENTITY_REF_NODE) {
            if (!doc_known) doc = document_for_lookup(node);
            doc_known = true;
            const xmlEntity* const entity = xmlGetDocEntity(doc, node->name);
            if (entity && entity != last) {
                last = entity;
                last_text.reset(xmlNodeListGetString(doc, entity->children, 1));
            }
            text.add(entity ? last_text.get() : node->content);
            written += length_of(node->name) + 2;
            if (entity && doc && is_too_long(text.length(), written, doc, declared)) return false;
        }
    }
    return true;
}

XmlString text_from(const xmlNode* first, vt_status* status) {
    TextBuffer buffer;
    const bool is_bounded = add_sibling_text(first, buffer);
    if (status) *status = !is_bounded ? VT_TOO_LARGE : buffer.failed() ? VT_OUT_OF_MEMORY : VT_OK;
    if (!is_bounded || buffer.failed()) return nullptr;
    return buffer.take();
}

}  // namespace

XmlString sibling_text(const xmlNode* node, vt_status* status) { return text_from(node, status); }

XmlString attribute_value(const xmlAttr* attr, vt_status* status) {
    const xmlNode* const first = attr->children;
    const bool is_one_text = first && !first->next && has_text(first);
    vt_status made = VT_OK;
    XmlString text(is_one_text ? xmlStrdup(first->content) : nullptr);
    if (!is_one_text) text = text_from(first, &made);
    if (!is_one_text && !text && made == VT_OK)
        text.reset(xmlStrdup(reinterpret_cast<const xmlChar*>("")));
    if (!text && made == VT_OK && !(is_one_text && !first->content)) made = VT_OUT_OF_MEMORY;
    if (status) *status = made;
    return text;
}

}  // namespace valtrosse
