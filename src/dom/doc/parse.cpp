#include "dom/doc/parse.hpp"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/globals.h>
#include <libxml/hash.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>

#include <climits>
#include <cstring>
#include <utility>

#include "dom/doc/memory_watch.hpp"
#include "dom/node/markup.hpp"

namespace valtrosse {
namespace {

constexpr const char* no_memory = "out of memory: the document was not read to its end\n";
constexpr const char* not_readable = "the document could not be read to its end\n";
constexpr const char* wrong_bytes =
    "bytes that are none of the document's encoding: it was not read to its end\n";
constexpr const char* zero_inside = "a zero character: the document was not read to its end\n";
constexpr const char* long_text = "a text of more than 10000000 bytes\n";
constexpr const char* too_deep = "elements are nested deeper than 10000 levels\n";

/// libxml2 looks through all open elements for each end tag of HTML that fits none: without a limit, a
/// page of a megabyte takes it minutes.
constexpr int max_html_levels = 10000;

// ---- What the parser does not notice ---------------------------------------------------------------

template <auto>
struct Event {};

/// Whether a call of the handler left in the tree or the DTD what it should have: for those where a
/// message that follows may hide that memory ran out.
template <auto event, typename... T>
bool took_effect(Event<event>, const xmlParserCtxt*, T...) {
    return true;
}

const xmlDtd* present_subset(const xmlParserCtxt* context) {
    if (!context->myDoc) return nullptr;
    return context->inSubset == 1   ? context->myDoc->intSubset
           : context->inSubset == 2 ? context->myDoc->extSubset
                                    : nullptr;
}

bool has_entity(const xmlDtd* dtd, const xmlChar* name, bool is_parameter_entity) {
    // What these may not be redeclared as is left out.
    if (!dtd || xmlGetPredefinedEntity(name)) return true;
    void* const table = is_parameter_entity ? dtd->pentities : dtd->entities;
    return xmlHashLookup(static_cast<xmlHashTable*>(table), name) != nullptr;
}

bool took_effect(Event<&xmlSAXHandler::entityDecl>, const xmlParserCtxt* context,
                 const xmlChar* name, int type, const xmlChar*, const xmlChar*, xmlChar*) {
    return has_entity(
        present_subset(context), name,
        type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY);
}

bool took_effect(Event<&xmlSAXHandler::unparsedEntityDecl>, const xmlParserCtxt* context,
                 const xmlChar* name, const xmlChar*, const xmlChar*, const xmlChar*) {
    return has_entity(present_subset(context), name, false);
}

bool took_effect(Event<&xmlSAXHandler::notationDecl>, const xmlParserCtxt* context,
                 const xmlChar* name, const xmlChar*, const xmlChar*) {
    const xmlDtd* const dtd = present_subset(context);
    return !dtd || xmlHashLookup(static_cast<xmlHashTable*>(dtd->notations), name);
}

bool took_effect(Event<&xmlSAXHandler::elementDecl>, const xmlParserCtxt* context,
                 const xmlChar* name, int, xmlElementContent*) {
    const xmlDtd* const dtd = present_subset(context);
    if (!dtd) return true;
    const xmlElement* const found = xmlGetDtdElementDesc(const_cast<xmlDtd*>(dtd), name);
    return found && found->etype != XML_ELEMENT_TYPE_UNDEFINED;
}

bool took_effect(Event<&xmlSAXHandler::attributeDecl>, const xmlParserCtxt* context,
                 const xmlChar* element, const xmlChar* name, int, int, const xmlChar*,
                 xmlEnumeration*) {
    const auto declares = [&](xmlDtd* dtd) {
        return dtd && xmlGetDtdAttrDesc(dtd, element, name) != nullptr;
    };
    // One in the internal subset comes before one in the external one.
    const xmlDoc* const doc = context->myDoc;
    return !doc || declares(doc->intSubset) || declares(doc->extSubset);
}

bool took_effect(Event<&xmlSAXHandler::startElementNs>, const xmlParserCtxt* context,
                 const xmlChar*, const xmlChar*, const xmlChar*, int count,
                 const xmlChar** namespaces, int, int, const xmlChar**) {
    if (!context->node) return true;
    const xmlNs* made = context->node->nsDef;
    for (; count > 0; --count, namespaces += 2) {
        const bool declares = namespaces[1] && (!namespaces[0] || *namespaces[1]);
        if (!declares) continue;
        if (!made || !made->href) return false;
        made = made->next;
    }
    return true;
}

template <auto event, typename... T>
void note_uris(Event<event>, T...) {}

void note_uris(Event<&xmlSAXHandler::startElementNs>, const xmlChar*, const xmlChar*,
               const xmlChar*, int count, const xmlChar** namespaces, int, int, const xmlChar**) {
    for (; count > 0; --count, namespaces += 2) note_namespace_uri(namespaces[1]);
}

/// Watches one parse in this thread. The parser itself notices most failed allocations and stops, but
/// not those below the calls by which it builds the tree and the DTD, and what is told of them may be
/// gone with the next message: so each call is looked after.
class ParseWatch {
public:
    ParseWatch() : earlier_(std::exchange(current_, this)) {}
    ~ParseWatch() { current_ = earlier_; }
    ParseWatch(const ParseWatch&) = delete;
    ParseWatch& operator=(const ParseWatch&) = delete;

