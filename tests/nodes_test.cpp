// Nodes: what they are, their text, their relatives, and XPath.
#include <libxml/xpathInternals.h>

#include <array>

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
};

TEST_F(Nodes, types_names_and_steps_of_every_code) {
    const char* const names[] = {"n",
                                 "p:n",
                                 "p:n",
                                 "#text",
                                 "#cdata-section",
                                 "n",
                                 "n",
                                 "n",
                                 "#comment",
                                 "#document",
                                 "n",
                                 "#document-fragment",
                                 "n",
                                 "#document",
                                 "n",
                                 "n",
                                 "n",
                                 "n",
                                 "n",
                                 "n",
                                 "n",
                                 "n"};
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
    const Handle handle = handle_from_outside(&node);
    for (std::uint32_t type = 0; type < std::size(names); ++type) {
        node.type = static_cast<xmlElementType>(type);
        const std::uint32_t code = type == 14 ? 10 : type == 17 ? 6 : type <= 12 ? type : 0;
        EXPECT_EQ(get("xmlDOMNodeGetType", handle), code) << type;
        EXPECT_EQ(name(handle), names[type]) << type;
        const bool navigable = code != 0 && code != 6;
        for (std::uint32_t step = 0; step < 5; ++step)
            EXPECT_EQ(relative(handle, step), navigable ? handle_of(&relatives[step]) : 0) << type;
        for (std::uint32_t step : {5U, 0xFFFFFFFFU})
            EXPECT_TRUE(gives_no_value("xmlDOMNodeGetRelative", handle, step));
        EXPECT_EQ(host.symbol_as<int (*)(std::uint32_t)>("_x_isDocumentNode")(type),
                  type == 9 || type == 13)
            << type;
    }
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

constexpr const char* document =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r id ID #IMPLIED><!ENTITY e 'ent'>"
    "<!ENTITY n '[&e;]&#38;lt;'><!ENTITY m 'a<b>c</b>d'>]>"
    "<r xmlns='d' xmlns:p='u' p:q='1' xml:lang='de' plain='x&e;&amp;&n;' id='old'>"
    "t\u00e91<!--c-->t2<?pi data?><![CDATA[<cd>]]><p:x/>&n;&lt;&m; </r>";

TEST_F(Nodes, of_a_document) {
    const Handle doc = load(document), root = get("xmlDOMDocGetRootNode", doc);
    const struct {
        const char* path;
        std::uint32_t type;
        const char *name, *value;
    } cases[] = {{"/", 9, "#document", "none"},
                 {"/*", 1, "r", "none"},
                 {"p:x", 1, "p:x", "none"},
                 {"@*[name()='p:q']", 2, "p:q", "1"},
                 {"@xml:lang", 2, "xml:lang", "de"},
                 {"@plain", 2, "plain", "xent&[ent]<"},
                 {"comment()", 8, "#comment", "c"},
                 {"processing-instruction()", 7, "pi", "data"},
                 {"text()[3]", 4, "#cdata-section", "<cd>"},
                 // A text is read on over what follows it, elements and comments left out.
                 {"text()[1]", 3, "#text", "t\u00e91t2<cd>[ent]<<ad "},
                 {"text()[2]", 3, "#text", "t2<cd>[ent]<<ad "},
                 {"text()[last()]", 3, "#text", " "}};
    for (const auto& [path, type, name_wanted, value_wanted] : cases) {
        const Handle node = find(root, path);
        EXPECT_EQ(get("xmlDOMNodeGetType", node), type) << path;
        EXPECT_EQ(name(node), name_wanted) << path;
        EXPECT_EQ(value(node), value_wanted) << path;
        EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), doc) << path;
        EXPECT_EQ(get("xmlDOMTextGetLength", node),
                  type == 3 ? std::string_view(value_wanted).size() : 0)
            << path;
    }
    EXPECT_EQ(name(handle_from_outside(node_of(root)->nsDef)), "d");

    // From a reference to its declaration, and no further.
    const Handle reference = relative(find(root, "p:x"), 1), declaration = relative(reference, 3);
    EXPECT_EQ(get("xmlDOMNodeGetType", reference), 5U);
    EXPECT_EQ(get("xmlDOMNodeGetType", declaration), 6U);
    EXPECT_EQ(name(reference) + name(declaration) + value(reference), "nnnone");
    for (std::uint32_t step = 0; step < 5; ++step) EXPECT_EQ(relative(declaration, step), 0U);
    const Handle dtd = relative(doc, 3), comment = find(root, "comment()");
    EXPECT_EQ(get("xmlDOMNodeGetType", dtd), 10U);
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetType", relative(dtd, 3)));
    EXPECT_TRUE(relative(dtd, 1) == root && relative(root, 0) == doc && relative(doc, 0) == 0);
    EXPECT_EQ(relative(relative(comment, 2), 1), comment);
    EXPECT_EQ(relative(find(root, "p:x"), 3), 0U);
    const Handle lang = relative(find(root, "@*[name()='p:q']"), 1);
    EXPECT_EQ(name(lang), "xml:lang");
    EXPECT_TRUE(relative(lang, 0) == root && relative(lang, 3) == relative(lang, 4));
    EXPECT_EQ(value(relative(find(root, "@plain"), 3)), "xent&[ent]<");

    const Handle html = keep(get("xmlHTMLDocLoadString", "<p>x", 1));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetType", html));
    EXPECT_EQ(relative(html, 3), 0U);
    EXPECT_EQ(relative(get("xmlDOMDocGetRootNode", html), 0), html);
}

