#include "dom/doc/parse_dtd.hpp"

#include <libxml/uri.h>

#include <cstring>

#include "dom/doc/parse.hpp"
#include "dom/owned.hpp"

namespace valtrosse {
namespace {

bool is_uri(const xmlChar* text) {
    xmlURI* const uri = xmlParseURI(reinterpret_cast<const char*>(text));
    xmlFreeURI(uri);
    return uri != nullptr;
}

bool is_hexadecimal(xmlChar c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool is_uri_character(const xmlChar* at) {
    const xmlChar c = *at;
    if (c == '%') return is_hexadecimal(at[1]) && is_hexadecimal(at[2]);
    return c > ' ' && c < 0x7F && !std::strchr("\"<>\\^`{|}", c);
}

/// The path with a percent sign and two digits for each byte that a URI has not. Null without memory.
XmlString escaped(const xmlChar* path) {
    XmlString out(
        static_cast<xmlChar*>(xmlMalloc(3 * std::strlen(reinterpret_cast<const char*>(path)) + 1)));
    if (!out) return out;
    xmlChar* to = out.get();
    for (; *path; ++path) {
        if (is_uri_character(path)) {
            *to++ = *path;
            continue;
        }
        constexpr const char* digits = "0123456789ABCDEF";
        *to++ = '%';
        *to++ = static_cast<xmlChar>(digits[*path >> 4]);
        *to++ = static_cast<xmlChar>(digits[*path & 0xF]);
    }
    *to = 0;
    return out;
}

}  // namespace

xmlDtd* parse_dtd(const xmlChar* public_id, const xmlChar* system_id) {
    if (!system_id || is_uri(system_id)) return parse_external_subset(public_id, system_id);
    const XmlString uri = escaped(system_id);
    return uri ? parse_external_subset(public_id, uri.get()) : nullptr;
}

}  // namespace valtrosse
