// The shape of trees: what may be linked where, what refused calls leave behind, text that merges,
// references, nodes whose document is gone, and trees of a million nodes.
#include <libxml/parser.h>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

constexpr std::uint32_t kTypes[] = {1, 2, 3, 4, 5, 7, 8, 11};

class Tree : public TreeTest {
protected:
    /// A node named as a test table does: A or B and an XPath expression, or DTD or ENTITY for those
    /// of the document. Reports what it does not find.
    Handle named(const std::string& text) {
        const Handle doc = text[0] == 'A' ? a : b;
        const std::string expression = text.substr(1);
        if (expression == "/.") return doc;
        if (expression == "DTD") return first_child(doc);
        if (expression == "ENTITY") return entity(doc);
        return find(doc, expression);
    }
    /// Calls xmlDOMNodeAddChild with the position, or with 9 the function of these nodes.
    Outcome run(const char* function, std::uint32_t position, const char* node,
                const char* newnode) {
        std::vector<Argument> args;
        if (position != 9) args.emplace_back(position);
        args.emplace_back(named(node));
        if (*newnode) args.emplace_back(named(newnode));
        return host.call(*host.find(std::string("xmlDOMNode") + function), args);
    }
    std::string both() { return xml(a) + "\n" + xml(b); }

    Handle a = 0;
    Handle b = 0;
};

TEST_F(Tree, parents_take_the_children_that_fit) {
    // Rows: the types as parents, then a document and its DTD. Columns: types, DTD, document.
    const struct {
        std::uint32_t type;
        const char* takes;
    } rows[] = {{1, "y.yyyyy..."}, {2, "..y.y....."}, {3, ".........."}, {4, ".........."},
                {5, "y.yyyyy..."}, {7, ".........."}, {8, ".........."}, {11, "y.yyyyy..."},
                {9, "y....yy.y."}, {10, ".........."}};
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < 10; ++column) {
            const Handle owner = new_document();
            const auto make = [&](std::uint32_t type) {
                if (type == 9) return get("xmlDOMDocCreateDoc", "1.0");
                if (type == 10) return get("xmlDOMDocCreateDoctype", "d");
                return create(owner, type, "n");
            };
            const Handle above = make(row.type);
            const Handle below = make(column < 8 ? kTypes[column] : column == 8 ? 10 : 9);
            SCOPED_TRACE(testing::Message() << row.type << " takes column " << column);
            const std::string before = xml(above);
            if (row.takes[column] == 'y') {
                EXPECT_EQ(append(above, below), below);
                EXPECT_EQ(parent(below), above);
            } else {
                EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, above, below));
                EXPECT_EQ(xml(above), before);
                free_node(below);
            }
            free_node(above);
        }
    }
    const auto is_valid = host.symbol_as<int (*)(const void*, const void*)>("_x_isValidChild");
    const auto is_writable = host.symbol_as<int (*)(const void*)>("_x_isWriteNode");
    const Handle element = load_root("<a/>");
    EXPECT_EQ(is_valid(nullptr, node_of(element)), 0);
    EXPECT_EQ(is_valid(node_of(element), nullptr), 0);
    EXPECT_EQ(is_writable(nullptr), 0);
}

