// Saving XML documents.
#include "dom/doc/save.hpp"

#include <libxml/xmlsave.h>

#include <array>
#include <bit>
#include <cstring>

#include "dom/doc/messages.hpp"

namespace valtrosse {

Result not_written(Call& call, const xmlDoc* doc, const WholeFiles& files) {
    _x_addMsgCopy(reinterpret_cast<const xmlNode*>(doc), call.context(), files.message().get());
    return no_value;
}

namespace {

/// The bytes that stand for themselves in text of ASCII.
constexpr auto plain = [] {
    std::array<bool, 256> bytes{};
    for (int byte = 0x20; byte < 0x80; ++byte) bytes[static_cast<std::size_t>(byte)] = true;
    bytes['<'] = bytes['>'] = bytes['&'] = false;
    bytes['\n'] = bytes['\t'] = true;
    return bytes;
}();

/// A character as a reference. At most 10 bytes.
unsigned char* put_reference(unsigned char* out, std::uint32_t character) {
    constexpr char digits[] = "0123456789ABCDEF";
    *out++ = '&';
    *out++ = '#';
    *out++ = 'x';
    for (int place = (static_cast<int>(std::bit_width(character)) + 3) / 4; place-- > 0;)
        *out++ = static_cast<unsigned char>(digits[character >> (4 * place) & 0xF]);
    *out++ = ';';
    return out;
}

template <std::size_t size>
unsigned char* put(unsigned char* out, const char (&text)[size]) {
    std::memcpy(out, text, size - 1);
    return out + size - 1;
}

/// What libxml2 does to text of a file without an encoding: ASCII with references. Its own way drops the
/// rest of a text from the first control character on, and tells nobody. An xmlCharEncodingOutputFunc.
int escape(unsigned char* out, int* out_length, const unsigned char* in, int* in_length) {
    constexpr int longest = 10;
    unsigned char* const out_start = out;
    const unsigned char* const out_end = out + *out_length;
    const unsigned char* const in_start = in;
    const unsigned char* const in_end = in + *in_length;
    bool can_be_written = true;
    while (can_be_written) {
        while (in != in_end && out != out_end && plain[*in]) *out++ = *in++;
        if (in == in_end || out_end - out < longest) break;
        switch (*in) {
            case '<': out = put(out, "&lt;"), ++in; break;
            case '>': out = put(out, "&gt;"), ++in; break;
            case '&': out = put(out, "&amp;"), ++in; break;
            default: {
                const unsigned char* next = in;
                std::uint32_t character = 0;
                can_be_written = read_character(next, character) && is_character(character);
                if (!can_be_written) break;
                out = put_reference(out, character);
                in = next;
            }
        }
    }
    *out_length = static_cast<int>(out - out_start);
    *in_length = static_cast<int>(in - in_start);
    if (!can_be_written) WholeFiles::note_unwritable();
    return can_be_written ? 0 : -1;
}

int pass_on(void* target, const char* bytes, int count) {
    auto* const buffer = static_cast<xmlOutputBuffer*>(target);
    return buffer->writecallback(buffer->context, bytes, count);
}

/// xmlSaveFormatFileEnc for a document without an encoding.
bool write_with_references(const char* path, xmlDoc* doc, bool format) {
    if (doc->compression < 0) doc->compression = xmlGetCompressMode();
    xmlOutputBuffer* const target = xmlOutputBufferCreateFilename(path, nullptr, doc->compression);
    if (!target) return false;
    const int options = XML_SAVE_AS_XML | (format ? XML_SAVE_FORMAT : 0);
    if (xmlSaveCtxt* const writer = xmlSaveToIO(pass_on, nullptr, target, nullptr, options)) {
        xmlSaveSetEscape(writer, escape);
        xmlSaveDoc(writer, doc);
        xmlSaveClose(writer);
    }
    // Without memory for the writer this fails as well.
    return xmlOutputBufferClose(target) != -1;
}

bool write(const char* path, xmlDoc* doc, const char* encoding, bool format) {
    if (!encoding && !doc->encoding) return write_with_references(path, doc, format);
    return xmlSaveFormatFileEnc(path, doc, encoding, format) != -1;
}

/// Writes the document as it is, in the encoding that it names itself. Gives the document's handle;
/// no value when the file cannot be written or `doc` is no XML document.
Result save(Call& call, xmlDoc* doc, HostText filepath) {
    if (filepath.absent() || doc->type != XML_DOCUMENT_NODE) return no_value;
    const Utf8 path(call, filepath);
    if (path.failed()) return path.failure();
    WholeFiles files;
    files.will_write(doc, Syntax::xml);
    return write(path.c_str(), doc, nullptr, false) ? call.handle(doc)
                                                    : not_written(call, doc, files);
}

/// Writes the document, indented when `format` is set, in one of the accepted encodings; with another
/// name without an encoding declaration, as UTF-8 whose characters above U+007F are all written as
/// references. Gives 0.
Result save_format(Call& call, xmlDoc* doc, HostText filepath, HostText encoding, Flag format) {
    if (filepath.absent() || encoding.absent() || doc->type != XML_DOCUMENT_NODE) return no_value;
    return save_formatted(
        call, doc, filepath, encoding, Syntax::xml,
        [&](const char* path, const char* name) { return write(path, doc, name, format.set); });
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSaveXMLFile, valtrosse::save)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSaveXMLFormatFile, valtrosse::save_format)
