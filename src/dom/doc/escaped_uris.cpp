#include "dom/doc/escaped_uris.hpp"

#include <libxml/entities.h>

#include <cstring>

#include "dom/node/markup.hpp"
#include "dom/node/tree.hpp"
#include "dom/owned.hpp"

namespace valtrosse {
namespace {

/// Whether "&" begins what the parser itself put there: it keeps references in the URI of a namespace, also
/// one for "&".
bool is_reference(const xmlDoc* doc, const xmlChar* text) {
    const xmlChar* const name = text + 1;
    const xmlChar* const end = xmlStrchr(name, ';');
    if (!end) return false;
    if (xmlStrncmp(name, reinterpret_cast<const xmlChar*>("#38;"), 4) == 0) return true;
    const XmlString copy(xmlStrndup(name, static_cast<int>(end - name)));
    return copy && !xmlGetPredefinedEntity(copy.get()) && xmlGetDocEntity(doc, copy.get());
}

const char* reference_for(const xmlDoc* doc, const xmlChar* text) {
    switch (*text) {
        case '&': return is_reference(doc, text) ? nullptr : "&amp;";
        case '<': return "&lt;";
        case '\t': return "&#9;";
        case '\n': return "&#10;";
        case '\r': return "&#13;";
        default: return nullptr;
    }
}

/// Null without memory.
XmlString escaped(const xmlDoc* doc, const xmlChar* uri) {
    constexpr std::size_t longest = 5;
    const std::size_t length = std::strlen(reinterpret_cast<const char*>(uri));
    XmlString text(static_cast<xmlChar*>(xmlMalloc(longest * length + 1)));
    if (!text) return text;
    xmlChar* to = text.get();
    for (; *uri; ++uri) {
        const char* const reference = reference_for(doc, uri);
        if (!reference) {
            *to++ = *uri;
            continue;
        }
        const std::size_t size = std::strlen(reference);
        std::memcpy(to, reference, size);
        to += size;
    }
    *to = 0;
    return text;
}

}  // namespace

EscapedUris::~EscapedUris() {
    while (Replaced* const last = replaced_) {
        replaced_ = last->next;
        xmlFree(const_cast<xmlChar*>(last->declaration->href));
        last->declaration->href = last->uri;
        xmlFree(last);
    }
}

bool EscapedUris::escape(const xmlDoc* doc, xmlNode* top) {
    if (top->type == XML_NAMESPACE_DECL) {
        auto* const ns = reinterpret_cast<xmlNs*>(top);
        return !needs_escape(ns->href) || replace(doc, ns);
    }
    for (const xmlNode* node = top; node; node = next_in_subtree(node, top))
        for (xmlNs* ns = is_element(node) ? node->nsDef : nullptr; ns; ns = ns->next)
            if (needs_escape(ns->href) && !replace(doc, ns)) return false;
    return true;
}

bool EscapedUris::replace(const xmlDoc* doc, xmlNs* declaration) {
    XmlString text = escaped(doc, declaration->href);
    auto* const replaced = static_cast<Replaced*>(xmlMalloc(sizeof(Replaced)));
    if (!text || !replaced) {
        xmlFree(replaced);
        return false;
    }
    *replaced = {declaration, declaration->href, replaced_};
    replaced_ = replaced;
    declaration->href = text.release();
    return true;
}

}  // namespace valtrosse