TEST_F(Tree, nodes_go_where_they_are_put) {
    const struct {
        const char* what;
        const char* function;
        std::uint32_t position;
        const char* node;
        const char* newnode;
        const char* a;
    } moves[] = {
        {"last", "AddChild", 0, "A/r", "A//b", "<r><a/><c><d/></c>t<b/></r>"},
        {"last already", "AddChild", 0, "A//c", "A//d", "<r><a/><b/><c><d/></c>t</r>"},
        {"before the first", "AddChild", 1, "A//a", "A//c", "<r><c><d/></c><a/><b/>t</r>"},
        {"before the next", "AddChild", 1, "A//c", "A//b", "<r><a/><b/><c><d/></c>t</r>"},
        {"after the last", "AddChild", 2, "A//text()", "A//a", "<r><b/><c><d/></c>t<a/></r>"},
        {"from below", "AddChild", 1, "A//c", "A//d", "<r><a/><b/><d/><c/>t</r>"},
        {"from B", "AddChild", 2, "A//a", "B//y", "<r><a/><y>z</y><b/><c><d/></c>t</r>"},
        {"its root", "AddChild", 0, "A//d", "B/x", "<r><a/><b/><c><d><x><y>z</y></x></d></c>t</r>"},
        {"before the root", "AddChild", 1, "A/r", "B//comment()",
         "<!--n-->\n<r><a/><b/><c><d/></c>t</r>"},
        {"after the root", "AddChild", 0, "A/.", "B//comment()",
         "<r><a/><b/><c><d/></c>t</r>\n<!--n-->"},
        {"by its child", "ReplaceNode", 9, "A//c", "A//d", "<r><a/><b/><d/>t</r>"},
        {"by its neighbour", "ReplaceNode", 9, "A//a", "A//b", "<r><b/><c><d/></c>t</r>"},
        {"by text", "ReplaceNode", 9, "A//b", "B//text()", "<r><a/>z<c><d/></c>t</r>"},
        {"the last", "ReplaceNode", 9, "A//text()", "B//y", "<r><a/><b/><c><d/></c><y>z</y></r>"},
        {"away", "UnlinkNode", 9, "A//c", "", "<r><a/><b/>t</r>"},
    };
    for (const auto& move : moves) {
        SCOPED_TRACE(move.what);
        a = load("<r><a/><b/><c><d/></c>t</r>");
        b = load("<x><y>z</y></x><!--n-->");
        const Outcome outcome = run(move.function, move.position, move.node, move.newnode);
        ASSERT_FALSE(outcome.no_value());
        EXPECT_EQ(xml(a), move.a);
        free(b);
        EXPECT_EQ(xml(a), move.a);
        if (move.position == 9) free_node(outcome.handle());
        free(a);
    }
}

TEST_F(Tree, what_is_refused_changes_nothing) {
    const char* const a_text =
        "<!DOCTYPE r [\n<!--in the DTD-->\n<!ENTITY e \"x<k/>y\">\n]>\n"
        "<r i=\"1\"><s><t>one</t></s>&e;two<!--c--></r>\n<!--last-->";
    a = load(a_text);
    b = load("<!DOCTYPE q>\n<q j=\"2\">three<?pi p?></q>");
    const std::string before = both();
    const struct {
        const char* function;
        std::uint32_t position;
        const char* node;
        const char* newnode;
    } calls[] = {
        {"AddChild", 3, "A/r", "B//text()"},
        {"AddChild", 0, "A/r", "A/r"},
        {"AddChild", 0, "A//t", "A//s"},
        {"AddChild", 0, "A//t", "A/r"},  // cycles
        {"AddChild", 1, "A//t", "A//s"},
        {"AddChild", 2, "A//t/text()", "A//t"},
        {"AddChild", 0, "A/.", "B/q"},
        {"AddChild", 2, "A/comment()", "B/q"},  // a second root
        {"AddChild", 0, "A/.", "B//text()"},
        {"AddChild", 1, "A/r", "B//text()"},
        {"AddChild", 0, "A/.", "BDTD"},
        {"AddChild", 0, "A/r", "BDTD"},  // DTDs stay
        {"AddChild", 1, "A/.", "B//text()"},
        {"AddChild", 0, "A//t/text()", "B//text()"},
        {"AddChild", 1, "A/r/@i", "B//text()"},
        {"AddChild", 2, "A/r/@i", "B//text()"},
        {"AddChild", 0, "A/r", "B/q/@j"},
        {"AddChild", 1, "A//s", "B/q/@j"},
        {"AddChild", 0, "ADTD", "B//processing-instruction()"},
        {"AddChild", 0, "AENTITY", "B//text()"},
        {"AddChild", 0, "A/r", "AENTITY"},
        {"AddChild", 1, "AENTITY", "B//text()"},
        {"AddChild", 0, "A/r", "B/."},
        {"AddChild", 0, "A/r/node()[2]", "B//text()"},  // declared
        {"ReplaceNode", 9, "A/r", "B//processing-instruction()"},
        {"ReplaceNode", 9, "A//s", "A//s"},
        {"ReplaceNode", 9, "A//t", "A//s"},
        {"ReplaceNode", 9, "A/.", "B/q"},
        {"ReplaceNode", 9, "A/comment()", "B/q"},
        {"ReplaceNode", 9, "A/r/@i", "B//text()"},
        {"ReplaceNode", 9, "A//s", "B/q/@j"},
        {"ReplaceNode", 9, "ADTD", "B//processing-instruction()"},
        {"ReplaceNode", 9, "AENTITY", "B//processing-instruction()"},
        {"UnlinkNode", 9, "A/r", ""},
        {"UnlinkNode", 9, "A/.", ""},
        {"UnlinkNode", 9, "ADTD", ""},
        {"UnlinkNode", 9, "AENTITY", ""},
        {"FreeNode", 9, "AENTITY", ""},
        {"FreeNode", 9, "ADTD", ""},
        {"FreeNode", 9, "A//s", ""},
        {"FreeNode", 9, "A/r/@i", ""},
    };
    for (const auto& refused : calls) {
        SCOPED_TRACE(std::string(refused.function) + " " + refused.node + " " + refused.newnode);
        const Outcome outcome =
            run(refused.function, refused.position, refused.node, refused.newnode);
        EXPECT_TRUE(outcome.status() == 0 && outcome.no_value());
        EXPECT_EQ(both(), before);
    }
    // A comment of the DTD is no declaration: it may leave.
    const Handle comment = first_child(first_child(a));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeUnlinkNode", comment));
    EXPECT_EQ(append(find(a, "//s"), comment), comment);
    EXPECT_NE(xml(a).find("<s><t>one</t><!--in the DTD--></s>"), std::string::npos);
}