    /// Puts itself before the calls of this handler, which the parse uses.
    void watch(xmlSAXHandler& sax) {
        handler_ = sax;
        // Not characters and ignorableWhitespace: the parser compares them, and they check themselves.
        put<&xmlSAXHandler::internalSubset>(sax);
        put<&xmlSAXHandler::externalSubset>(sax);
        put<&xmlSAXHandler::entityDecl>(sax);
        put<&xmlSAXHandler::unparsedEntityDecl>(sax);
        put<&xmlSAXHandler::notationDecl>(sax);
        put<&xmlSAXHandler::attributeDecl>(sax);
        put<&xmlSAXHandler::elementDecl>(sax);
        put<&xmlSAXHandler::startElement>(sax);
        put<&xmlSAXHandler::startElementNs>(sax);
        put<&xmlSAXHandler::reference>(sax);
        put<&xmlSAXHandler::processingInstruction>(sax);
        put<&xmlSAXHandler::comment>(sax);
        put<&xmlSAXHandler::cdataBlock>(sax);
    }
    void limit_levels(int levels) { max_levels_ = levels; }

    bool memory_ran_out() { return memory_ran_out_ |= memory_.ran_out(); }
    bool is_too_deep() const { return is_too_deep_; }

private:
    template <auto event>
    struct Watched;
    template <typename... T, void (*xmlSAXHandler::*event)(void*, T...)>
    struct Watched<event> {
        static void run(void* data, T... args) {
            auto* const context = static_cast<xmlParserCtxt*>(data);
            (current_->handler_.*event)(context, args...);
            note_uris(Event<event>(), args...);
            current_->look(context, !took_effect(Event<event>(), context, args...));
        }
    };
    template <auto event>
    static void put(xmlSAXHandler& sax) {
        if (sax.*event) sax.*event = Watched<event>::run;
    }

    void look(xmlParserCtxt* context, bool lost_something) {
        memory_ran_out_ |= lost_something && !context->disableSAX;
        is_too_deep_ |= context->nodeNr > max_levels_;
        if (!memory_ran_out() && !is_too_deep_) return;
        // As the parser itself stops without memory.
        context->instate = XML_PARSER_EOF;
        context->disableSAX = 1;
    }

    static inline thread_local ParseWatch* current_ __attribute__((tls_model("initial-exec"))) =
        nullptr;

    ParseWatch* earlier_;
    MemoryWatch memory_;
    xmlSAXHandler handler_{};
    int max_levels_ = INT_MAX;
    bool memory_ran_out_ = false;
    bool is_too_deep_ = false;
};

/// Reads from where an input read before, and notes a failure: the parser takes it for the end.
class InputWatch {
public:
    InputWatch() = default;
    InputWatch(const InputWatch&) = delete;
    InputWatch& operator=(const InputWatch&) = delete;

    /// Only what comes from a file or URL is watched.
    void watch(xmlParserInput* input) {
        xmlParserInputBuffer* const buffer = input && input->filename ? input->buf : nullptr;
        if (!buffer || !buffer->readcallback) return;
        // What libxml2 learns of a compressed file it learns while it reads the first time.
        constexpr int first_read = 250;
        failed_ = xmlParserInputGrow(input, first_read) < 0;
        context_ = std::exchange(buffer->context, this);
        read_ = std::exchange(buffer->readcallback, read);
        close_ = std::exchange(buffer->closecallback, close);
    }

