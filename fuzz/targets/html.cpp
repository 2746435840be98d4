// HTML, as text and as a file: loaded, read, cloned, saved in every encoding and loaded again.
#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

constexpr const char* encodings[] = {"UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1",
                                     "ASCII", "HTML",     "none"};

Handle loaded(Bytes html, unsigned form, unsigned keep_blanks) {
    if (form == 0) return get("xmlHTMLDocLoadFile", MemoryFile(html).path(), keep_blanks);
    const std::u16string text = form == 1 ? host::to_units(chars(html)) : wide(html);
    return get("xmlHTMLDocLoadString", text, keep_blanks);
}

void saves(Handle doc, const char* encoding, unsigned format, int rounds) {
    const MemoryFile file;
    call("xmlHTMLDocSaveFormatFile", doc, file.path(), encoding, format);
    check_links(node_of(doc));
    const Handle again = get("xmlHTMLDocLoadFile", file.path(), 1);
    if (again == 0) return;
    check_links(node_of(again));
    if (rounds > 1) saves(again, encoding, format, rounds - 1);
    get("xmlDOMDocFreeDoc", again);
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    Input input(data, size);
    const unsigned form = input.choice(3);
    const unsigned keep_blanks = input.choice(2);
    const unsigned format = input.choice(2);
    const char* const encoding = encodings[input.choice(std::size(encodings))];
    const Handle doc = loaded(input.rest(), form, keep_blanks);
    if (doc != 0) {
        check_links(node_of(doc));
        read_everything(doc);
        const MemoryFile xml;
        check(call("xmlDOMDocSaveXMLFile", doc, xml.path()).no_value(), "HTML was saved as XML");
        const vt_status dumped = call("xmlDOMNodeDumpNode", doc, 1).status();
        check(dumped == VT_OK || dumped == VT_TOO_LARGE || dumped == VT_MALFORMED,
              "xmlDOMNodeDumpNode");
        const Handle clone = clone_of(doc);
        saves(clone, encoding, format, 1);
        get("xmlDOMDocFreeDoc", clone);
        saves(doc, encoding, format, 2);
        get("xmlDOMDocFreeDoc", doc);
    }
    end_of_input();
    return 0;
}
