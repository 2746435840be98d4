// The shape of trees: what refused calls leave behind, references, DTDs, nodes whose document is gone,
// and trees of a million nodes.
#include <libxml/parser.h>

#include <sstream>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Tree : public TreeTest {
protected:
    /// A node named as the tests do: A or B and an XPath expression, or DTD or ENTITY for those of the
    /// document.
    Handle named(const std::string& text) {
        const Handle doc = text[0] == 'A' ? a : b;
        const std::string expression = text.substr(1);
        if (expression == "/.") return doc;
        if (expression == "DTD") return first_child(doc);
        return expression == "ENTITY" ? entity(doc) : find(doc, expression);
    }
    /// Makes the change "0 NODE NEWNODE" (a position of xmlDOMNodeAddChild), "replace NODE NEWNODE",
    /// "unlink NODE" or "free NODE". Gives 0 for no value.
    Handle change(const std::string& text) {
        std::istringstream words(text);
        std::string how, node, newnode;
        words >> how >> node >> newnode;
        if (how == "unlink") return unlink(named(node));
        if (how == "free") return !gives_no_value("xmlDOMNodeFreeNode", named(node));
        if (how == "replace") return get("xmlDOMNodeReplaceNode", named(node), named(newnode));
        return add(static_cast<std::uint32_t>(how[0] - '0'), named(node), named(newnode));
    }

    Handle a = 0, b = 0;
};

TEST_F(Tree, what_is_refused_changes_nothing) {
    a = load(
        "<!DOCTYPE r [<!--in the DTD--><!ENTITY e 'x<k/>y'>]>"
        "<r i='1'><s><t>one</t></s>&e;two<!--c--></r><!--last-->");
    b = load("<!DOCTYPE q><q j='2'>three<?pi p?></q>");
    const std::string before = xml(a) + xml(b);
    for (const char* const refused :
         {// no such position, cycles, a second root, DTDs that stay
          "3 A/r B//text()", "0 A/r A/r", "0 A//t A//s", "0 A//t A/r", "1 A//t A//s",
          "2 A//t/text() A//t", "0 A/. B/q", "2 A/comment() B/q", "0 A/. BDTD", "0 A/r BDTD",
          // parents that do not take this
          "0 A/. B//text()", "1 A/r B//text()", "1 A/. B//text()", "0 A//t/text() B//text()",
          "1 A/r/@i B//text()", "2 A/r/@i B//text()", "0 A/r B/q/@j", "1 A//s B/q/@j", "0 A/r B/.",
          "0 ADTD B//processing-instruction()", "0 AENTITY B//text()", "0 A/r AENTITY",
          "1 AENTITY B//text()", "0 A/r/node()[2] B//text()",
          // and what stays where it is
          "replace A/r B//processing-instruction()", "replace A//s A//s", "replace A//t A//s",
          "replace A/. B/q", "replace A/comment() B/q", "replace A/r/@i B//text()",
          "replace A//s B/q/@j", "replace ADTD B//processing-instruction()",
          "replace AENTITY B//processing-instruction()", "unlink A/r", "unlink A/.", "unlink ADTD",
          "unlink AENTITY", "free AENTITY", "free ADTD", "free A//s", "free A/r/@i"}) {
        EXPECT_EQ(change(refused), 0U) << refused;
        EXPECT_EQ(xml(a) + xml(b), before) << refused;
    }
    const auto is_valid = host.symbol_as<int (*)(const void*, const void*)>("_x_isValidChild");
    EXPECT_EQ(is_valid(nullptr, node_of(a)) + is_valid(node_of(a), nullptr), 0);
    EXPECT_EQ(host.symbol_as<int (*)(const void*)>("_x_isWriteNode")(nullptr), 0);

    // A comment of the DTD is no declaration: it may leave.
    const Handle comment = first_child(first_child(a));
    EXPECT_EQ(unlink(comment), 0U);
    EXPECT_EQ(append(find(a, "//s"), comment), comment);
    EXPECT_EQ(xml(find(a, "//s")), "<s><t>one</t><!--in the DTD--></s>");
}

