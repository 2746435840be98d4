// What the tests of the library share: a host for each test, documents from text, files that go away.
#pragma once

#include <gtest/gtest.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxslt/xsltutils.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.hpp"
#include "valtrosse/handles.h"

namespace valtrosse::host {

using Handle = std::uint32_t;

inline bool under_valgrind() { return std::getenv("VALTROSSE_UNDER_VALGRIND") != nullptr; }

/// The library that the tests load: VALTROSSE_PLUGIN names another one than the build's plain one.
std::string plugin_path();
/// The build's library that checks handles; empty when the build makes none.
std::string checked_plugin_path();
/// A file of the source tree.
std::string source_path(const std::string& file);

inline const char* chars(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

/// The text that a function of libxml2's kind gives, which is freed; "null" for none.
inline std::string taken(xmlChar* given) {
    std::string copy(given ? chars(given) : "null");
    xmlFree(given);
    return copy;
}

/// Drops what libxml2 reports in this thread, until the library parses something: many tests provoke
/// failures.
inline void silence_libxml2() {
    struct Nobody {
        static void hears(void*, const char*, ...) {}
    };
    xmlSetGenericErrorFunc(nullptr, Nobody::hears);
}

/// A stylesheet with this content.
inline std::string stylesheet(const std::string& content) {
    return "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>" +
           content + "</xsl:stylesheet>";
}

/// A copy in a block of exactly its size, so that valgrind sees a step beyond; it starts `shift`
/// elements off the alignment.
template <typename T>
struct Exact {
    template <typename Content>
    explicit Exact(const Content& content, std::size_t shift = 0)
        : block(std::make_unique<T[]>(shift + content.size())),
          data(block.get() + shift) {
        std::copy(content.begin(), content.end(), data);
    }
    const std::unique_ptr<T[]> block;
    T* const data;
};

/// A path in the tests' own folder; what is there goes with the object.
class TempFile {
public:
    enum class In { folder, memory };

    /// In memory, where the system has that, for tests that write thousands of files.
    explicit TempFile(const std::string& name = "file.xml", In in = In::folder)
        : path_((in == In::memory && access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                                   : testing::TempDir()) +
                "/" + std::to_string(getpid()) + "-" + name) {}
    TempFile(const std::string& name, std::string_view content) : TempFile(name) {
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~TempFile() { std::filesystem::remove_all(path_); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& path() const { return path_; }
    bool exists() const { return std::filesystem::exists(path_); }
    std::string content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string path_;
};

/// Puts back what a transformation sets for all later parses of the process, and drops what libxslt
/// reports.
struct ParserDefaults {
    ParserDefaults() {
        struct Nobody {
            static void hears(void*, const char*, ...) {}
        };
        xsltSetGenericErrorFunc(nullptr, Nobody::hears);
    }
    ~ParserDefaults() {
        xsltSetGenericErrorFunc(nullptr, nullptr);
        xmlSubstituteEntitiesDefault(substitute);
        xmlLoadExtDtdDefaultValue = load;
    }
    int substitute = xmlSubstituteEntitiesDefaultValue;
    int load = xmlLoadExtDtdDefaultValue;
};

/// A host for each test. Documents that load() made and free() did not free go at its end; then no
/// block and no value of the host may be left, and no host function of no use may have been called.
class LibraryTest : public testing::Test {
protected:
    explicit LibraryTest(const std::string& library = plugin_path()) : host(library) {}

    void TearDown() override {
        host.faults() = {};
        while (!documents_.empty()) free(documents_.back());
        EXPECT_EQ(host.counters().live_blocks, 0U);
        EXPECT_EQ(host.counters().live_values, 0U);
        EXPECT_EQ(host.counters().unused_ids_called, 0U);
    }

    template <typename... T>
    Outcome call(std::string_view function, const T&... args) {
        silence_libxml2();
        return host.call(function, {Argument(args)...});
    }
    /// The integer that a call gives; 0 when it gives no value.
    template <typename... T>
    Handle get(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        return outcome.no_value() ? 0 : outcome.handle();
    }
    /// The text that a call gives; "none" when it gives no value.
    template <typename... T>
    std::string text(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        return outcome.no_value() ? "none" : outcome.utf8();
    }
    template <typename... T>
    bool gives_no_value(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        return outcome.status() == VT_OK && outcome.result_set() && outcome.no_value();
    }

    /// A function that is called, and where.
    struct Called {
        template <typename Name>
        Called(const Name& function, const char* here = __builtin_FILE(), int at = __builtin_LINE())
            : name(function),
              file(here),
              line(at) {}
        std::string_view name;
        const char* file;
        int line;
    };
    template <typename... T>
    void expect_no_value(const Called& called, const T&... args) {
        const testing::ScopedTrace trace(called.file, called.line, called.name);
        EXPECT_TRUE(gives_no_value(called.name, args...));
    }
    /// What a function gives for the properties 0 to count - 1, with blanks between.
    std::string properties(std::string_view function, Handle node, std::uint32_t count) {
        std::string all;
        for (std::uint32_t code = 0; code < count; ++code)
            all += (code ? " " : "") + text(function, node, code);
        return all;
    }

    Handle load(std::string_view xml, std::uint32_t keep_blanks = 1) {
        return keep(get("xmlDOMDocLoadXMLString", xml, keep_blanks));
    }
    template <typename Path>
    Handle load_file(const Path& path, std::uint32_t keep_blanks = 1) {
        return keep(get("xmlDOMDocLoadXMLFile", path, keep_blanks));
    }
    Handle load_html(std::string_view html, std::uint32_t keep_blanks = 1) {
        return keep(get("xmlHTMLDocLoadString", html, keep_blanks));
    }
    Handle load_root(std::string_view xml) { return get("xmlDOMDocGetRootNode", load(xml)); }
    /// Frees the document, wherever it comes from, at the end of the test.
    Handle keep(Handle document) {
        if (document != 0) documents_.push_back(document);
        return document;
    }
    void free(Handle document) {
        std::erase(documents_, document);
        EXPECT_EQ(call("xmlDOMDocFreeDoc", document).integer(), 0U);
    }

    std::vector<Handle> select(Handle node, std::string_view expression) {
        return call("xmlDOMNodeSelectNodes", node, expression).handles();
    }
    /// The only node that the expression selects.
    Handle find(Handle node, std::string_view expression) {
        const std::vector<Handle> found = select(node, expression);
        EXPECT_EQ(found.size(), 1U) << expression;
        return found.size() == 1 ? found[0] : 0;
    }
    /// Whether the library knows which numbers are handles.
    bool is_checked() const { return host.symbol("valtrosse_object_of_handle") != nullptr; }
    /// The handle of a live object; 0 for null.
    Handle handle_of(const void* object) const { return object ? host.handle_of(object) : 0; }
    xmlNode* node_of(Handle handle) const { return static_cast<xmlNode*>(host.object_of(handle)); }
    xmlDoc* doc_of(Handle handle) const { return static_cast<xmlDoc*>(host.object_of(handle)); }
    Handle relative(Handle node, std::uint32_t step) {
        return get("xmlDOMNodeGetRelative", node, step);
    }
    std::string name(Handle node) { return text("xmlDOMNodeGetName", node); }
    std::string value(Handle node) { return text("xmlDOMNodeGetValue", node); }

    /// The node with all below it, as libxml2 writes it.
    std::string dump(Handle node) const {
        xmlBuffer* buffer = xmlBufferCreate();
        xmlNodeDump(buffer, node_of(node)->doc, node_of(node), 0, 0);
        std::string written(chars(xmlBufferContent(buffer)));
        xmlBufferFree(buffer);
        return written;
    }

    Host host;

private:
    const ParserDefaults defaults_;
    std::vector<Handle> documents_;
};

}  // namespace valtrosse::host
