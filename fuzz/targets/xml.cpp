// XML, as text and as a file: loaded, read, cloned, saved in every encoding and loaded again.
#include <algorithm>
#include <set>

#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

constexpr const char* encodings[] = {"UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1",
                                     "ASCII", "HTML",     "none"};

Handle loaded(Bytes xml, unsigned form, unsigned keep_blanks) {
    if (form == 3) return get("xmlDOMDocLoadXMLFile", MemoryFile(xml).path(), keep_blanks);
    const std::u16string text = form == 0   ? host::to_units(chars(xml))
                                : form == 1 ? wide(xml)
                                            : units(xml);
    return get("xmlDOMDocLoadXMLString", text, keep_blanks);
}

void names(Bytes text) {
    for (const char* function :
         {"xmlDOMUtilIsLevel1Name", "xmlDOMUtilIsLevel2Name", "xmlDOMUtilIsValidXMLName"}) {
        const std::u16string name = host::to_units(chars(text));
        check(call(function, name).status() == VT_OK, function);
    }
}

void dumps(Handle node) {
    for (std::uint32_t format : {0U, 1U}) {
        const vt_status status = call("xmlDOMNodeDumpNode", node, format).status();
        check(status == VT_OK || status == VT_TOO_LARGE, "xmlDOMNodeDumpNode");
    }
}

bool is_ascii(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

/// Whether no prefix of a tree is declared twice: a formatted save drops the second.
bool declares_once(const xmlNode* doc) {
    bool once = true;
    std::set<std::string> prefixes;
    for (const xmlNode* node = doc; node;) {
        for (const xmlNs* ns = node->type == XML_ELEMENT_NODE ? node->nsDef : nullptr; ns;
             ns = ns->next) {
            const auto* const prefix = reinterpret_cast<const char*>(ns->prefix);
            once &= prefixes.insert(prefix ? prefix : "").second;
        }
        if (node->children && (node->type == XML_ELEMENT_NODE || node == doc)) {
            node = node->children;
            continue;
        }
        while (node && !node->next) node = node->parent;
        if (node) node = node->next;
    }
    return once;
}

/// Whether every encoding of the list can write this tree so that it reads back the same: names,
/// comments and instructions of ASCII, and no DTD, whose entities libxml2 writes as it likes.
bool reads_back(Handle doc, std::string_view described) {
    return !node_of(doc)->doc->intSubset && is_ascii(described);
}

void saves(Handle doc, const char* encoding, unsigned format) {
    const MemoryFile plain, formatted;
    call("xmlDOMDocSaveXMLFile", doc, plain.path());
    const std::string before = description(node_of(doc));
    const bool once = declares_once(node_of(doc));
    const Handle written =
        reads_back(doc, before) ? get("xmlDOMDocLoadXMLFile", plain.path(), 1) : 0;
    if (written != 0) {
        check(description(node_of(written)) == before, "what was saved", before);
        get("xmlDOMDocFreeDoc", written);
    }
    // This save may change namespaces in the tree itself.
    const Outcome saved =
        call("xmlDOMDocSaveXMLFormatFile", doc, formatted.path(), encoding, format);
    check_links(node_of(doc));
    if (saved.no_value()) {
        const std::u16string reason = call("xmlDOMDocGetLastMsg", doc).text();
        check(reason.starts_with(u"not written: "), "a document was not saved");
        return;
    }
    const Handle again = get("xmlDOMDocLoadXMLFile", formatted.path(), 1);
    const std::string after = description(node_of(doc));
    // The encoding HTML is there for writing only.
    if (std::string_view(encoding) != "HTML" && reads_back(doc, after)) {
        check(again != 0, "what was saved does not load", after);
        if (format == 0 && once)
            check(description(node_of(again)) == after, "what was saved formatted", after);
    }
    if (again != 0) get("xmlDOMDocFreeDoc", again);
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    Input input(data, size);
    const unsigned form = input.choice(4);
    const unsigned keep_blanks = input.choice(2);
    const unsigned format = input.choice(2);
    const char* const encoding = encodings[input.choice(std::size(encodings))];
    const Bytes xml = input.rest();
    names(xml);
    if (!is_harmless(xml)) return 0;
    const Handle doc = loaded(xml, form, keep_blanks);
    if (doc != 0) {
        check_links(node_of(doc));
        read_everything(doc);
        call("xmlDOMDocValidateDTD", doc);
        check_links(node_of(doc));
        dumps(doc);
        const Handle clone = clone_of(doc);
        dumps(clone);
        read_everything(clone);
        get("xmlDOMDocFreeDoc", clone);
        saves(doc, encoding, format);
        read_everything(doc);
        get("xmlDOMDocFreeDoc", doc);
    } else {
        check(call("xmlDOMDocGetLastMsg", 0).status() == VT_OK, "the message of a failure");
    }
    end_of_input();
    return 0;
}