TEST_F(Tree, references_lead_no_walk_into_declarations) {
    a = load(
        "<!DOCTYPE r [<!ENTITY e 'x<k>y</k>z'><!ENTITY f 'F'>]><r i='1&f;2'>&e;<s>&f;</s></r>");
    b = load("<q/>");
    const Handle declared = first_child(find(a, "/r"));
    EXPECT_EQ(get("xmlDOMNodeGetType", first_child(declared)), 6U);
    EXPECT_EQ(value(find(a, "/r/@i")), "1F2");
    // Expressions do not go through the reference into the DTD, and from there round and round.
    const Handle comment = add(1, declared, create(a, XML_COMMENT_NODE, "c"));
    EXPECT_EQ(select(comment, "following::s|following::none").size(), 1U);
    EXPECT_EQ(select(find(a, "/r/s"), "preceding::comment()|preceding::none").size(), 1U);
    free_node(unlink(comment));
    for (const char* none : {"descendant::node()", "child::node()", ".//*"})
        EXPECT_EQ(select(declared, none).size(), 0U) << none;
    // A reference that a script made has a declaration even where there is no DTD.
    const Handle top = create(b, XML_ELEMENT_NODE, "top");
    for (const Handle parent : {find(b, "/q"), top}) {
        const Handle first = append(parent, create(b, XML_COMMENT_NODE, "1"));
        append(parent, create(b, XML_ENTITY_REF_NODE, "lt"));
        const Handle last = append(parent, create(b, XML_COMMENT_NODE, "2"));
        EXPECT_EQ(select(first, "following::comment()"), std::vector{last});
        EXPECT_EQ(select(last, "preceding::comment()"), std::vector{first});
        while (const Handle child = first_child(parent)) free_node(unlink(child));
    }
    free_node(top);
    EXPECT_EQ(get("xmlDOMNodeGetType", first_child(declared)), 6U);
    const Handle copy = clone(find(a, "/r"));
    for (const Handle node : {unlink(declared), find(a, "//s"), copy})
        EXPECT_EQ(append(find(b, "/q"), node), node);
    free(a);
    EXPECT_EQ(xml(b), "<q>&e;<s>&f;</s><r i='1&f;2'>&e;<s>&f;</s></r></q>");

    // It has let go of its declaration, so it takes children, which the document frees in the end.
    const Handle element = create_ns(b, XML_ELEMENT_NODE, "p:in", "urn:p");
    set_attribute_ns(element, with_text(create_ns(b, XML_ATTRIBUTE_NODE, "o:at", "urn:o"), "v"));
    EXPECT_EQ(append(declared, element), element);
    append(new_document(), find(b, "/q"));
    EXPECT_EQ(xml(element), "<p:in xmlns:p='urn:p' xmlns:o='urn:o' o:at='v'/>");
}

TEST_F(Tree, references_keep_their_text_outside_of_documents) {
    a = load("<!DOCTYPE r [<!ENTITY e 'ENT'>]><r i='1&e;2'>x&e;y<s>&e;</s></r>");
    b = load("<!DOCTYPE q [<!ENTITY e 'other'>]><q>&e;</q>");
    const Handle r = root(a), s = find(r, "s"), i = attribute(r, "i");
    const Handle reference = create(a, XML_ENTITY_REF_NODE, "e");
    append(s, reference);
    add(1, reference, create(a, XML_TEXT_NODE, "z"));
    add(1, find(r, "text()[1]"), s);  // a move inside of the document
    remove_attribute(r, i);
    EXPECT_EQ(value(i), "1ENT2");
    unlink(s);
    EXPECT_EQ(value(find(s, "text()")), "zENT");
    // As text of a document they are what that one declares; what declares none leaves them theirs.
    append(root(b), s);
    EXPECT_EQ(value(find(b, "//s/text()")), "zother");
    unlink(s);
    append(new_document(), s);
    EXPECT_EQ(value(find(s, "text()")), "zENT");
    EXPECT_EQ(xml(s), "<s>&e;z&e;</s>");
    free_node(i);
}