TEST_F(Nodes, outside_any_document) {
    const Handle doc = load("<a><b>\u00e9</b></a>"), b = find(doc, "//b");
    const Handle fresh = get("xmlDOMDocCreateNode", doc, 3, "text");
    EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", fresh), doc);
    for (std::uint32_t step = 0; step < 5; ++step) EXPECT_EQ(relative(fresh, step), 0U);
    EXPECT_EQ(get("xmlDOMNodeUnlinkNode", b), b);
    EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", b).integer(), 0U);
    EXPECT_EQ(relative(b, 0), 0U);
    EXPECT_EQ(get("xmlDOMTextGetLength", relative(b, 3)), 2U);
    EXPECT_EQ(selected(b, "//b | . | text() | /"), "b #text");
    // Text can be read and changed when the document is gone.
    free(doc);
    EXPECT_EQ(value(fresh), "text");
    EXPECT_EQ(get("xmlDOMNodeSetValue", fresh, "new"), fresh);
    EXPECT_EQ(get("xmlDOMTextGetLength", fresh), 3U);
    EXPECT_EQ(selected(fresh, "self::text()"), "#text");
    for (Handle node : {fresh, b}) EXPECT_EQ(call("xmlDOMNodeFreeNode", node).integer(), 0U);
}

TEST_F(Nodes, set_value_replaces_character_data_only) {
    const Handle doc = load(document), root = get("xmlDOMDocGetRootNode", doc);
    const std::string before = dump(root);
    const Handle comment = find(root, "comment()"), reference = relative(find(root, "p:x"), 1);
    for (Handle refused :
         {doc, root, find(root, "@plain"), reference, relative(reference, 3), relative(doc, 3)})
        EXPECT_TRUE(gives_no_value("xmlDOMNodeSetValue", refused, "new")) << name(refused);
    EXPECT_TRUE(gives_no_value("xmlDOMNodeSetValue", comment, Argument::string_without_text()));
    EXPECT_EQ(dump(root), before);

    const Handle last = find(root, "text()[last()]");
    for (Handle node :
         {comment, last, find(root, "text()[3]"), find(root, "processing-instruction()")})
        for (const std::string& wanted : {std::string("a<b>]]"), std::string(198, 'x') + "\u20ac",
                                          std::string(), std::string("&e;")}) {
            EXPECT_EQ(get("xmlDOMNodeSetValue", node, wanted), node);
            EXPECT_EQ(value(node), wanted);
        }
    EXPECT_NE(dump(root).find("&amp;e;</r>"), std::string::npos) << dump(root);
    get("xmlDOMNodeSetValue", relative(find(root, "@id"), 3),
        "new");  // the text of an ID is the ID
    EXPECT_EQ(selected(root, "id('new')"), "r");
    EXPECT_EQ(selected(root, "id('old')"), "");

    const Handle blanks = load_root("<a> <b/>&#9;\r\n<c/>x <![CDATA[ ]]><d> x</d><!-- --></a>");
    const std::pair<const char*, bool> cases[] = {
        {".", false},        {"text()[1]", true}, {"text()[2]", true},  {"text()[3]", false},
        {"text()[4]", true}, {"d/text()", false}, {"comment()", false}, {"b", false}};
    for (const auto& [path, blank] : cases) {
        const Outcome outcome = call("xmlDOMNodeIsBlankNode", find(blanks, path));
        EXPECT_EQ(outcome.no_value(), !blank) << path;
        EXPECT_TRUE(!blank || outcome.integer() == 0) << path;
    }
}

