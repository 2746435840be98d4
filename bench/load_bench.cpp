// Loading, freeing and saving whole documents.
#include <libxml/parser.h>

#include <filesystem>
#include <fstream>

#include "bench/functions.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

/// About 20 MB of elements with an attribute and text each.
std::string large_file() {
    std::string name = std::filesystem::temp_directory_path() / "valtrosse-bench-large.xml";
    std::ofstream out(name);
    out << "<list>\n";
    for (int i = 0; i < 330000; ++i)
        out << "  <item number=\"" << i << "\">the text of item " << i << "</item>\n";
    out << "</list>\n";
    return name;
}

std::string small_text() {
    std::string text = "<list>";
    while (text.size() < 480) text += "<item n='1'>text</item>";
    return text + "</list>";
}

void compare_file(const std::string& name, double target, const std::string& path) {
    compare(
        "Load and free", name, target,
        [path](benchmark::State& state) {
            for (auto _ : state)
                call(library().free_doc, {shared_host().call("xmlDOMDocLoadXMLFile", {path, 1})});
        },
        [path](benchmark::State& state) {
            for (auto _ : state) xmlFreeDoc(xmlParseFile(path.c_str()));
        },
        "xmlParseFile, xmlFreeDoc");
}

/// 100,000 elements, every second one with a prefix.
std::uint32_t document_to_save() {
    static const std::uint32_t doc = [] {
        std::u16string text = u"<r xmlns:p='urn:p'>";
        for (int i = 0; i < 50000; ++i) text += u"<p:e n='1'>text</p:e><e><f/></e>";
        return shared_host().call("xmlDOMDocLoadXMLString", {text + u"</r>", 1}).handle();
    }();
    return doc;
}

void save(benchmark::State& state) {
    const std::uint32_t doc = document_to_save();
    for (auto _ : state)
        shared_host().call("xmlDOMDocSaveXMLFormatFile", {doc, u"/dev/null", u"UTF-8", 1});
}
void save_libxml2(benchmark::State& state) {
    auto* const doc = static_cast<xmlDoc*>(shared_host().object_of(document_to_save()));
    for (auto _ : state) xmlSaveFormatFileEnc("/dev/null", doc, "UTF-8", 1);
}

const Registration load([] {
    compare_file("20 MB file", 1.01, large_file());
    compare_file("freedesktop.org.xml", 1.01, "/usr/share/mime/packages/freedesktop.org.xml");
    compare(
        "Load and free", "text of 500 bytes", 1.15,
        [](benchmark::State& state) {
            const std::u16string text = host::to_units(small_text());
            const host::Function& load_string = *shared_host().find("xmlDOMDocLoadXMLString");
            for (auto _ : state) call(library().free_doc, {call(load_string, {text, 1})});
        },
        [](benchmark::State& state) {
            const std::string text = small_text();
            for (auto _ : state)
                xmlFreeDoc(xmlParseDoc(reinterpret_cast<const xmlChar*>(text.c_str())));
        },
        "xmlParseDoc, xmlFreeDoc");
    compare("Save", "formatted, 200,000 nodes, with normalisation", 1.05, save, save_libxml2,
            "xmlSaveFormatFileEnc");
});

}  // namespace
}  // namespace valtrosse::bench