TEST_F(Tree, text_merges_into_its_neighbour) {
    const struct {
        std::uint32_t position;
        const char* node;
        const char* survivor;
        const char* after;
    } merges[] = {
        {0, "/r", "/r/text()[last()]", "<r>a<b/><![CDATA[c]]>dN</r>"},
        {1, "/r/text()[1]", "/r/text()[1]", "<r>Na<b/><![CDATA[c]]>d</r>"},
        {2, "/r/text()[1]", "/r/text()[1]", "<r>aN<b/><![CDATA[c]]>d</r>"},
        {1, "/r/b", "", "<r>aN<b/><![CDATA[c]]>d</r>"},
        {0, "/r/b", "", "<r>a<b>N</b><![CDATA[c]]>d</r>"},
        {2, "/r/b", "", "<r>a<b/>N<![CDATA[c]]>d</r>"},
    };
    for (const auto& merge : merges) {
        SCOPED_TRACE(testing::Message() << merge.position << ' ' << merge.node);
        a = load("<r>a<b/><![CDATA[c]]>d</r>");
        b = load("<x>N</x>");  // its text is interned in B's dictionary
        const Handle text = find(b, "//text()");
        const ObjectHandle holder = host.create().object();
        host.call_method(holder, "addInternal", {text});  // and remembered where it merges away
        const Handle survivor = *merge.survivor ? find(a, merge.survivor) : text;
        EXPECT_EQ(add(merge.position, find(a, merge.node), text), survivor);
        EXPECT_EQ(xml(a), merge.after);
        free(b);
        EXPECT_EQ(xml(a), merge.after);
        free(a);
    }
}