TEST_F(Tree, what_an_entity_was_parsed_into_is_a_part_of_its_document) {
    a = load("<!DOCTYPE r [<!ENTITY e '<k xml:id=\"i\"><l/></k>t'>]><r>&e;</r>");
    b = load("<q/>");
    const std::vector<Handle> parts = select(entity(a), "descendant::*");
    ASSERT_EQ(parts.size(), 2U);
    const ObjectHandle holder = holding(parts[1]), other = holding(entity(a));
    set_attribute(parts[0], create_ns(a, XML_ATTRIBUTE_NODE, "p:x", "urn:p"));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", parts[0]));
    EXPECT_EQ(by_id(a, "i"), "k ");
    append(find(b, "/q"), clone(parts[0]));
    unlink(parts[0]);
    EXPECT_EQ(by_id(a, "i"), "");
    free(a);
    EXPECT_EQ(xml(parts[0]), "<k xml:id='i' p:x=''><l/></k>");
    free_node(parts[0]);
    EXPECT_EQ(xml(b), "<q><k xmlns:p='urn:p' xml:id='i' p:x=''><l/></k></q>");
    EXPECT_EQ(by_id(b, "i"), "k ");
}

TEST_F(Tree, an_external_subset_belongs_to_its_document) {
    const TempFile subset("e.dtd", "<!ATTLIST r d CDATA 'default'><!--in it-->");
    const TempFile file("e.xml", "<!DOCTYPE r SYSTEM '" + subset.path() + "'><r/>");
    xmlInitParser();  // the thread's settings are others before
    const int before = xmlLoadExtDtdDefaultValue;
    xmlLoadExtDtdDefaultValue = 1;
    a = keep(get("xmlDOMDocLoadXMLFile", file.path(), 1));
    xmlLoadExtDtdDefaultValue = before;
    const Handle declaration = attribute(find(a, "/r"), "d");
    ASSERT_FALSE(call("xmlDOMAttrGetSpecified", declaration).boolean());
    const Handle comment = find(declaration, "following::comment()"), external = parent(comment);
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", external));
    EXPECT_EQ(append(new_document(), external), 0U);
    std::vector<ObjectHandle> holders = {holding(declaration), holding(comment), holding(external)};
    free(a);
    holders.clear();
}

