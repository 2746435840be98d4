// Loading against libxml2 alone, and what is linear in a document: selection, IDs, replacement.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <cstring>
#include <fstream>

#include "bench/shared_host.hpp"

namespace {

using namespace valtrosse;

const char* const mime_file = "/usr/share/mime/packages/freedesktop.org.xml";

/// About 20 MB of elements with an attribute and text each.
const std::string& large_file() {
    static const std::string path = [] {
        std::string name = "/tmp/valtrosse-bench-large.xml";
        std::ofstream out(name);
        out << "<list>\n";
        for (int i = 0; i < 330000; ++i)
            out << "  <item number=\"" << i << "\">the text of item " << i << "</item>\n";
        out << "</list>\n";
        return name;
    }();
    return path;
}

void load(benchmark::State& state, const std::string& path) {
    for (auto _ : state)
        shared_host().call("xmlDOMDocFreeDoc",
                           {shared_host().call("xmlDOMDocLoadXMLFile", {path, 1})});
}
void load_libxml2(benchmark::State& state, const std::string& path) {
    for (auto _ : state) xmlFreeDoc(xmlParseFile(path.c_str()));
}

void load_large(benchmark::State& state) { load(state, large_file()); }
void load_large_libxml2(benchmark::State& state) { load_libxml2(state, large_file()); }
void load_mime(benchmark::State& state) { load(state, mime_file); }
void load_mime_libxml2(benchmark::State& state) { load_libxml2(state, mime_file); }

std::string small_text() {
    std::string text = "<list>";
    while (text.size() < 480) text += "<item n='1'>text</item>";
    return text + "</list>";
}
void load_string(benchmark::State& state) {
    const std::u16string text = host::to_units(small_text());
    for (auto _ : state)
        shared_host().call("xmlDOMDocFreeDoc",
                           {shared_host().call("xmlDOMDocLoadXMLString", {text, 1})});
}
void load_string_libxml2(benchmark::State& state) {
    const std::string text = small_text();
    for (auto _ : state) xmlFreeDoc(xmlParseDoc(reinterpret_cast<const xmlChar*>(text.c_str())));
}

std::uint32_t million_elements() {
    static const std::uint32_t doc = [] {
        std::string text = "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]><r>";
        for (int i = 0; i < 1000000; ++i)
            text += i % 5000 == 4999 ? "<e id='k" + std::to_string(i) + "'/>" : "<e n='1'/>";
        return shared_host()
            .call("xmlDOMDocLoadXMLString", {host::to_units(text + "</r>"), 1})
            .handle();
    }();
    return doc;
}

void select_all(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            shared_host().call("xmlDOMNodeSelectNodes", {million_elements(), u"//e"}));
}
void select_all_libxml2(benchmark::State& state) {
    auto* doc = reinterpret_cast<xmlDoc*>(million_elements());
    for (auto _ : state) {
        xmlXPathContext* context = xmlXPathNewContext(doc);
        xmlXPathFreeObject(xmlXPathEval(reinterpret_cast<const xmlChar*>("//e"), context));
        xmlXPathFreeContext(context);
    }
}
void select_first(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            shared_host().call("xmlDOMNodeSelectNodes", {million_elements(), u"r/e[3]"}));
}

/// 200 IDs spread over the document, as one step.
void ids_200(benchmark::State& state) {
    for (auto _ : state)
        for (int i = 4999; i < 1000000; i += 5000)
            shared_host().call("xmlDOMDocGetElementById",
                               {million_elements(), std::string("k") + std::to_string(i)});
}

/// 10 MB of host text with 1,000,000 matches.
void replace(benchmark::State& state) {
    std::u16string text;
    for (int i = 0; i < 1000000; ++i) text += u"abcde";
    for (auto _ : state)
        benchmark::DoNotOptimize(shared_host().call("xmlDOMUtilStrReplace", {text, u"cd", u"xy"}));
}
void replace_two_copies(benchmark::State& state) {
    const std::string from(10000000, 'x');
    std::string to(10000000, 'y');
    for (auto _ : state)
        for (int i = 0; i < 2; ++i) {
            std::memcpy(to.data(), from.data(), from.size());
            benchmark::ClobberMemory();
        }
}

BENCHMARK(load_large)->Unit(benchmark::kMillisecond);
BENCHMARK(load_large_libxml2)->Unit(benchmark::kMillisecond);
BENCHMARK(load_mime)->Unit(benchmark::kMillisecond);
BENCHMARK(load_mime_libxml2)->Unit(benchmark::kMillisecond);
BENCHMARK(load_string);
BENCHMARK(load_string_libxml2);
BENCHMARK(select_all)->Unit(benchmark::kMillisecond);
BENCHMARK(select_all_libxml2)->Unit(benchmark::kMillisecond);
BENCHMARK(select_first);
BENCHMARK(ids_200)->Unit(benchmark::kMillisecond);
BENCHMARK(replace)->Unit(benchmark::kMillisecond);
BENCHMARK(replace_two_copies)->Unit(benchmark::kMillisecond);

}  // namespace
