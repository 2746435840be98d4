#include "dom/attr/reserved.hpp"

#include <libxml/tree.h>

namespace {

const auto* const xmlns_name = reinterpret_cast<const xmlChar*>("http://www.w3.org/2000/xmlns/");

bool is(const xmlChar* text, const char* word) {
    return xmlStrEqual(text, reinterpret_cast<const xmlChar*>(word));
}

}  // namespace

int _x_isValidURIPrefix(const xmlChar* uri, const xmlChar* prefix) {
    if (!uri || !prefix) return 0;
    if (is(prefix, "xml")) return xmlStrEqual(uri, XML_XML_NAMESPACE);
    if (is(prefix, "xmlns")) return xmlStrEqual(uri, xmlns_name);
    return 1;
}

int _x_isNsURIPrefix(const xmlChar* uri, const xmlChar* prefix) {
    return uri && prefix && is(prefix, "xmlns") && xmlStrEqual(uri, xmlns_name);
}
