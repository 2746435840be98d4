#include "dom/node/markup.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

#include "dom/doc/unwritable.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

std::atomic<bool> has_faults = false;
std::atomic<bool> has_uris_to_escape = false;

struct Range {
    std::uint32_t first, last;
};

template <std::size_t size>
bool is_in(const Range (&ranges)[size], std::uint32_t character) {
    return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

/// The productions NameStartChar and NameChar of XML 1.0, fifth edition, which libxml2 parses by.
bool starts_name(std::uint32_t character) {
    constexpr Range ranges[] = {
        {'a', 'z'},       {'A', 'Z'},       {'_', '_'},       {':', ':'},
        {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
        {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
        {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
    };
    return is_in(ranges, character);
}
bool continues_name(std::uint32_t character) {
    constexpr Range ranges[] = {
        {'0', '9'}, {'-', '.'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};
    return starts_name(character) || is_in(ranges, character);
}

/// The next character of a text; two surrogates are one.
std::uint32_t next_character(const xmlChar*& text) {
    std::uint32_t first = 0, second = 0;
    read_character(text, first);
    const xmlChar* after = text;
    if (!is_high_surrogate(first) || !*after) return first;
    if (!read_character(after, second) || !is_low_surrogate(second)) return first;
    text = after;
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

bool is_name(const xmlChar* text) {
    if (!text || !*text || !starts_name(next_character(text))) return false;
    while (*text)
        if (!continues_name(next_character(text))) return false;
    return true;
}

bool is_name_or_null(const xmlChar* text) { return !text || is_name(text); }

bool contains(const xmlChar* text, const char* part) {
    return text && std::strstr(reinterpret_cast<const char*>(text), part);
}

/// Between one kind of quotes or the other.
bool can_be_quoted(const xmlChar* text) { return !contains(text, "\"") || !contains(text, "'"); }

bool is_public_identifier(const xmlChar* text) {
    const char* const others = " \r\n-'()+,./:=?;!*#@$_%";
    return std::all_of(text, text + xmlStrlen(text), [others](xmlChar c) {
        return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') ||
               std::strchr(others, c);
    });
}

constexpr const char* no_name = "what no name may have";

/// What libxml2's parser takes for a version: a digit, a full stop, digits.
const char* fault_of_version(const xmlChar* version) {
    const auto is_digit = [](xmlChar c) { return c >= '0' && c <= '9'; };
    if (!version) return nullptr;  // written as 1.0
    const bool is_version = is_digit(version[0]) && version[1] == '.' &&
                            std::all_of(version + 2, version + xmlStrlen(version), is_digit);
    return is_version ? nullptr : "a version that is none";
}

const char* fault_of_element(const xmlNode* element) {
    if (!is_name(element->name)) return no_name;
    if (element->ns && !is_name_or_null(element->ns->prefix)) return no_name;
    for (const xmlNs* ns = element->nsDef; ns; ns = ns->next)
        if (!is_name_or_null(ns->prefix)) return no_name;
    return nullptr;
}

/// A name as it is written; HTML's names may have the colon themselves.
struct WrittenName {
    const xmlChar* prefix;
    const xmlChar* name;

    bool operator==(const WrittenName& other) const {
        if (!prefix == !other.prefix)
            return xmlStrEqual(name, other.name) && xmlStrEqual(prefix, other.prefix);
        const WrittenName& two = prefix ? *this : other;
        return xmlStrQEqual(two.prefix, two.name, prefix ? other.name : name);
    }
};

WrittenName written_name(const xmlAttr* attr) {
    return {attr->ns ? attr->ns->prefix : nullptr, attr->name};
}
const auto* const xmlns = reinterpret_cast<const xmlChar*>("xmlns");

WrittenName written_name(const xmlNs* declaration) {
    if (!declaration->prefix) return {nullptr, xmlns};
    return {xmlns, declaration->prefix};
}

/// Whether a declaration may be written with the name of the attribute.
bool is_written_as_declaration(const xmlAttr* attr) {
    const WrittenName written = written_name(attr);
    if (written.prefix) return xmlStrEqual(written.prefix, xmlns);
    const int length = xmlStrlen(xmlns);
    const bool begins = xmlStrncmp(written.name, xmlns, length) == 0;
    return begins && (!written.name[length] || written.name[length] == ':');
}

/// Whether another attribute or a declaration of the element is written with the same name.
bool is_written_twice(const xmlAttr* attr) {
    if (!attr->parent || !is_element(attr->parent)) return false;
    const WrittenName name = written_name(attr);
    for (const xmlAttr* other = attr->parent->properties; other; other = other->next)
        if (other != attr && written_name(other) == name) return true;
    for (const xmlNs* ns = attr->parent->nsDef; ns; ns = ns->next)
        if (written_name(ns) == name) return true;
    return false;
}

const char* fault_of_attribute(const xmlAttr* attr) {
    if (!is_name(attr->name) || (attr->ns && !is_name_or_null(attr->ns->prefix))) return no_name;
    return is_written_twice(attr) ? "the name of another" : nullptr;
}

const char* fault_of_comment(const xmlChar* text) {
    const int length = xmlStrlen(text);
    const bool ends = length > 0 && text[length - 1] == '-';
    return ends || contains(text, "--") ? "\"--\", or \"-\" at its end" : nullptr;
}

const char* fault_of_instruction(const xmlNode* node) {
    const bool is_xml = xmlStrcasecmp(node->name, reinterpret_cast<const xmlChar*>("xml")) == 0;
    if (is_xml || !is_name(node->name)) return no_name;
    return contains(node->content, "?>") ? "\"?>\"" : nullptr;
}

const char* fault_of_dtd(const xmlDtd* dtd) {
    if (!is_name(dtd->name)) return no_name;
    const bool is_well =
        can_be_quoted(dtd->SystemID) && (!dtd->ExternalID || is_public_identifier(dtd->ExternalID));
    return is_well ? nullptr : "what no identifier may have";
}

}  // namespace

const char* markup_fault(const xmlNode* node) {
    switch (node->type) {
        case XML_DOCUMENT_NODE:
            return fault_of_version(reinterpret_cast<const xmlDoc*>(node)->version);
        case XML_ELEMENT_NODE: return fault_of_element(node);
        case XML_ATTRIBUTE_NODE: return fault_of_attribute(reinterpret_cast<const xmlAttr*>(node));
        case XML_ENTITY_REF_NODE: return is_name(node->name) ? nullptr : no_name;
        case XML_COMMENT_NODE: return fault_of_comment(node->content);
        case XML_PI_NODE: return fault_of_instruction(node);
        case XML_DTD_NODE: return fault_of_dtd(reinterpret_cast<const xmlDtd*>(node));
        default: return nullptr;
    }
}

bool needs_escape(const xmlChar* uri) {
    return uri && std::strpbrk(reinterpret_cast<const char*>(uri), "&<\t\n\r");
}

void note_markup(const xmlNode* node) {
    // The element of such an attribute may be given a declaration later.
    const bool declares =
        is_attribute(node) && is_written_as_declaration(reinterpret_cast<const xmlAttr*>(node));
    if (declares || markup_fault(node)) has_faults = true;
}

void note_namespace_uri(const xmlChar* uri) {
    if (needs_escape(uri)) has_uris_to_escape = true;
}

void note_foreign_document() { has_faults = true; }

bool may_have_markup_faults() { return has_faults; }
bool may_have_uris_to_escape() { return has_uris_to_escape; }

}  // namespace valtrosse
