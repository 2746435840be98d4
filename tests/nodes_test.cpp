// Nodes: what they are, their text, their relatives, and XPath.
#include <libxml/xpathInternals.h>

#include <iomanip>
#include <sstream>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

class Nodes : public LibraryTest {
protected:
    /// The names of the selected nodes; "none" for no value.
    std::string selected(Handle node, std::string_view expression) {
        if (call("xmlDOMNodeSelectNodes", node, expression).no_value()) return "none";
        std::string names;
        for (Handle found : select(node, expression))
            names += (names.empty() ? "" : " ") + name(found);
        return names;
    }
    /// Each of the expressions selects these.
    template <typename... T>
    void expect_selected(Handle from, const char* names, const T&... expressions) {
        for (const std::string& expression : {std::string(expressions)...})
            EXPECT_EQ(selected(from, expression), names) << expression;
    }
};

TEST_F(Nodes, types_names_and_steps_of_every_code) {
    xmlNs ns{};
    ns.prefix = BAD_CAST "p";
    xmlNode node{}, relatives[5]{};
    node.name = BAD_CAST "n";
    node.ns = &ns;
    node.parent = &relatives[0];
    node.next = &relatives[1];
    node.prev = &relatives[2];
    node.children = &relatives[3];
    node.last = &relatives[4];
    const Handle handle = handle_of(&node);
    std::string names;
    for (std::uint32_t type = 0; type < 22; ++type) {
        node.type = static_cast<xmlElementType>(type);
        const std::uint32_t code = type == 14 ? 10 : type == 17 ? 6 : type <= 12 ? type : 0;
        EXPECT_EQ(get("xmlDOMNodeGetType", handle), code) << type;
        names += name(handle) + ' ';
        for (const std::uint32_t step : {0U, 1U, 2U, 3U, 4U, 5U, 0xFFFFFFFFU}) {
            const bool navigable = code != 0 && code != 6 && step < 5;
            EXPECT_EQ(relative(handle, step), navigable ? handle_of(&relatives[step]) : 0) << type;
        }
        EXPECT_EQ(host.symbol_as<int (*)(std::uint32_t)>("_x_isDocumentNode")(type),
                  type == 9 || type == 13);
    }
    EXPECT_EQ(names,
              "n p:n p:n #text #cdata-section n n n #comment #document n #document-fragment n "
              "#document n n n n n n n n ");
    EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", handle).integer(), 0U);
    node.type = XML_ELEMENT_NODE;
    const std::string long_name(300, 'n');
    node.name = BAD_CAST long_name.c_str();
    EXPECT_EQ(name(handle), "p:" + long_name);
    node.name = nullptr;
    ns.prefix = BAD_CAST "";
    EXPECT_EQ(name(handle), "");
    EXPECT_EQ(host.symbol_as<xmlChar* (*)(xmlNode*)>("_x_nodeName")(nullptr), nullptr);
}

constexpr const char* source =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r id ID #IMPLIED><!ENTITY e 'ent'>"
    "<!ENTITY n '[&e;]&#38;lt;'><!ENTITY m 'a<b>c</b>d'>]>"
    "<r xmlns='d' xmlns:p='u' p:q='1' xml:lang='de' plain='x&e;&amp;&n;' id='old'>"
    "t\u00e91<!--c-->t2<?pi data?><![CDATA[<cd>]]><p:x/>&n;&lt;&m; </r>";

TEST_F(Nodes, of_a_document) {
    const Handle doc = load(source), root = get("xmlDOMDocGetRootNode", doc);
    std::string all;
    for (const Handle node : select(root, "/ | //node() | //@*")) {
        const std::uint32_t type = get("xmlDOMNodeGetType", node);
        all += std::to_string(type) + ' ' + name(node) + ' ' + value(node) + '\n';
        EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), doc) << all;
        EXPECT_EQ(get("xmlDOMTextGetLength", node), type == 3 ? value(node).size() : 0) << all;
    }
    // A text is read on over what follows it, elements and comments left out.
    EXPECT_EQ(all,
              "9 #document none\n1 r none\n2 p:q 1\n2 xml:lang de\n2 plain xent&[ent]<\n2 id old\n"
              "3 #text t\u00e91t2<cd>[ent]<<ad \n8 #comment c\n3 #text t2<cd>[ent]<<ad \n"
              "7 pi data\n4 #cdata-section <cd>\n1 p:x none\n3 #text <ad \n3 #text  \n");
    if (!is_checked()) {
        EXPECT_EQ(name(handle_of(node_of(root)->nsDef)), "d");
    }

    EXPECT_TRUE(gives_no_value("xmlDOMNodeSetValue", find(root, "comment()"),
                               Argument::string_without_text()));
    const Handle html = keep(get("xmlHTMLDocLoadString", "<p>x", 1));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetType", html));
    EXPECT_EQ(relative(get("xmlDOMDocGetRootNode", html), 0), html);
}

// ---- XPath ----------------------------------------------------------------------------------------

