#include "dom/doc/unwritable.hpp"

#include <libxml/hash.h>
#include <libxml/valid.h>

#include <emmintrin.h>

#include <bit>
#include <cstdio>
#include <cstring>

#include "dom/node/markup.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

/// Steps over blanks, line ends and what else is ASCII and no control character. Reads whole lanes, which
/// begin where no page does.
__attribute__((no_sanitize("address"))) const xmlChar* skip_plain(const xmlChar* text) {
    constexpr std::uintptr_t lane = sizeof(__m128i);
    const auto equal = [](__m128i bytes, char value) {
        return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(value));
    };
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(text) % lane;
    unsigned mask = ~0U << offset;
    for (text -= offset;; text += lane, mask = ~0U) {
        const __m128i bytes = _mm_load_si128(reinterpret_cast<const __m128i*>(text));
        const __m128i spaces =
            _mm_or_si128(_mm_or_si128(equal(bytes, '\n'), equal(bytes, '\t')), equal(bytes, '\r'));
        // What is not ASCII is negative.
        const __m128i others = _mm_andnot_si128(spaces, _mm_cmplt_epi8(bytes, _mm_set1_epi8(' ')));
        if (const unsigned found = static_cast<unsigned>(_mm_movemask_epi8(others)) & mask)
            return text + std::countr_zero(found);
    }
}

constexpr std::uint32_t largest_character = 0x10FFFF;

/// What an encoding has, without references.
class Repertoire {
public:
    explicit Repertoire(xmlCharEncodingHandler* encoder) : encoder_(encoder) {
        const char* const name = encoder ? encoder->name : "UTF-8";
        const auto is = [name](const char* other) { return std::strcmp(name, other) == 0; };
        has_pairs_ = std::strncmp(name, "UTF-16", 6) == 0;
        if (has_pairs_ || is("UTF-8"))
            largest_ = largest_character;
        else if (is("ISO-8859-1"))
            largest_ = 0xFF;
        else if (is("ASCII") || is("US-ASCII") || is("HTML"))
            largest_ = 0x7F;
        else
            is_known_ = false;
    }

    /// Whether two surrogates make a character there.
    bool has_pairs() const { return has_pairs_; }

    bool has(std::uint32_t character, const xmlChar* bytes, const xmlChar* end) const {
        if (is_known_) return character <= largest_;
        return character < 0x80 || comes_back(bytes, static_cast<int>(end - bytes));
    }

private:
    /// Asks libxml2's converters: what they cannot convert becomes a reference.
    bool comes_back(const xmlChar* bytes, int length) const {
        const XmlOwned<xmlBuffer> in(xmlBufferCreate()), there(xmlBufferCreate()),
            back(xmlBufferCreate());
        if (!in || !there || !back) return false;
        xmlBufferAdd(in.get(), bytes, length);
        return xmlCharEncOutFunc(encoder_, there.get(), in.get()) >= 0 &&
               xmlCharEncInFunc(encoder_, back.get(), there.get()) >= 0 &&
               xmlBufferLength(back.get()) == length &&
               std::memcmp(xmlBufferContent(back.get()), bytes, static_cast<std::size_t>(length)) ==
                   0;
    }

    xmlCharEncodingHandler* encoder_;
    std::uint32_t largest_ = 0;
    bool is_known_ = true;
    bool has_pairs_ = false;
};

class Search {
public:
    Search(Syntax syntax, xmlCharEncodingHandler* encoder, bool looks_at_markup)
        : syntax_(syntax),
          repertoire_(encoder),
          has_pairs_(syntax == Syntax::xml && repertoire_.has_pairs()),
          looks_at_markup_(looks_at_markup && syntax == Syntax::xml) {}

    Unwritable run(const xmlDoc* doc) {
        const auto* const top = reinterpret_cast<const xmlNode*>(doc);
        if (syntax_ == Syntax::xml) raw(top, doc->version);
        markup(top);
        for (const xmlNode* node = top->children; node && !found_; node = node->next) below(node);
        return found_;
    }

private:
    void below(const xmlNode* top) {
        const auto next = [top](const xmlNode* node) {
            const bool is_reference = node->type == XML_ENTITY_REF_NODE;  // it has no end tag
            return is_reference ? next_after_subtree(node, top) : next_in_subtree(node, top);
        };
        for (const xmlNode* node = top; node && !found_; node = next(node)) {
            if (node->type == XML_DTD_NODE) return dtd(reinterpret_cast<const xmlDtd*>(node));
            look_at(node);
            markup(node);
            for (const xmlAttr* attr = first_attribute(node); attr && !found_; attr = attr->next)
                attribute(attr);
        }
    }

