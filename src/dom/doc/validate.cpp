#include "dom/doc/validate.hpp"

#include <libxml/hash.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <cstdio>
#include <memory>

#include "dom/doc/capture.hpp"
#include "dom/doc/parse_dtd.hpp"
#include "dom/doc/report.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/tree.hpp"
#include "plugin/frame.hpp"

xmlChar* _x_pathFromDocDtdPaths(const xmlChar* document_url, const xmlChar* system_id) {
    if (!system_id) return nullptr;
    if (xmlStrchr(system_id, '.') && xmlStrchr(system_id, '/')) return xmlStrdup(system_id);
    if (!document_url) return nullptr;
    int length = xmlStrlen(document_url);
    while (length > 0 && document_url[length - 1] != '/') --length;
    if (length == 0) return xmlStrdup(system_id);
    const valtrosse::XmlString directory(xmlStrndup(document_url, length));
    return directory ? xmlStrncatNew(directory.get(), system_id, -1) : nullptr;
}

namespace valtrosse {
namespace {

struct Release {
    void operator()(xmlValidCtxt* context) const { xmlFreeValidCtxt(context); }
    void operator()(xmlDtd* dtd) const { xmlFreeDtd(dtd); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

/// libxml2 validates by recursion: deeper trees than this are refused. Parsed documents have at most
/// 256 levels.
constexpr int max_levels = 10000;

bool is_deeper_than(const xmlNode* root, int levels) {
    int level = 0;
    for (const xmlNode* node = root;;) {
        if (const xmlNode* child = first_child(node)) {
            if (++level > levels) return true;
            node = child;
            continue;
        }
        for (; node != root && !node->next; node = node->parent) --level;
        if (node == root) return false;
        node = node->next;
    }
}

/// Keeps the table of IDs of a document across a validation, which makes one of its own, and its
/// dictionary from the keys of that table and of the one of references. A document without IDs has
/// those that validation found, under their values: libxml2 enters them as they would be written.
/// For a value that has surrogates libxml2 also names an encoding; a document without one keeps none.
class KeptParts {
public:
    explicit KeptParts(xmlDoc* doc)
        : doc_(doc),
          ids_(doc->ids),
          dict_(doc->dict),
          had_encoding_(doc->encoding) {
        doc->ids = nullptr;
        doc->dict = nullptr;
    }
    ~KeptParts() {
        if (!had_encoding_ && doc_->encoding) {
            xmlFree(const_cast<xmlChar*>(doc_->encoding));
            doc_->encoding = nullptr;
        }
        const bool found = doc_->ids != nullptr;
        if (found) xmlFreeIDTable(static_cast<xmlIDTable*>(doc_->ids));
        // References name attributes without owning them; validation is all that reads them.
        if (doc_->refs) xmlFreeRefTable(static_cast<xmlRefTable*>(doc_->refs));
        doc_->refs = nullptr;
        doc_->ids = ids_;
        doc_->dict = dict_;
        if (xmlHashSize(static_cast<xmlHashTable*>(ids_)) > 0)
            restore_marks(doc_);
        else if (found)
            enter_marked(doc_);
    }
    KeptParts(const KeptParts&) = delete;
    KeptParts& operator=(const KeptParts&) = delete;

private:
    xmlDoc* doc_;
    void* ids_;
    xmlDict* dict_;
    bool had_encoding_;
};

xmlValidityErrorFunc print_report() {
    // fprintf itself: libxml2 compares the pointer, and tells a stream the file, line and element of
    // each message.
    auto* const print = reinterpret_cast<void (*)()>(std::fprintf);
    return reinterpret_cast<xmlValidityErrorFunc>(print);
}

bool is_valid(xmlDoc* doc, xmlValidCtxt* context) {
    const KeptParts kept(doc);
    if (!doc->intSubset || !doc->intSubset->SystemID) return xmlValidateDocument(context, doc) == 1;
    const XmlString path(_x_pathFromDocDtdPaths(doc->URL, doc->intSubset->SystemID));
    const Owned<xmlDtd> dtd(parse_dtd(nullptr, path.get()));
    return xmlValidateDtd(context, doc, dtd.get()) == 1;
}

/// Validates a document against its DTD: gives libxml2's report, empty for a valid document. No value
/// for a node that is no document, and for a tree of more than 10000 levels. Status 1 without memory.
Result validate(Call& call, xmlNode* node) {
    if (!is_document(node) || is_deeper_than(node, max_levels)) return no_value;
    const Report report;
    const Owned<xmlValidCtxt> context(xmlNewValidCtxt());
    if (!report.file() || !context) return failure(VT_OUT_OF_MEMORY);
    context->userData = report.file();
    context->error = context->warning = print_report();

    if (is_valid(reinterpret_cast<xmlDoc*>(node), context.get()))
        return report_value(call, nullptr);
    return report_value(call, reinterpret_cast<const xmlChar*>(report.text()));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocValidateDTD, valtrosse::validate)