TEST_F(Tree, references_lead_no_walk_into_declarations) {
    a = load(
        "<!DOCTYPE r [<!ENTITY e 'x<k>y</k>z'><!ENTITY f 'F'>]><r i='1&f;2'>&e;<s>&f;</s></r>");
    b = load("<q/>");
    const Handle declared = first_child(find(a, "/r"));
    EXPECT_EQ(get("xmlDOMNodeGetType", first_child(declared)), 6U)
        << "a reference leads to its declaration";
    EXPECT_EQ(value(find(a, "/r/@i")), "1F2");
    // Neither do expressions go through the reference into the DTD, and from there round and round.
    const Handle comment = add(1, declared, create(a, XML_COMMENT_NODE, "c"));
    EXPECT_EQ(select(comment, "following::s|following::none").size(), 1U);
    EXPECT_EQ(select(find(a, "/r/s"), "preceding::comment()|preceding::none").size(), 1U);
    free_node(unlink(comment));
    for (const char* none : {"descendant::node()", "child::node()", ".//*"})
        EXPECT_EQ(select(declared, none).size(), 0U) << none;
    EXPECT_EQ(get("xmlDOMNodeGetType", first_child(declared)), 6U);
    const Handle copy = clone(find(a, "/r"));
    EXPECT_EQ(append(find(b, "/q"), unlink(declared)), declared);
    append(find(b, "/q"), find(a, "//s"));
    append(find(b, "/q"), copy);
    free(a);
    EXPECT_EQ(xml(b), "<q>&e;<s>&f;</s><r i=\"1&f;2\">&e;<s>&f;</s></r></q>");

    // It has let go of its declaration, so it takes children, which the document frees in the end.
    const Handle element = create_ns(b, XML_ELEMENT_NODE, "p:in", "urn:p");
    set_attribute_ns(element, with_text(create_ns(b, XML_ATTRIBUTE_NODE, "o:at", "urn:o"), "v"));
    EXPECT_EQ(append(declared, element), element);
    const char* const text = "<p:in xmlns:p=\"urn:p\" xmlns:o=\"urn:o\" o:at=\"v\"/>";
    EXPECT_EQ(xml(element), text);
    const Handle c = new_document();
    append(c, find(b, "/q"));
    EXPECT_EQ(xml(element), text);

    // In an attribute a reference stays empty: elements in attributes could even be their own parents.
    const Handle attr = create(c, XML_ATTRIBUTE_NODE, "loop");
    const Handle reference = create(c, XML_ENTITY_REF_NODE, "ref");
    const Handle owner = create(c, XML_ELEMENT_NODE, "owner");
    const Handle full = create(c, XML_ENTITY_REF_NODE, "full");
    append(full, create(c, XML_ELEMENT_NODE, "e"));
    set_attribute(owner, attr);
    EXPECT_EQ(append(attr, reference), reference);
    for (const Handle below : {owner, full, find(c, "/q/r/s")})
        EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, reference, below));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, attr, full));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeReplaceNode", reference, full));
    EXPECT_EQ(xml(owner), "<owner loop=\"&ref;\"/>");
    free_node(owner);
    free_node(full);
}

TEST_F(Tree, what_an_entity_was_parsed_into_is_a_part_of_its_document) {
    a = load("<!DOCTYPE r [<!ENTITY e '<k xml:id=\"i\"><l/></k>t'>]><r>&e;</r>");
    b = load("<q/>");
    const std::vector<Handle> parts = select(entity(a), "descendant::*");
    ASSERT_EQ(parts.size(), 2U);
    const ObjectHandle holder = host.create().object(), other = host.create().object();
    host.call_method(holder, "addInternal", {parts[1]});
    host.call_method(other, "addInternal", {entity(a)});
    set_attribute(parts[0], create_ns(a, XML_ATTRIBUTE_NODE, "p:x", "urn:p"));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", parts[0]));
    EXPECT_EQ(by_id(a, "i"), "k ");
    append(find(b, "/q"), clone(parts[0]));
    unlink(parts[0]);
    EXPECT_EQ(by_id(a, "i"), "");
    free(a);
    EXPECT_EQ(xml(parts[0]), "<k xml:id=\"i\" p:x=\"\"><l/></k>");
    free_node(parts[0]);
    EXPECT_EQ(xml(b), "<q><k xmlns:p=\"urn:p\" xml:id=\"i\" p:x=\"\"><l/></k></q>");
    EXPECT_EQ(by_id(b, "i"), "k ");
}

TEST_F(Tree, dtds_belong_to_one_document) {
    const TempFile subset("e.dtd", "<!ATTLIST r d CDATA 'default'><!--in it-->");
    const TempFile file("e.xml", "<!DOCTYPE r SYSTEM '" + subset.path() + "'><r/>");
    xmlInitParser();  // the thread's settings are others before
    const int before = xmlLoadExtDtdDefaultValue;
    xmlLoadExtDtdDefaultValue = 1;
    a = keep(get("xmlDOMDocLoadXMLFile", file.path(), 1));
    xmlLoadExtDtdDefaultValue = before;
    b = new_document();
    const Handle declaration = attribute(find(a, "/r"), "d");
    ASSERT_FALSE(call("xmlDOMAttrGetSpecified", declaration).boolean());
    const Handle comment = find(declaration, "following::comment()");
    const Handle external = parent(comment);
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", external));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, b, external));
    std::vector<ObjectHandle> holders;
    for (const Handle part : {declaration, comment, external}) {
        holders.push_back(host.create().object());
        host.call_method(holders.back(), "addInternal", {part});
    }
    free(a);
    holders.clear();

    const Handle dtd = get("xmlDOMDocCreateDoctype", "one");
    EXPECT_EQ(append(b, dtd), dtd);
    const Handle second = get("xmlDOMDocCreateDoctype", "two");
    EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, b, second));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", dtd));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeCloneNode", dtd, 1));
    const Handle copy = keep(clone(b));
    EXPECT_EQ(xml(copy), "<!DOCTYPE one>");
    free_node(second);
}

