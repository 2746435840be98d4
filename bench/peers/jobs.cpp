// The jobs in C against libxml2 and nothing else, the floor of the table:
// libxml2-jobs JOB FOLDER RUNS OUTPUT (see run).
#include <libxml/parser.h>
#include <libxml/valid.h>
#include <libxml/xmlsave.h>
#include <libxml/xpath.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const char* const mime_file = "/usr/share/mime/packages/freedesktop.org.xml";
std::string folder;
std::string output;

xmlDoc* load(const std::string& path, int options = XML_PARSE_HUGE) {
    xmlDoc* doc = xmlReadFile(path.c_str(), nullptr, options);
    if (doc == nullptr) throw std::runtime_error("cannot load " + path);
    return doc;
}

xmlDoc* load_input(const char* name) { return load(folder + "/" + name); }

const xmlChar* text(const char* ascii) { return reinterpret_cast<const xmlChar*>(ascii); }
std::size_t length(const xmlChar* string) {
    return std::strlen(reinterpret_cast<const char*>(string));
}
std::string both(std::size_t first, std::size_t second) {
    return std::to_string(first) + " " + std::to_string(second);
}

std::vector<xmlNode*> select(xmlDoc* doc, const char* path) {
    xmlXPathContext* context = xmlXPathNewContext(doc);
    xmlXPathObject* result = xmlXPathEvalExpression(text(path), context);
    const xmlNodeSet* set = result->nodesetval;
    std::vector<xmlNode*> nodes(set->nodeTab, set->nodeTab + set->nodeNr);
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
    return nodes;
}

std::size_t children(xmlDoc* doc) { return xmlChildElementCount(xmlDocGetRootElement(doc)); }

std::string parse(const std::string& path) {
    xmlDoc* doc = load(path);
    const std::string name = reinterpret_cast<const char*>(xmlDocGetRootElement(doc)->name);
    xmlFreeDoc(doc);
    return name;
}

std::string walk(xmlDoc* doc) {
    std::size_t names = 0;
    std::size_t values = 0;
    xmlNode* const root = xmlDocGetRootElement(doc);
    for (const xmlNode* node = root;;) {
        if (node->type == XML_ELEMENT_NODE) {
            names += length(node->name);
        } else {
            values += length(node->content);
        }
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            node = node->children;
            continue;
        }
        while (node != root && node->next == nullptr) node = node->parent;
        if (node == root) return both(names, values);
        node = node->next;
    }
}

std::string read_kinds(xmlDoc* doc) {
    std::size_t found = 0;
    const auto items = select(doc, "//item");
    for (xmlNode* item : items) {
        xmlChar* kind = xmlGetNoNsProp(item, text("kind"));
        if (xmlStrEqual(kind, text("k3")) != 0) ++found;
        xmlFree(kind);
    }
    return both(items.size(), found);
}

xmlDoc* build() {
    xmlDoc* doc = xmlNewDoc(text("1.0"));
    xmlNode* root = xmlNewDocNode(doc, nullptr, text("list"), nullptr);
    xmlDocSetRootElement(doc, root);
    for (int i = 0; i < 100000; ++i) {
        const std::string number = std::to_string(i);
        const std::string content = "text of item " + number;
        xmlNode* item = xmlNewTextChild(root, nullptr, text("item"), text(content.c_str()));
        xmlNewProp(item, text("n"), text(number.c_str()));
    }
    return doc;
}

using Docs = std::vector<xmlDoc*>;

void move(const Docs& docs) {
    xmlNode* to = xmlDocGetRootElement(docs[1]);
    for (xmlNode *node = xmlDocGetRootElement(docs[0])->children, *next; node != nullptr;
         node = next) {
        next = node->next;
        xmlDOMWrapAdoptNode(nullptr, docs[0], node, docs[1], to, 0);
        xmlAddChild(to, node);
    }
}

std::string validate(xmlDoc* doc) {
    xmlValidCtxt* context = xmlNewValidCtxt();
    const bool valid = xmlValidateDocument(context, doc) == 1;
    xmlFreeValidCtxt(context);
    return valid ? "valid" : "not valid";
}