    bool failed() const { return failed_; }

private:
    static int read(void* context, char* buffer, int size) {
        auto* const watch = static_cast<InputWatch*>(context);
        const int count = watch->read_(watch->context_, buffer, size);
        watch->failed_ |= count < 0;
        return count;
    }
    static int close(void* context) {
        auto* const watch = static_cast<InputWatch*>(context);
        const int result = watch->close_ ? watch->close_(watch->context_) : 0;
        watch->failed_ |= result < 0;
        return result;
    }

    void* context_ = nullptr;
    xmlInputReadCallback read_ = nullptr;
    xmlInputCloseCallback close_ = nullptr;
    bool failed_ = false;
};

/// Why a document that the parser made is not a whole one; null for a whole one.
const char* what_is_lost(ParseWatch& watch, const xmlParserCtxt* context) {
    if (watch.is_too_deep()) return too_deep;
    // libxml2 has the same code for this.
    const char* const message = context->lastError.message;
    if (message && std::strstr(message, "huge text node")) return long_text;
    if (watch.memory_ran_out() || context->errNo == XML_ERR_NO_MEMORY) return no_memory;
    const xmlParserInput* const input = context->input;
    const xmlParserInputBuffer* const buffer = input ? input->buf : nullptr;
    const int error = buffer ? buffer->error : 0;
    if (error == XML_ERR_NO_MEMORY) return no_memory;
    if (error == XML_IO_ENCODER || (buffer && buffer->raw && xmlBufUse(buffer->raw) > 0))
        return wrong_bytes;
    if (error != 0 || context->disableSAX) return not_readable;
    return input && input->cur < input->end ? zero_inside : nullptr;
}

/// Runs parse(context), ends the context and gives its document when that is a whole one.
template <typename Parse>
Parsed whole(xmlParserCtxt* context, ParseWatch& watch, Parse parse) {
    if (!context) return {nullptr, watch.memory_ran_out() ? no_memory : nullptr};
    InputWatch input;
    input.watch(context->input);
    watch.watch(*context->sax);
    parse(context);
    Parsed parsed;
    xmlDoc* doc = std::exchange(context->myDoc, nullptr);
    // HTML never is; and where XML is not, the messages say why.
    const bool is_refused = !context->html && !context->wellFormed;
    parsed.reason = what_is_lost(watch, context);
    if (is_refused && parsed.reason != no_memory) parsed.reason = nullptr;
    // So that a file that came compressed is saved so.
    const xmlParserInput* const file = context->input;
    if (doc && !context->html && file && file->filename && file->buf)
        doc->compression = file->buf->compressed > 0 ? 9 : file->buf->compressed;
    xmlFreeParserCtxt(context);
    if (!parsed.reason && input.failed() && !is_refused) parsed.reason = not_readable;
    if (is_refused || parsed.reason) {
        xmlFreeDoc(doc);
        doc = nullptr;
    }
    parsed.doc = doc;
    return parsed;
}

/// Begins a document as libxml2 does, but with tables of its own for IDs and references: made by
/// libxml2, they have their keys in the document's dictionary, where a million are slow to find and
/// what scripts enter stays until the document ends.
void start_document(void* context) {
    constexpr int few = 32;
    xmlSAX2StartDocument(context);
    xmlDoc* const doc = static_cast<xmlParserCtxt*>(context)->myDoc;
    if (!doc) return;
    doc->ids = xmlHashCreate(few);
    doc->refs = xmlHashCreate(few);
}

void drop_if_empty(void*& table) {
    auto* const made = static_cast<xmlHashTable*>(table);
    if (xmlHashSize(made) != 0) return;
    xmlHashFree(made, nullptr);
    table = nullptr;
}

/// Parses what the context stands for, as xmlParseFile and xmlParseDoc do, but with the names in a
/// dictionary of the document's and short texts inside of their nodes: fewer and nearer blocks.
Parsed parse_xml(xmlParserCtxt* context, ParseWatch& watch) {
    const Parsed parsed = whole(context, watch, [](xmlParserCtxt* made) {
        made->dictNames = 1;
        made->options |= XML_PARSE_COMPACT;
        made->sax->startDocument = start_document;
        xmlParseDocument(made);
    });
    if (parsed.doc) {
        drop_if_empty(parsed.doc->ids);
        drop_if_empty(parsed.doc->refs);
    }
    return parsed;
}

/// Parses as htmlParseFile and htmlParseDoc do, without libxml2's limit of 256 levels, at which it cuts.
Parsed parse_html(xmlParserCtxt* context, ParseWatch& watch) {
    watch.limit_levels(max_html_levels);
    note_foreign_document();
    return whole(context, watch, [](xmlParserCtxt* made) {
        made->options |= XML_PARSE_HUGE;
        if (made->dict) xmlDictSetLimit(made->dict, 0);
        htmlParseDocument(made);
    });
}

/// Opens the external subset that these identifiers name, as libxml2's own loader of DTDs does; false
/// when there is none.
bool open_external_subset(xmlParserCtxt* context, InputWatch& watch, const xmlChar* external_id,
                          const xmlChar* system_id) {
    XmlString path(xmlCanonicPath(system_id));
    if (system_id && !path) return false;
    xmlParserInput* const input = context->sax->resolveEntity(context, external_id, path.get());
    if (!input) return false;
    watch.watch(input);
    if (xmlPushInput(context, input) < 0) return false;
    constexpr int bytes_that_tell = 4;
    if (input->end - input->cur >= bytes_that_tell)
        xmlSwitchEncoding(context, xmlDetectCharEncoding(input->cur, bytes_that_tell));
    if (!input->filename) input->filename = reinterpret_cast<char*>(path.release());
    return true;
}

/// xmlParseDTD under watch; it cannot be given a handler, which xmlSAXParseDTD frees without memory.
xmlDtd* read_dtd(ParseWatch& watch, const xmlChar* external_id, const xmlChar* system_id) {
    if (!external_id && !system_id) return nullptr;
    xmlParserCtxt* const context = xmlNewParserCtxt();
    if (!context) return nullptr;
    context->options |= XML_PARSE_DTDLOAD;
    watch.watch(*context->sax);
    InputWatch input;
    xmlDtd* dtd = nullptr;
    xmlDoc* const doc = open_external_subset(context, input, external_id, system_id)
                            ? xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0"))
                            : nullptr;
    if (doc) {
        context->inSubset = 2;
        context->myDoc = doc;
        doc->properties = XML_DOC_INTERNAL;
        doc->extSubset =
            xmlNewDtd(doc, reinterpret_cast<const xmlChar*>("none"), external_id, system_id);
        xmlParseExternalSubset(context, external_id, system_id);
        if (context->wellFormed) dtd = std::exchange(doc->extSubset, nullptr);
        for (xmlNode* part = dtd ? dtd->children : nullptr; part; part = part->next)
            part->doc = nullptr;
        if (dtd) dtd->doc = nullptr;
        xmlFreeDoc(std::exchange(context->myDoc, nullptr));
    }
    xmlFreeParserCtxt(context);
    if (!input.failed()) return dtd;
    xmlFreeDtd(dtd);
    return nullptr;
}

/// Of a text with a zero inside, the parser would see the part before it.
bool is_terminated_at(const xmlChar* text, std::size_t length) {
    return std::strlen(reinterpret_cast<const char*>(text)) == length;
}

}  // namespace

Parsed parse_file(const char* path) {
    ParseWatch watch;
    return parse_xml(xmlCreateFileParserCtxt(path), watch);
}

Parsed parse_text(const xmlChar* text, std::size_t length) {
    if (!is_terminated_at(text, length)) return {nullptr, zero_inside};
    ParseWatch watch;
    return parse_xml(xmlCreateDocParserCtxt(text), watch);
}

Parsed parse_html_file(const char* path) {
    ParseWatch watch;
    return parse_html(htmlCreateFileParserCtxt(path, nullptr), watch);
}

Parsed parse_html_text(const xmlChar* text, std::size_t length) {
    if (!is_terminated_at(text, length)) return {nullptr, zero_inside};
    ParseWatch watch;
    const auto* const bytes = reinterpret_cast<const char*>(text);
    return parse_html(htmlCreateMemoryParserCtxt(bytes, static_cast<int>(length)), watch);
}

xmlDtd* parse_external_subset(const xmlChar* external_id, const xmlChar* system_id) {
    ParseWatch watch;
    xmlDtd* const dtd = read_dtd(watch, external_id, system_id);
    if (!watch.memory_ran_out()) return dtd;
    xmlFreeDtd(dtd);
    return nullptr;
}

}  // namespace valtrosse