// ---- XPath ----------------------------------------------------------------------------------------

TEST_F(Nodes, handle_lists_of_every_size) {
    const auto digits = host.symbol_as<vt_status (*)(std::uint32_t, std::uint32_t, char16_t*)>(
        "_x_pointersizeToHexString");
    for (std::uint32_t count : {0U, 1U, 3U, 8U, 9U, 0xFFFFFFFFU}) {
        const bool allowed = count > 0 && count < 9;
        std::u16string out(9, u'-'),
            wanted = allowed ? std::u16string(u"0A9BCDEF").substr(8 - count) : u"";
        wanted.resize(9, u'-');
        EXPECT_EQ(digits(0x0A9BCDEF, count, out.data()), allowed ? 0U : 33U);
        EXPECT_EQ(out, wanted);
    }
    EXPECT_EQ(digits(1, 8, nullptr), 33U);

    for (int count : {0, 1, 12, 13, 1000, under_valgrind() ? 2000 : 100000}) {
        std::string xml = "<a>", wanted = "4";
        for (int i = 0; i < count; ++i) xml += "<b/>";
        const Handle doc = load(xml + "</a>"), root = get("xmlDOMDocGetRootNode", doc);
        const auto before = host.counters().allocations;
        const std::string list = call("xmlDOMNodeSelectNodes", root, "b").utf8();
        EXPECT_EQ(host.counters().allocations - before, count > 12 ? 1U : 0U) << count;
        for (xmlNode* node = node_of(root)->children; node; node = node->next) {
            std::array<char, 9> handle{};
            std::snprintf(handle.data(), handle.size(), "%08X",
                          static_cast<unsigned>(handle_of(node)));
            wanted += handle.data();
        }
        EXPECT_TRUE(list == wanted) << count;
        free(doc);
    }
}

