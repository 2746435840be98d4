#include "fuzz/targets/target.hpp"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace valtrosse::fuzz {

void fail(std::string_view what, std::string_view detail) {
    std::fprintf(stderr, "check failed: %.*s %.*s\n", static_cast<int>(what.size()), what.data(),
                 static_cast<int>(detail.size()), detail.data());
    std::abort();
}

// ---- The library ---------------------------------------------------------------------------------

namespace {

constexpr std::string_view memory_files = "/proc/self/fd/";

xmlParserInput* load_memory_files_only(const char* url, const char* id, xmlParserCtxt* context) {
    static const xmlExternalEntityLoader load = xmlNoNetExternalEntityLoader;
    // The scripts of the target `script` have a folder of their own.
    const std::string_view path = url ? url : "";
    const bool own = path.starts_with(memory_files) || path.find("/valtrosse-random-") != path.npos;
    return own ? load(url, id, context) : nullptr;
}

}  // namespace

Host& library() {
    // Never unloaded: its documents may be looked at until the process ends.
    static Host& host = []() -> Host& {
        xmlInitParser();
        xmlSetExternalEntityLoader(load_memory_files_only);
        return *new Host(VALTROSSE_PLUGIN_PATH);
    }();
    return host;
}

void end_of_input() {
    static const auto remove_all = library().symbol_as<void (*)()>("_x_removeAllMsgs");
    remove_all();
    const host::Counters counters = library().counters();
    check(counters.live_blocks == 0, "a block of the host's is left");
    check(counters.live_values == 0, "a value of the host's is left");
}

// ---- Input ---------------------------------------------------------------------------------------

unsigned Input::choice(unsigned end) {
    const Bytes byte = take(1);
    return byte.empty() ? 0 : byte[0] % end;
}

Bytes Input::take(std::size_t count) {
    const Bytes taken = left_.first(std::min(count, left_.size()));
    left_ = left_.subspan(taken.size());
    return taken;
}

std::u16string units(Bytes bytes) {
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text.push_back(static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8));
    return text;
}

MemoryFile::MemoryFile(Bytes content)
    : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)),
      path_(std::string(memory_files) + std::to_string(descriptor_)) {
    check(descriptor_ != -1, "there is no file in memory");
    check(
        write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
        "the file in memory is not written");
}

MemoryFile::~MemoryFile() { close(descriptor_); }

std::string MemoryFile::content() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool is_harmless(Bytes xml) {
    // In any encoding of two or four bytes the ASCII characters are left when the zeros are taken out.
    std::string text;
    std::copy_if(xml.begin(), xml.end(), std::back_inserter(text), [](auto byte) { return byte; });
    const auto count = [&](std::string_view part) {
        std::size_t found = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size())
            ++found;
        return found;
    };
    // Parameter entities that are empty or stand in each other multiply without a limit in 2.9.14.
    return count("ENTITY") <= 6 && (count("%") <= 8 || count("ENTITY") <= 2);
}

// ---- Trees ---------------------------------------------------------------------------------------

namespace {

bool is_element(const xmlNode* node) { return node->type == XML_ELEMENT_NODE; }
bool has_own_children(const xmlNode* node) {
    switch (node->type) {
        case XML_ELEMENT_NODE:
        case XML_ATTRIBUTE_NODE:
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE:
        case XML_DOCUMENT_FRAG_NODE: return true;
        default: return false;  // an entity reference's child is its declaration
    }
}

/// Calls visit(node) for all nodes of the tree, attributes and their text included, and leave(node)
/// after what is below.
template <typename Visit, typename Leave>
void walk(const xmlNode* root, Visit visit, Leave leave) {
    // Nesting is bounded by the parser, to 256 levels; HTML's by the length of an input.
    visit(root);
    if (is_element(root))
        for (const xmlAttr* attr = root->properties; attr; attr = attr->next)
            walk(reinterpret_cast<const xmlNode*>(attr), visit, leave);
    if (has_own_children(root))
        for (const xmlNode* child = root->children; child; child = child->next)
            walk(child, visit, leave);
    leave(root);
}

}  // namespace

