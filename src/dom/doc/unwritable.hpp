// Characters that a file cannot hold.
//
// No file of XML has control characters (tab and line ends excepted), U+FFFE, U+FFFF or surrogates, of
// which a host's text may have any. And an encoding may lack a character: in text and attribute values a
// reference stands for it, but in names, comments, processing instructions and CDATA sections a reference
// is none when the file is read again.
#pragma once

#include <libxml/encoding.h>
#include <libxml/tree.h>

#include <cstdint>

#include "dom/owned.hpp"

namespace valtrosse {

/// Reads one code point of UTF-8, a surrogate too, and steps over it. False, one byte further and with that
/// byte, for what is no UTF-8.
inline bool read_character(const xmlChar*& text, std::uint32_t& character) {
    const xmlChar lead = *text++;
    character = lead;
    if (lead < 0x80) return true;
    if (lead < 0xC0 || lead >= 0xF8) return false;
    const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    std::uint32_t sum = lead & (0x3FU >> more);
    for (int i = 0; i < more; ++i) {
        if ((text[i] & 0xC0) != 0x80) return false;
        sum = sum << 6 | (text[i] & 0x3FU);
    }
    text += more;
    character = sum;
    return true;
}

inline bool is_high_surrogate(std::uint32_t character) { return character >> 10 == 0xD800 >> 10; }
inline bool is_low_surrogate(std::uint32_t character) { return character >> 10 == 0xDC00 >> 10; }

/// The production Char of XML 1.0.
inline bool is_character(std::uint32_t value) {
    if (value < 0x20) return value == '\t' || value == '\n' || value == '\r';
    return value < 0xD800 || (value > 0xDFFF && value < 0xFFFE) ||
           (value > 0xFFFF && value <= 0x10FFFF);
}

enum class Syntax { xml, html, text };

/// A character that cannot be written, or a node for which there is no markup, and where it is.
struct Unwritable {
    const xmlNode* node = nullptr;  // null: all can be written
    std::uint32_t character = 0;    // its code point, or a byte that is no UTF-8
    enum class Why { no_character, no_utf8, lacking, no_markup } why = Why::no_character;
    const char* fault = nullptr;  // in words, of a node for which there is no markup

    explicit operator bool() const { return node != nullptr; }
};

/// The first thing in the document, in document order, that cannot be written. encoder: null for UTF-8.
/// looks_at_markup: whether nodes of XML are looked at, too, beside characters.
Unwritable find_unwritable(const xmlDoc* doc, Syntax syntax, xmlCharEncodingHandler* encoder,
                           bool looks_at_markup);

/// A line for people that says what was found; null without memory. encoding: the name of the file's.
XmlString message_of(const Unwritable& found, const char* encoding);

}  // namespace valtrosse