TEST_F(Nodes, prefixes_of_an_expression) {
    const Handle root = load_root(
        "<r xmlns:s='u1' xmlns:unused='u9'><p:a xmlns:p='u1'><p:c/></p:a>"
        "<p:b xmlns:p='u2'><p:d/></p:b><x xmlns:q='u3' q:at='' xml:lang='de' t='p:a'/>"
        "<s:e>z:z</s:e><\u00e4-1.x:f xmlns:\u00e4-1.x='u4'/></r>");
    const Handle b = find(root, "//*[local-name()='b']"), x = find(root, "x");
    const struct {
        Handle from;
        const char *expression, *names;
    } cases[] = {{root, "//p:*", "p:a p:c s:e"},  // the first binding wins throughout
                 {root, "//p:b", ""},
                 {root, "//s:a | //s:c", "p:a p:c"},
                 {b, "self::p:b | p:d", "p:b p:d"},  // where only the second one is
                 {b, "//p:a", ""},
                 {b, "//s:e", "none"},  // nothing of the ancestors
                 {x, "../p:a", "none"},
                 {root, "//unused:x", "none"},  // declared, and no element's
                 {root, "//@q:at", "none"},
                 {root, "p:a | nowhere:a", "none"},
                 {x, "@xml:lang", "xml:lang"},
                 {root, "*[. = 'z:z']", "s:e"},  // no prefix in a literal
                 {root, "//*[@t = \"p:a\" and . != \"'z:z\"]", "x"},
                 {root, "//*[@t != 'nowhere:\"' ]/../p:a", "p:a"},
                 {root, "//p :a", "p:a"},
                 {root, "//p\n\t:c", "p:c"},
                 {root, "//p: a", "none"},
                 {root, "child::p:a/descendant::node()", "p:c"},  // no prefix in an axis
                 {root, "descendant::s:e[1]/preceding-sibling::p:a", "p:a"},
                 {root, "*[1-count(p:c)=0]/p:c", "p:c"},
                 {root, "//\u00e4-1.x:f", "\u00e4-1.x:f"},
                 {root, "p:function()", "none"},
                 {root, "$p:variable", "none"}};
    for (const auto& [from, expression, names] : cases)
        EXPECT_EQ(selected(from, expression), names) << expression;

    // More of them than a few, longer than usual, far away from the start.
    std::string xml = "<r>", all = "nothing";
    for (std::size_t i = 0; i < 30; ++i) {
        const std::string prefix = std::string(i == 17 ? 300 : 1, 'p') + std::to_string(i);
        xml += std::string(100, ' ') + "<x/><y><" + prefix + ":a xmlns:" + prefix + "='" +
               std::to_string(i % 11) + "'/></y>";
        all += " | //" + prefix + ":a";
        EXPECT_EQ(select(load_root(xml + "</r>"), all).size(), i + 1) << all;
        EXPECT_EQ(select(load_root(xml + "</r>"), "//" + prefix + ":*").size(), i / 11 + 1);
    }

    const auto add = host.symbol_as<void (*)(xmlXPathContext*, xmlNode*)>("_x_RegisterNamespaces");
    xmlXPathContext* context = xmlXPathNewContext(node_of(root)->doc);
    add(nullptr, node_of(root));
    add(context, nullptr);
    EXPECT_EQ(context->nsHash, nullptr);
    add(context, node_of(b));
    add(context, node_of(root));
    std::string bound;
    for (const char* prefix : {"p", "s", "q", "unused"})
        if (const xmlChar* uri = xmlXPathNsLookup(context, BAD_CAST prefix)) bound += chars(uri);
    EXPECT_EQ(bound, "u2u1");
    xmlXPathFreeContext(context);
}

TEST_F(Nodes, expressions_that_select_nothing_or_something_else) {
    const Handle doc = load("<a i='1'><b/>text<c xmlns='d'/></a>");
    const Handle root = get("xmlDOMDocGetRootNode", doc);
    for (const char* expression :
         {"count(//x)", "string(/a)", "1 = 1", "'x'", "1 div 0", "", " ", "//", "a[", "p:", ":a",
          "a b", "'open", "\"", "a::b", "f()", "$v", "b | 1", "\x01"})
        EXPECT_TRUE(gives_no_value("xmlDOMNodeSelectNodes", root, expression)) << expression;
    EXPECT_TRUE(gives_no_value("xmlDOMNodeSelectNodes", root, Argument::string_without_text()));

    // A clone's nodes name no document and are still in one.
    const Handle clone = keep(get("xmlDOMNodeCloneNode", doc, 1));
    const Handle cloned_root = get("xmlDOMDocGetRootNode", clone);
    EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", cloned_root).integer(), 0U);
    EXPECT_EQ(find(cloned_root, "/a"), cloned_root);
    const struct {
        Handle from;
        std::string expression;
        const char* names;
    } cases[] = {{root, "x", ""},
                 {root, "child::node()", "b #text c"},
                 {root, "/a/b" + std::string(300, ' '), "b"},
                 {doc, "a", "a"},
                 {find(root, "b"), "../@i/..", "a"},
                 {find(root, "@i"), "../b | .", "i b"},
                 {find(root, "text()"), "following::* | preceding::* | /", "#document b c"},
                 {find(cloned_root, "b"), "//text() | //b", "b #text"},
                 {root, "//c", ""},
                 {root, "//*[local-name()='c'] | \u00e9", "c"},
                 {root, "c | namespace::*", ""},  // namespace records are left out
                 {root, "*[2]/namespace::* | . | //namespace::node()", "a"},
                 {root, "(//*)[last()] | /*", "a c"}};
    for (const auto& [from, expression, names] : cases)
        EXPECT_EQ(selected(from, expression), names) << expression;
}

}  // namespace
}  // namespace valtrosse::host