    void look_at(const xmlNode* node) {
        if (syntax_ == Syntax::text) {
            if (node->type == XML_TEXT_NODE) raw(node, node->content);
            return;
        }
        switch (node->type) {
            case XML_ELEMENT_NODE:
                name(node);
                for (const xmlNs* ns = node->nsDef; ns; ns = ns->next) {
                    raw(node, ns->prefix);
                    text(node, ns->href);
                }
                break;
            case XML_TEXT_NODE:
            case XML_CDATA_SECTION_NODE:
                if (takes_references(node))
                    text(node, node->content);
                else
                    raw(node, node->content);
                break;
            case XML_COMMENT_NODE: raw(node, node->content); break;
            case XML_PI_NODE: raw(node, node->content); [[fallthrough]];
            case XML_ENTITY_REF_NODE: raw(node, node->name); break;
            default: break;
        }
    }

    bool takes_references(const xmlNode* node) const {
        if (syntax_ == Syntax::xml) return node->type == XML_TEXT_NODE;
        const auto is = [node](const char* element) {
            return xmlStrcasecmp(node->parent->name, reinterpret_cast<const xmlChar*>(element)) ==
                   0;
        };
        return !(node->parent && is_element(node->parent) && (is("script") || is("style")));
    }

    void name(const xmlNode* node) {
        raw(node, node->name);
        if (node->ns) raw(node, node->ns->prefix);
    }

    void attribute(const xmlAttr* attr) {
        const auto* const node = reinterpret_cast<const xmlNode*>(attr);
        name(node);
        markup(node);
        for (const xmlNode* part = attr->children; part && !found_; part = part->next) {
            if (part->type == XML_TEXT_NODE) text(node, part->content);
            if (part->type == XML_ENTITY_REF_NODE) look_at(part), markup(part);
        }
    }

    // ---- The internal subset

    void dtd(const xmlDtd* dtd) {
        const auto* const top = reinterpret_cast<const xmlNode*>(dtd);
        raw(top, dtd->name);
        raw(top, dtd->ExternalID);
        raw(top, dtd->SystemID);
        markup(top);
        if (syntax_ != Syntax::xml) return;
        for (const xmlNode* node = dtd->children; node && !found_; node = node->next)
            declaration(node);
        const auto visit = [](void* notation, void* search, const xmlChar*) {
            static_cast<Search*>(search)->notation(static_cast<const xmlNotation*>(notation));
        };
        place_of_notations_ = top;
        xmlHashScan(static_cast<xmlHashTable*>(dtd->notations), visit, this);
    }

    void notation(const xmlNotation* notation) {
        raw(place_of_notations_, notation->name);
        raw(place_of_notations_, notation->PublicID);
        raw(place_of_notations_, notation->SystemID);
    }

    void declaration(const xmlNode* node) {
        switch (node->type) {
            case XML_ELEMENT_DECL: {
                const auto* const element = reinterpret_cast<const xmlElement*>(node);
                raw(node, element->name);
                raw(node, element->prefix);
                content(node, element->content);
                break;
            }
            case XML_ATTRIBUTE_DECL: {
                const auto* const attribute = reinterpret_cast<const xmlAttribute*>(node);
                raw(node, attribute->elem);
                raw(node, attribute->name);
                raw(node, attribute->prefix);
                text(node, attribute->defaultValue);
                for (const xmlEnumeration* value = attribute->tree; value; value = value->next)
                    raw(node, value->name);
                break;
            }
            case XML_ENTITY_DECL: {
                const auto* const entity = reinterpret_cast<const xmlEntity*>(node);
                raw(node, entity->name);
                raw(node, entity->ExternalID);
                raw(node, entity->SystemID);
                text(node, entity->orig ? entity->orig : entity->content);
                break;
            }
            default: look_at(node), markup(node);
        }
    }