std::string transform() {
    xsltStylesheet* style = xsltParseStylesheetFile(text((folder + "/docbook.xsl").c_str()));
    xmlDoc* source = load(folder + "/book.xml", XSLT_PARSE_OPTIONS);
    xmlDoc* result = xsltApplyStylesheet(style, source, nullptr);
    const int bytes = xsltSaveResultToFilename(output.c_str(), result, style, 0);
    xmlFreeDoc(result);
    xmlFreeDoc(source);
    xsltFreeStylesheet(style);
    return bytes > 0 ? "transformed" : "not transformed";
}

std::string read_texts(const std::vector<xmlNode*>& texts) {
    std::size_t found = 0;
    for (xmlNode* node : texts) {
        xmlChar* content = xmlNodeGetContent(node);
        if (content[length(content) - 1] == '.') ++found;
        xmlFree(content);
    }
    return both(texts.size(), found);
}

std::string replace(const std::string& content) {
    const std::string from = "lorem";
    const std::string to = "ipsum dolor";
    std::string result;
    std::size_t done = 0;
    for (std::size_t at; (at = content.find(from, done)) != content.npos; done = at + from.size()) {
        result.append(content, done, at - done).append(to);
    }
    return std::to_string(result.append(content, done).size());
}

using Clock = std::chrono::steady_clock;
std::vector<double> times;

/// Runs the work, which alone is timed.
template <typename Work>
auto timed(Work work) {
    const auto start = Clock::now();
    auto result = work();
    times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    return result;
}

template <typename Work>
std::string with_doc(xmlDoc* doc, Work work) {
    std::string answer = timed([&] { return work(doc); });
    xmlFreeDoc(doc);
    return answer;
}

std::string build_job() {
    xmlDoc* doc = timed(build);
    xmlSaveFile(output.c_str(), doc);
    const std::string answer = std::to_string(children(doc));
    xmlFreeDoc(doc);
    return answer;
}

std::string clone_job() {
    xmlDoc* doc = load_input("catalog.xml");
    xmlDoc* copy = timed([&] { return xmlCopyDoc(doc, 1); });
    const std::string answer = std::to_string(children(copy));
    xmlFreeDoc(copy);
    xmlFreeDoc(doc);
    return answer;
}

std::string move_job() {
    const Docs docs = {load_input("prefixed.xml"), load_input("target.xml")};
    timed([&] {
        move(docs);
        return 0;
    });
    const std::string answer = both(children(docs[0]), children(docs[1]));
    xmlFreeDoc(docs[1]);
    xmlFreeDoc(docs[0]);
    return answer;
}

std::string text_job() {
    xmlDoc* doc = load_input("texts.xml");
    const auto texts = select(doc, "//t/text()");
    std::string answer = timed([&] { return read_texts(texts); });
    xmlFreeDoc(doc);
    return answer;
}

std::string replace_job() {
    std::ifstream file(folder + "/text.txt");
    const std::string content(std::istreambuf_iterator<char>(file), {});
    return timed([&] { return replace(content); });
}

std::string save(xmlDoc* doc) {
    return xmlSaveFile(output.c_str(), doc) > 0 ? "saved" : "not saved";
}

const std::map<std::string, std::function<std::string()>> jobs = {
    {"parse", [] { return timed([] { return parse(folder + "/catalog.xml"); }); }},
    {"mime", [] { return timed([] { return parse(mime_file); }); }},
    {"walk", [] { return with_doc(load_input("catalog.xml"), walk); }},
    {"select", [] { return with_doc(load_input("catalog.xml"), read_kinds); }},
    {"build", build_job},
    {"save", [] { return with_doc(load_input("catalog.xml"), save); }},
    {"clone", clone_job},
    {"move", move_job},
    {"validate", [] { return with_doc(load(mime_file), validate); }},
    {"xslt", [] { return timed(transform); }},
    {"text", text_job},
    {"replace", replace_job},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    if (!jobs.contains(argv[1])) return 3;
    folder = argv[2];
    output = argv[4];
    std::string answer;
    for (int run = 0; run < std::atoi(argv[3]); ++run) answer = jobs.at(argv[1])();
    std::printf("%s\n", answer.c_str());
    for (const double time : times) std::printf("%.6f ", time);
    std::printf("\n");
}