TEST_F(Nodes, handle_lists_of_every_size) {
    const auto digits = host.symbol_as<vt_status (*)(std::uint32_t, std::uint32_t, char16_t*)>(
        "_x_pointersizeToHexString");
    for (std::uint32_t count : {0U, 1U, 3U, 8U, 9U, 0xFFFFFFFFU}) {
        const bool allowed = count > 0 && count < 9;
        std::u16string out(9, u'-'), wanted = allowed ? &u"0A9BCDEF"[8 - count] : u"";
        wanted.resize(9, u'-');
        EXPECT_EQ(digits(0x0A9BCDEF, count, out.data()), allowed ? 0U : 33U);
        EXPECT_EQ(out, wanted);
    }
    EXPECT_EQ(digits(1, 8, nullptr), 33U);

    for (int count : {0, 1, 12, 13, 1000, under_valgrind() ? 2000 : 100000}) {
        std::string xml = "<a>";
        for (int i = 0; i < count; ++i) xml += "<b/>";
        const Handle doc = load(xml + "</a>"), root = get("xmlDOMDocGetRootNode", doc);
        const auto before = host.counters().allocations;
        const std::string list = call("xmlDOMNodeSelectNodes", root, "b").utf8();
        EXPECT_EQ(host.counters().allocations - before, count > 12 ? 1U : 0U) << count;
        std::ostringstream wanted;
        wanted << '4' << std::hex << std::uppercase << std::setfill('0');
        for (xmlNode* node = node_of(root)->children; node; node = node->next)
            wanted << std::setw(8) << handle_of(node);
        EXPECT_TRUE(list == wanted.str()) << count;
        free(doc);
    }
}

TEST_F(Nodes, prefixes_of_an_expression) {
    const Handle root = load_root(
        "<r xmlns:s='u1' xmlns:unused='u9'><p:a xmlns:p='u1'><p:c/></p:a>"
        "<p:b xmlns:p='u2'><p:d/></p:b><x xmlns:q='u3' q:at='' xml:lang='de' t='p:a'/>"
        "<s:e>z:z</s:e><\u00e4-1.x:f xmlns:\u00e4-1.x='u4'/></r>");
    const Handle b = find(root, "//*[local-name()='b']"), x = find(root, "x");
    expect_selected(root, "p:a p:c s:e", "//p:*");  // the first binding wins throughout
    expect_selected(root, "", "//p:b");
    expect_selected(root, "p:a p:c", "//s:a | //s:c");
    expect_selected(b, "p:b p:d", "self::p:b | p:d");  // where only the second one is
    expect_selected(b, "", "//p:a");
    expect_selected(b, "none", "//s:e");  // nothing of the ancestors
    expect_selected(x, "none", "../p:a");
    expect_selected(root, "none", "//unused:x", "//@q:at");  // declared, and no element's
    expect_selected(root, "none", "p:a | nowhere:a", "//p: a", "p:function()", "$p:variable");
    expect_selected(x, "xml:lang", "@xml:lang");
    // No prefix in a literal, nor in an axis.
    expect_selected(root, "s:e", "*[. = 'z:z']");
    expect_selected(root, "x", "//*[@t = \"p:a\" and . != \"'z:z\"]");
    expect_selected(root, "p:a", "//p :a", "//*[@t != 'nowhere:\"' ]/../p:a",
                    "descendant::s:e[1]/preceding-sibling::p:a");
    expect_selected(root, "p:c", "//p\n\t:c", "child::p:a/descendant::node()",
                    "*[1-count(p:c)=0]/p:c");
    expect_selected(root, "\u00e4-1.x:f", "//\u00e4-1.x:f");

    // More of them than a few, longer than usual, far away from the start.
    std::string xml = "<r>", all = "nothing";
    for (std::size_t i = 0; i < 30; ++i) {
        const std::string p = std::string(i == 17 ? 300 : 1, 'p') + std::to_string(i);
        xml += std::string(100, ' ') + "<x/><y><" + p + ":a xmlns:" + p + "='" +
               std::to_string(i % 11) + "'/></y>";
        all += " | //" + p + ":a";
        EXPECT_EQ(select(load_root(xml + "</r>"), all).size(), i + 1) << all;
        EXPECT_EQ(select(load_root(xml + "</r>"), "//" + p + ":*").size(), i / 11 + 1);
    }

    const auto add = host.symbol_as<void (*)(xmlXPathContext*, xmlNode*)>("_x_RegisterNamespaces");
    xmlXPathContext context{};
    add(nullptr, node_of(root));
    add(&context, nullptr);
    EXPECT_EQ(context.nsHash, nullptr);
}

TEST_F(Nodes, expressions_that_select_nothing_or_something_else) {
    const Handle doc = load("<a i='1'><b/>text<c xmlns='d'/></a>");
    const Handle root = get("xmlDOMDocGetRootNode", doc);
    expect_selected(root, "none", "count(//x)", "string(/a)", "1 = 1", "'x'", "1 div 0", "", " ",
                    "//", "a[", "p:", ":a", "a b", "'open", "\"", "a::b", "f()", "$v", "b | 1",
                    "\x01");
    EXPECT_TRUE(gives_no_value("xmlDOMNodeSelectNodes", root, Argument::string_without_text()));

    // A clone's nodes name no document and are still in one; those outside of any have no "/".
    const Handle clone = keep(get("xmlDOMNodeCloneNode", doc, 1));
    const Handle cloned = get("xmlDOMDocGetRootNode", clone);
    EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", cloned).integer(), 0U);
    EXPECT_EQ(find(cloned, "/a"), cloned);
    expect_selected(find(cloned, "b"), "b #text", "//text() | //b");
    const Handle copy = get("xmlDOMNodeCloneNode", root, 1);
    expect_selected(find(copy, "b"), "a #text", "/ | //b | .. | ../text()");
    get("xmlDOMNodeFreeNode", copy);

    expect_selected(root, "", "x", "//c");
    expect_selected(root, "b", "/a/b" + std::string(300, ' '));
    expect_selected(doc, "a", "a");
    expect_selected(find(root, "b"), "a", "../@i/..");
    expect_selected(find(root, "@i"), "i b", "../b | .");
    expect_selected(find(root, "text()"), "#document b c", "following::* | preceding::* | /");
    expect_selected(root, "", "c | namespace::*");  // namespace records are left out
    expect_selected(root, "a", "*[2]/namespace::* | . | //namespace::node()");
    expect_selected(root, "a c", "(//*)[last()] | /*");
}

}  // namespace
}  // namespace valtrosse::host