TEST_F(Tree, nodes_outlive_the_document_they_were_made_for) {
    for (const char* owner : {"gone before use", "gone after linking", "no document", "a clone"}) {
        SCOPED_TRACE(owner);
        const bool gone = std::string_view(owner).starts_with("gone");
        const Handle stranger = create(new_document(), XML_ELEMENT_NODE, "stranger");
        a = gone            ? get("xmlDOMDocCreateDoc", "1.0")
            : *owner == 'n' ? stranger
                            : clone(new_document());
        // The checked library makes no node for a document that is gone.
        const Handle late_owner = gone && is_checked() ? stranger : a;
        std::vector<Handle> nodes;
        for (const std::uint32_t type : kTypes) nodes.push_back(create(a, type, "n"));
        nodes.push_back(create_ns(a, XML_ELEMENT_NODE, "p:e", "urn:p"));
        nodes.push_back(create_ns(a, XML_ATTRIBUTE_NODE, "p:a", "urn:p"));
        const Handle element = nodes[0], attr = nodes[1], text = nodes[2], fragment = nodes[7];
        for (const Handle node : nodes) EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), a);
        if (std::string_view(owner) == "gone before use") get("xmlDOMDocFreeDoc", a);

        for (const Handle node : nodes) {
            for (const char* query : {"/", "//*|//@*", "id('n')", "string(.)", "lang('en')",
                                      "ancestor::*|preceding::*|following::*", "name(..)"})
                call("xmlDOMNodeSelectNodes", node, query);
            xml(node);
            for (const char* function :
                 {"xmlDOMNodeGetValue", "xmlDOMAttrIsId", "xmlDOMTextGetLength"})
                call(function, node);
            call("xmlDOMElementGetAttribute", node, "n");
            call("xmlDOMElementGetAttributeNS", node, "a", "urn:p");
            call("xmlDOMNodeSetValue", node, "m");
            if (const Handle copy = clone(node)) free_node(copy);
        }
        append(fragment, element);
        append(element, text);
        set_attribute(element, attr);
        set_attribute_ns(nodes[8], nodes[9]);
        append(element, nodes[8]);
        append(attr, nodes[4]);
        for (const std::size_t i : {3U, 5U, 6U}) add(2, text, nodes[i]);
        const Handle last = append(element, create(late_owner, XML_TEXT_NODE, "x"));
        EXPECT_EQ(next(nodes[8]), last);
        if (std::string_view(owner) == "gone after linking") get("xmlDOMDocFreeDoc", a);

        const char* const expected =
            "<n n=\"&n;\">m<!--m--><?n m?><![CDATA[m]]><p:e p:a=\"\"/>x</n>";
        EXPECT_EQ(xml(fragment), expected);
        EXPECT_EQ(select(text, "..//node()").size(), 6U);
        EXPECT_EQ(select(text, "ancestor::*|preceding::*|following::*").size(), 2U);
        EXPECT_EQ(select(text, "../@*/preceding::*|../@*/ancestor::*").size(), 1U);
        EXPECT_EQ(get("xmlDOMNodeReplaceNode", nodes[3], create(late_owner, XML_TEXT_NODE, "y")),
                  nodes[3]);
        free_node(nodes[3]);
        append(root(load("<r/>")), unlink(element));
        EXPECT_EQ(xml(element),
                  "<n n=\"&n;\">m<!--m--><?n m?>y"
                  "<p:e xmlns:p=\"urn:p\" p:a=\"\"/>x</n>");
        free_node(fragment);
        if (*owner == 'a') get("xmlDOMDocFreeDoc", a);
        free_node(stranger);
    }
}

// ---- Scale ----------------------------------------------------------------------------------------

class Scale : public TreeTest {
protected:
    const int count = under_valgrind() ? 2000 : 1000000;

