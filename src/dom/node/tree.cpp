#include "dom/node/tree.hpp"

#include "dom/doc/documents.hpp"

int _x_isDocumentNode(unsigned type) {
    constexpr unsigned bit_between_9_and_13 = 4;
    return (type & ~bit_between_9_and_13) == XML_DOCUMENT_NODE;
}

int _x_isNodeInDoc(const xmlNode* node) {
    return node && valtrosse::is_document(valtrosse::topmost(node));
}

xmlDoc* valtrosse::document_of_external_subset(const xmlDtd* dtd) {
    return is_known_document(dtd->doc) && dtd->doc->extSubset == dtd ? dtd->doc : nullptr;
}
