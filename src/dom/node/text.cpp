#include "dom/node/text.hpp"

#include <libxml/entities.h>

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

/// Adds what sibling_text() gives.
void add_sibling_text(const xmlNode* node, TextBuffer& text) {
    xmlDoc* doc = nullptr;
    bool doc_known = false;
    for (; node; node = node->next) {
        if (has_text(node)) {
            text.add(node->content);
        } else if (node->type == XML_ENTITY_REF_NODE) {
            if (!doc_known) doc = document_for_lookup(node);
            doc_known = true;
            if (const xmlEntity* entity = xmlGetDocEntity(doc, node->name))
                text.add(XmlString(xmlNodeListGetString(doc, entity->children, 1)).get());
            else
                text.add(node->content);
        }
    }
}

}  // namespace

XmlString sibling_text(const xmlNode* node) {
    TextBuffer text;
    add_sibling_text(node, text);
    return text.take();
}

XmlString attribute_value(const xmlAttr* attr) {
    const xmlNode* first = attr->children;
    if (first && !first->next && has_text(first)) return XmlString(xmlStrdup(first->content));
    TextBuffer buffer;
    add_sibling_text(first, buffer);
    XmlString text = buffer.take();
    return text || buffer.failed() ? std::move(text)
                                   : XmlString(xmlStrdup(reinterpret_cast<const xmlChar*>("")));
}

}  // namespace valtrosse