    /// A call without a look-up by name.
    class Function {
    public:
        Function(Host& host, const char* name) : host_(host), function_(*host.find(name)) {}
        template <typename... T>
        Handle operator()(const T&... args) const {
            const Argument list[] = {Argument(args)...};
            return host_.call(function_, list).handle();
        }

    private:
        Host& host_;
        const valtrosse::host::Function& function_;
    };
    Function create_node{host, "xmlDOMDocCreateNode"};
    Function create_node_ns{host, "xmlDOMDocCreateNodeNS"};
    Function add_child{host, "xmlDOMNodeAddChild"};
};

TEST_F(Scale, trees_as_deep_as_memory) {
    const Handle doc = new_document(), other = new_document();
    Handle top = create(doc, XML_TEXT_NODE, "leaf");
    for (int i = 0; i < count; ++i) {
        const bool prefixed = i % 1000 == 0;
        const Handle above =
            prefixed ? create_node_ns(doc, 1, u"p:e", u"urn:p") : create_node(doc, 1, u"e");
        add_child(0, above, top);
        top = above;
    }
    append(doc, top);
    EXPECT_EQ(select(doc, "//p:e").size(), static_cast<std::size_t>(count / 1000));
    const TempFile file;
    EXPECT_FALSE(call("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "UTF-8", 0).no_value());
    EXPECT_GT(file.content().size(), 7U * static_cast<std::size_t>(count));
    EXPECT_NE(file.content().find(">leaf<"), std::string::npos);

    const Handle copy = clone(top);
    append(create(other, XML_ELEMENT_NODE, "above"), copy);
    append(other, parent(copy));
    const Handle below = first_child(top);
    EXPECT_EQ(unlink(below), below);
    EXPECT_EQ(add(1, copy, below), below);
    EXPECT_EQ(unlink(copy), copy);
    const Handle copied_document = clone(other);
    const Handle imported = get("xmlDOMNodeImportNode", below, 1, doc);
    free_node(copy);
    free_node(imported);
    get("xmlDOMDocFreeDoc", copied_document);
    EXPECT_EQ(xml(top), count % 1000 == 1 ? "<p:e xmlns:p=\"urn:p\"/>" : "<e/>");
}

TEST_F(Scale, a_million_siblings) {
    const Handle doc = new_document(), top = create(doc, XML_ELEMENT_NODE, "e");
    append(doc, top);
    const Handle text = append(top, create(doc, XML_TEXT_NODE, "text"));
    for (int i = 0; i < count; ++i) add_child(0, top, create_node(doc, 4, u"ab"));
    const auto length = 4 + 2 * static_cast<std::uint32_t>(count);
    EXPECT_EQ(call("xmlDOMNodeGetValue", text).text().size(), length);
    EXPECT_EQ(get("xmlDOMTextGetLength", text), length);
    const TempFile file;
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, file.path()), doc);
    EXPECT_GT(file.content().size(), 14U * static_cast<std::size_t>(count));
    free_node(clone(top));
}

TEST_F(Scale, the_cost_of_a_node_does_not_grow_with_the_tree) {
    if (under_valgrind()) GTEST_SKIP() << "a matter of time";
    // 1000 elements with their share of leaves each, linked in either order.
    const auto cost_per_node = [&](bool leaves_up, int nodes) {
        const Handle doc = new_document(), top = create(doc, XML_ELEMENT_NODE, "e");
        append(doc, top);
        const double time = seconds([&] {
            for (int branch = 0; branch < 100; ++branch) {
                const Handle element = create_node(doc, 1, u"branch");
                if (!leaves_up) add_child(0, top, element);
                for (int i = 0; i < nodes / 100; ++i) {
                    const Handle leaf = create_node_ns(doc, 1, u"p:leaf", u"urn:p");
                    add_child(0, element, leaf);
                }
                if (leaves_up) add_child(0, top, element);
            }
        });
        free(doc);
        return time / nodes;
    };
    for (const bool leaves_up : {false, true}) {
        cost_per_node(leaves_up, 10000);
        EXPECT_LT(cost_per_node(leaves_up, count), 8 * cost_per_node(leaves_up, 50000))
            << leaves_up;
    }
}

}  // namespace
}  // namespace valtrosse::host