void check_links(const xmlNode* root) {
    const auto children = [](const xmlNode* node) {
        const xmlNode* before = nullptr;
        for (const xmlNode* child = node->children; child; child = child->next) {
            check(child->parent == node, "a child has another parent");
            check(child->prev == before, "a child has another one before it");
            check(child->doc == node->doc, "a child is of another document");
            before = child;
        }
        check(node->last == before, "the last child is another one");
    };
    const auto attributes = [](const xmlNode* node) {
        const xmlAttr* before = nullptr;
        for (const xmlAttr* attr = node->properties; attr; attr = attr->next) {
            check(attr->parent == node, "an attribute has another element");
            check(attr->prev == before, "an attribute has another one before it");
            // The elements of a copy name no document.
            check(attr->doc == node->doc || !node->doc, "an attribute is of another document");
            before = attr;
        }
    };
    walk(
        root,
        [&](const xmlNode* node) {
            if (has_own_children(node)) children(node);
            if (is_element(node)) attributes(node);
        },
        [](const xmlNode*) {});
}

std::string description(const xmlNode* root) {
    std::string text;
    const auto add = [&](const xmlChar* part) {
        text += part ? reinterpret_cast<const char*>(part) : "-";
        text += '|';
    };
    walk(
        root,
        [&](const xmlNode* node) {
            text += '\n' + std::to_string(node->type) + ' ';
            if (node->type == XML_DTD_NODE || !node->name) return;
            add(node->name);
            if (is_element(node) || node->type == XML_ATTRIBUTE_NODE) {
                if (node->ns) add(node->ns->prefix), add(node->ns->href);
            } else if (node->type != XML_ENTITY_REF_NODE) {
                add(node->content);
            }
        },
        [&](const xmlNode*) { text += '.'; });
    return text;
}

Handle clone_of(Handle doc) {
    const Handle clone = get("xmlDOMNodeCloneNode", doc, 1);
    check(clone != 0 && description(node_of(clone)) == description(node_of(doc)), "a clone");
    return clone;
}

void read_everything(Handle root) {
    // libxml2's HTML parser lets bytes through that are no UTF-8.
    const bool html = node_of(root)->type == XML_HTML_DOCUMENT_NODE;
    const auto reads = [html](const char* function, const auto&... args) {
        const vt_status status = call(function, args...).status();
        check(status == VT_OK || status == VT_TOO_LARGE || (html && status == VT_MALFORMED),
              function, std::to_string(status));
    };
    std::size_t left = 30;
    walk(
        node_of(root),
        [&](const xmlNode* visited) {
            if (left == 0) return;
            --left;
            const Handle node = handle_of(visited);
            for (const char* function :
                 {"xmlDOMNodeGetName", "xmlDOMNodeGetValue", "xmlDOMNodeGetType",
                  "xmlDOMNodeIsBlankNode", "xmlDOMTextGetLength", "xmlDOMNodeGetFirstAttribute",
                  "xmlDOMAttrGetSpecified", "xmlDOMAttrIsId"})
                reads(function, node);
            reads("xmlDOMNodeGetRelative", node, Handle{static_cast<unsigned>(left) % 5});
            reads("xmlDOMNodeGetPropertyNS", node, Handle{static_cast<unsigned>(left) % 3});
        },
        [](const xmlNode*) {});
    reads("xmlDOMDocGetLastMsg", root);
    reads("xmlDOMDocGetEntities", root);
    if (const Handle notations = get("xmlDOMDocGetNotations", root))
        get("xmlDOMNodeFreeNode", notations);
}

}  // namespace valtrosse::fuzz

// Before a fuzzer looks for coverage: the library is loaded then.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    valtrosse::fuzz::library();
    return 0;
}
