#include "dom/node/tree.hpp"

int _x_isDocumentNode(unsigned type) {
    constexpr unsigned bit_between_9_and_13 = 4;
    return (type & ~bit_between_9_and_13) == XML_DOCUMENT_NODE;
}

int _x_isNodeInDoc(const xmlNode* node) {
    return node && valtrosse::containing_document(node) != nullptr;
}