TEST_F(Tree, nodes_outlive_the_document_they_were_made_for) {
    for (const std::string owner : {"gone at once", "gone later", "no document", "a clone"}) {
        SCOPED_TRACE(owner);
        const bool gone = owner.starts_with("gone");
        const Handle stranger = create(new_document(), XML_ELEMENT_NODE, "stranger");
        a = owner == "no document" ? stranger
            : owner == "a clone"   ? clone(new_document())
                                   : get("xmlDOMDocCreateDoc", "1.0");
        std::vector<Handle> nodes;
        for (const unsigned type : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 11U})
            nodes.push_back(create(a, type, "n"));
        nodes.push_back(create_ns(a, XML_ELEMENT_NODE, "p:e", "urn:p"));
        nodes.push_back(create_ns(a, XML_ATTRIBUTE_NODE, "p:a", "urn:p"));
        const Handle element = nodes[0], attr = nodes[1], text = nodes[2], fragment = nodes[7];
        // Where handles are slots, only a document has one to be told.
        const Handle told = owner == "no document" && is_checked() ? 0 : a;
        for (const Handle node : nodes) EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), told);
        if (owner == "gone at once") get("xmlDOMDocFreeDoc", a);

        for (const Handle node : nodes) {
            for (const char* query : {"/", "//*|//@*", "id('n')", "string(.)", "lang('en')",
                                      "ancestor::*|preceding::*|following::*", "name(..)"})
                call("xmlDOMNodeSelectNodes", node, query);
            xml(node);
            for (const char* f : {"xmlDOMNodeGetValue", "xmlDOMAttrIsId", "xmlDOMTextGetLength"})
                call(f, node);
            attribute(node, "n");
            call("xmlDOMElementGetAttributeNS", node, "a", "urn:p");
            call("xmlDOMNodeSetValue", node, "m");
            if (const Handle copy = clone(node)) free_node(copy);
        }
        append(append(fragment, element), text);
        set_attribute(element, attr);
        set_attribute_ns(append(element, nodes[8]), nodes[9]);
        append(attr, nodes[4]);
        for (const std::size_t i : {3U, 5U, 6U}) add(2, text, nodes[i]);
        // The checked library makes no node for a document that is gone.
        const Handle late = create(gone && is_checked() ? stranger : a, XML_TEXT_NODE, "x");
        append(element, late);
        if (owner == "gone later") get("xmlDOMDocFreeDoc", a);

        EXPECT_EQ(xml(fragment), "<n n='&n;'>m<!--m--><?n m?><![CDATA[m]]><p:e p:a=''/>x</n>");
        EXPECT_EQ(select(text, "..//node()").size(), 6U);
        EXPECT_EQ(select(text, "ancestor::*|preceding::*|following::*").size(), 2U);
        EXPECT_EQ(select(text, "../@*/preceding::*|../@*/ancestor::*").size(), 1U);
        append(root(load("<r/>")), unlink(element));
        EXPECT_EQ(xml(nodes[8]), "<p:e xmlns:p='urn:p' p:a=''/>");
        free_node(fragment);
        if (owner == "a clone") get("xmlDOMDocFreeDoc", a);
        free_node(stranger);
    }
}

// ---- Scale ----------------------------------------------------------------------------------------

class Scale : public TreeTest {
protected:
    const int count = under_valgrind() ? 2000 : 1000000;
};

TEST_F(Scale, trees_as_deep_as_memory) {
    const Handle doc = new_document(), other = new_document();
    Handle top = create(doc, XML_TEXT_NODE, "leaf");
    for (int i = 0; i < count; ++i) {
        const Handle above = i % 1000 == 0 ? create_ns(doc, XML_ELEMENT_NODE, "p:e", "urn:p")
                                           : create(doc, XML_ELEMENT_NODE, "e");
        append(above, top);
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
    keep(clone(other));
    free_node(copy);
    free_node(get("xmlDOMNodeImportNode", below, 1, doc));
    EXPECT_EQ(xml(top), "<e/>");
}

TEST_F(Scale, trees_built_downwards) {
    // A walk up for each link takes minutes at this depth; its time in a clone is the same.
    const Handle doc = keep(clone(load("<r/>")));
    Handle parent = root(doc);
    for (int i = 0; i < count; ++i) parent = append(parent, create(doc, XML_ELEMENT_NODE, "e"));
    append(parent, create(doc, XML_TEXT_NODE, "leaf"));
    EXPECT_EQ(text("xmlDOMNodeGetValue", first_child(parent)), "leaf");
}

TEST_F(Scale, a_million_siblings) {
    const Handle doc = new_document(), top = append(doc, create(doc, XML_ELEMENT_NODE, "e"));
    const Handle text = append(top, create(doc, XML_TEXT_NODE, "text"));
    for (int i = 0; i < count; ++i) append(top, create(doc, XML_CDATA_SECTION_NODE, "ab"));
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
    // 100 elements with their share of leaves each, linked in either order.
    const auto cost_per_node = [&](bool leaves_up, int nodes) {
        const Handle doc = new_document(), top = append(doc, create(doc, XML_ELEMENT_NODE, "e"));
        const double time = seconds([&] {
            for (int branch = 0; branch < 100; ++branch) {
                const Handle element = create(doc, XML_ELEMENT_NODE, "branch");
                if (!leaves_up) append(top, element);
                for (int i = 0; i < nodes / 100; ++i)
                    append(element, create_ns(doc, XML_ELEMENT_NODE, "p:leaf", "urn:p"));
                if (leaves_up) append(top, element);
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