    /// The parser takes content models of at most 128 levels; one long sequence is a chain.
    void content(const xmlNode* node, const xmlElementContent* part) {
        for (; part && !found_; part = part->c2) {
            raw(node, part->name);
            raw(node, part->prefix);
            content(node, part->c1);
        }
    }

    void markup(const xmlNode* node) {
        if (!looks_at_markup_ || found_) return;
        if ((found_.fault = markup_fault(node))) found(node, 0, Unwritable::Why::no_markup);
    }

    // ---- Strings

    /// One in which references stand for what the encoding lacks.
    void text(const xmlNode* node, const xmlChar* string) { look_at(node, string, true); }
    /// One in which they are none.
    void raw(const xmlNode* node, const xmlChar* string) { look_at(node, string, false); }

    void look_at(const xmlNode* node, const xmlChar* string, bool has_references) {
        using Why = Unwritable::Why;
        if (!string || found_) return;
        while (true) {
            string = skip_plain(string);
            if (*string == 0) return;
            const xmlChar* const start = string;
            std::uint32_t character = 0;
            if (!read_character(string, character)) return found(node, character, Why::no_utf8);
            if (has_pairs_ && is_high_surrogate(character)) {
                std::uint32_t second = 0;
                const xmlChar* next = string;
                if (*next && read_character(next, second) && is_low_surrogate(second)) {
                    string = next;
                    continue;
                }
            }
            if (!is_character(character)) return found(node, character, Why::no_character);
            if (!has_references && !repertoire_.has(character, start, string))
                return found(node, character, Why::lacking);
        }
    }

    void found(const xmlNode* node, std::uint32_t character, Unwritable::Why why) {
        found_.node = node;
        found_.character = character;
        found_.why = why;
    }

    Syntax syntax_;
    Repertoire repertoire_;
    bool has_pairs_;
    bool looks_at_markup_;
    const xmlNode* place_of_notations_ = nullptr;
    Unwritable found_;
};

const char* kind_of(const xmlNode* node) {
    // Whatever is found has a node.
    switch (node->type) {  // NOLINT(clang-analyzer-core.NullDereference)
        case XML_ATTRIBUTE_NODE: return "an attribute";
        case XML_TEXT_NODE: return "a text";
        case XML_CDATA_SECTION_NODE: return "a CDATA section";
        case XML_COMMENT_NODE: return "a comment";
        case XML_PI_NODE: return "a processing instruction";
        case XML_ELEMENT_NODE: return "the name or a namespace of an element";
        case XML_ENTITY_REF_NODE: return "an entity reference";
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE: return "the XML declaration";
        default: return "the document type";
    }
}

}  // namespace

Unwritable find_unwritable(const xmlDoc* doc, Syntax syntax, xmlCharEncodingHandler* encoder,
                           bool looks_at_markup) {
    return Search(syntax, encoder, looks_at_markup).run(doc);
}

XmlString message_of(const Unwritable& found, const char* encoding) {
    const xmlNode* const node = found.node;
    const xmlNode* element = node;
    while (element && !is_element(element)) element = element->parent;
    char place[120] = "";
    if (element && node != element)
        std::snprintf(place, sizeof place, " of element %.60s",
                      reinterpret_cast<const char*>(element->name));
    else if (element)
        std::snprintf(place, sizeof place, " %.60s", reinterpret_cast<const char*>(element->name));
    char line[40] = "";
    if (const long number = element ? xmlGetLineNo(element) : -1; number > 0)
        std::snprintf(line, sizeof line, " in line %ld", number);

    char what[120];
    const auto character = static_cast<unsigned>(found.character);
    switch (found.why) {
        case Unwritable::Why::no_utf8:
            std::snprintf(what, sizeof what, "the byte %02X, which is no UTF-8", character);
            break;
        case Unwritable::Why::lacking:
            std::snprintf(what, sizeof what,
                          "U+%04X, which %s lacks, and no reference is possible there", character,
                          encoding);
            break;
        case Unwritable::Why::no_character:
            std::snprintf(what, sizeof what, "U+%04X, which no file can hold", character);
            break;
        case Unwritable::Why::no_markup: std::snprintf(what, sizeof what, "%s", found.fault); break;
    }
    char message[400];
    std::snprintf(message, sizeof message, "not written: %s%s%s has %s\n", kind_of(node), place,
                  line, what);
    return XmlString(xmlCharStrdup(message));
}

}  // namespace valtrosse
