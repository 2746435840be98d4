// Who frees what: trees and documents that end in every order, IDs that follow their attributes,
// records that only their nodes know, and trees that LIBXMLLife objects hold.
#include <libxml/tree.h>
// libxml2's dict.h needs what tree.h declares.
#include <libxml/dict.h>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using Nodes = std::vector<Handle>;

class Lifetime : public TreeTest {
protected:
    /// All that a script can ask of a tree, in one text.
    std::string describe(Handle node) {
        std::string text = xml(node) + name(node) + value(node);
        for (const Handle part : select(node, "descendant-or-self::node()|.//@*"))
            text += name(part) + this->text("xmlDOMNodeGetPropertyNS", part, 1);
        for (const char* function : {"xmlDOMAttrIsId", "xmlDOMTextGetLength"}) call(function, node);
        const Handle copy = clone(node);
        text += xml(copy);
        free_node(copy);
        return text;
    }

    /// Loads A and B, makes the change, which gives what is the script's then, and frees that and the
    /// documents: again and again, in every order. What is not yet freed stays as it was.
    template <typename Change>
    void end_in_every_order(const char* what, Change change) {
        std::vector<std::size_t> order;
        do {
            a = get("xmlDOMDocLoadXMLString", source_a, 1);
            b = get("xmlDOMDocLoadXMLString", source_b, 1);
            r = root(a), w = root(b), m = first_child(r), y = first_child(w);
            Nodes trees = change();
            trees.insert(trees.end(), {a, b});
            for (std::size_t i = order.size(); i < trees.size(); ++i) order.push_back(i);
            std::vector<std::string> before;
            for (const Handle tree : trees) before.push_back(describe(tree));
            for (std::size_t i = 0; i < order.size(); ++i) {
                free_node(trees[order[i]]);
                for (std::size_t j = i + 1; j < order.size(); ++j)
                    EXPECT_EQ(describe(trees[order[j]]), before[order[j]]) << what;
            }
        } while (std::next_permutation(order.begin(), order.end()) && !HasFailure());
    }

    static constexpr const char* source_a =
        "<!DOCTYPE r [<!ATTLIST p:m i ID #IMPLIED ref IDREF #IMPLIED><!ENTITY e 'x<g/>'>"
        "<!ENTITY v 'val'>]><r xmlns:p='urn:p' xmlns='urn:d' xml:id='top'>"
        "<p:m i='one' p:q='&v;x' xml:lang='en'>t&e;<p:k a='1' ref='one'/><![CDATA[c]]><!--n-->"
        "<?pi d?></p:m><p:m i='two'/>s</r>";
    static constexpr const char* source_b =
        "<!DOCTYPE w [<!ATTLIST m i ID #IMPLIED>]><w xmlns:p='urn:other'><y i='b'/>u</w>";
    Handle a = 0, b = 0, r = 0, w = 0, m = 0, y = 0;
};

TEST_F(Lifetime, documents_and_detached_nodes_end_in_any_order) {
    end_in_every_order("unlinked", [&] {
        return Nodes{unlink(m), unlink(find(m, "comment()")), unlink(first_child(m))};
    });
    end_in_every_order("moved, and there and back", [&] {
        append(w, m);
        append(r, m);
        append(r, y);
        append(w, first_child(r));
        return Nodes{};
    });
    end_in_every_order("through a detached parent", [&] {
        const Handle parent = create_ns(b, XML_ELEMENT_NODE, "p:z", "urn:z");
        append(parent, m);
        append(parent, create(a, XML_TEXT_NODE, "made for A"));
        append(w, parent);
        return Nodes{unlink(m)};
    });
    end_in_every_order("replaced", [&] {
        const Handle old = get("xmlDOMNodeReplaceNode", y, m);
        return Nodes{old, get("xmlDOMNodeReplaceNode", first_child(m), unlink(next(m)))};
    });
    end_in_every_order("cloned", [&] {
        const Handle c = clone(a);
        append(root(c), m);
        append(w, first_child(root(c)));
        return Nodes{c, unlink(first_child(root(c))), clone(attribute(m, "q"))};
    });
    end_in_every_order("attributes", [&] {
        const Handle i = remove_attribute(unlink(m), attribute(m, "i"));
        set_attribute(m, with_text(create_ns(a, XML_ATTRIBUTE_NODE, "n:a", "urn:n"), "v"));
        const Handle q = with_text(create_ns(b, XML_ATTRIBUTE_NODE, "k:q", "urn:p"), "w");
        free_node(set_attribute_ns(m, q));
        return Nodes{m, i, set_attribute(y, create(b, XML_ATTRIBUTE_NODE, "i"))};
    });
    end_in_every_order("references", [&] {
        const Handle e = unlink(next(first_child(m)));
        append(e, unlink(find(m, "comment()")));
        append(w, e);
        append(attribute(y, "i"), unlink(first_child(attribute(m, "q"))));
        return Nodes{create(b, XML_ENTITY_REF_NODE, "e")};
    });
}

TEST_F(Lifetime, id_follows_the_attributes) {
    a = load(
        "<!DOCTYPE r [<!ATTLIST m i ID #IMPLIED><!ENTITY e '9'>]>"
        "<r><m i='one'/><n xml:id='  two  '/><m i='twice'/><o xml:id='twice'/>&e;</r>");
    b = load("<q/>");
    r = root(a), m = first_child(r);
    const Handle n = next(m), i = attribute(m, "i");
    const auto expect = [&](const char* what, const std::string& in_a, const std::string& in_b) {
        const char* const ids = "one two new new2 twice new9";
        EXPECT_EQ(by_id(a, ids) + "| " + by_id(b, ids), in_a + "| " + in_b) << what;
    };
    expect("the parser keeps the blanks of an xml:id", "m m ", "");
    append(root(b), m);
    append(root(b), n);
    expect("an ID in A alone, and one anywhere", "m ", "n ");
    add(1, next(first_child(r)), m);
    get("xmlDOMNodeSetValue", first_child(i), "new");
    expect("moved back, with another text", "m m ", "n ");
    EXPECT_EQ(by_id(a, "new"), "m ");
    append(i, create(a, XML_TEXT_NODE, "2"));
    append(i, create(a, XML_ENTITY_REF_NODE, "e"));
    EXPECT_EQ(by_id(a, "new29"), "m ");
    const Handle text = create(a, XML_TEXT_NODE, "new");
    free_node(get("xmlDOMNodeReplaceNode", first_child(i), text));
    free_node(unlink(next(text)));
    EXPECT_EQ(by_id(a, "new"), "m ");
    free_node(set_attribute(m, with_text(create(b, XML_ATTRIBUTE_NODE, "i"), "one")));
    const char* const xml_uri = "http://www.w3.org/XML/1998/namespace";
    set_attribute_ns(m, with_text(create_ns(a, XML_ATTRIBUTE_NODE, "xml:id", xml_uri), "two"));
    expect("others set", "m m ", "n ");
    const Handle copy = keep(clone(a));
    free_node(unlink(first_child(root(copy))));
    EXPECT_EQ(by_id(copy, "one two twice"), "m o ");

    // The first holder of a value has it; when it goes, the next one has.
    const Handle first = find(a, "//m[@i='twice']"), second = find(a, "//o");
    unlink(first);
    EXPECT_EQ(by_id(a, "twice"), "o ");
    append(r, second);
    append(r, first);
    EXPECT_EQ(by_id(a, "twice"), "o ");
    EXPECT_FALSE(call("xmlDOMDocValidateDTD", a).text().empty());  // marks both as IDs
    free_node(remove_attribute(first, attribute(first, "i")));
    EXPECT_EQ(by_id(a, "twice two"), "m o ");
}

TEST_F(Lifetime, short_texts_that_the_parser_put_into_their_nodes_change_and_move) {
    const Handle doc = get("xmlDOMDocLoadXMLString", "<r><a k='v'>ab</a><b>cd</b><c>ef</c></r>", 1);
    a = first_child(root(doc)), b = next(a);
    const Handle ab = first_child(a), cd = first_child(b), ef = first_child(next(b));
    const auto text = [&](const char* content) { return create(doc, XML_TEXT_NODE, content); };
    append(a, text("0123456789"));
    add(1, ab, text("9876543210"));
    get("xmlDOMNodeSetValue", cd, "more than fits into a node");
    get("xmlDOMNodeSetValue", first_child(attribute(a, "k")), "as well more than fits");
    EXPECT_EQ(xml(root(doc)),
              "<r><a k='as well more than fits'>9876543210ab0123456789</a>"
              "<b>more than fits into a node</b><c>ef</c></r>");
    for (const Handle node : {ef, cd, a}) unlink(node);
    get("xmlDOMDocFreeDoc", doc);
    const Handle other = new_document(), fragment = create(other, XML_DOCUMENT_FRAG_NODE, "");
    append(fragment, ef);
    append(fragment, create(other, XML_TEXT_NODE, "gh"));
    EXPECT_EQ(append(fragment, cd), ef);
    EXPECT_EQ(xml(fragment) + xml(a),
              "efghmore than fits into a node"
              "<a k='as well more than fits'>9876543210ab0123456789</a>");
    free_node(fragment);
    free_node(a);
}

TEST_F(Lifetime, ids_do_not_fill_a_documents_dictionary) {
    for (const std::string parsed : {" i='first'", ""}) {
        const Handle doc = load("<!DOCTYPE r [<!ATTLIST r i ID #IMPLIED>]><r" + parsed + "/>");
        xmlDict* const dictionary = node_of(doc)->doc->dict;
        EXPECT_EQ(xmlDictExists(dictionary, BAD_CAST "first", -1), nullptr);
        const int names = xmlDictSize(dictionary);
        const Handle id = with_text(create(doc, XML_ATTRIBUTE_NODE, "i"), "made");
        if (const Handle old = set_attribute(root(doc), id); old != id) free_node(old);
        for (int i = 0; i < 100; ++i) {
            get("xmlDOMNodeSetValue", first_child(id), "id" + std::to_string(i));
            call("xmlDOMDocValidateDTD", doc);
        }
        EXPECT_EQ(by_id(doc, "first id0 id98 id99"), "r ");
        EXPECT_EQ(xmlDictSize(dictionary), names);
    }
}

TEST_F(Lifetime, what_leaves_an_external_subset_owns_what_it_points_at) {
    const TempFile dtd("e.dtd",
                       "<?p d?><!ENTITY e '<p:e xmlns:p=\"u\" x=\"1\"><p:f><?q?></p:f></p:e>'>");
    const ParserDefaults defaults;
    xmlLoadExtDtdDefaultValue = 1;
    const Handle doc =
        get("xmlDOMDocLoadXMLString", "<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r>&e;</r>", 1);
    xmlDtd* const subset = reinterpret_cast<xmlDoc*>(node_of(doc))->extSubset;
    const Handle pi = handle_of(subset->children);
    const Handle entity = handle_of(subset->last);
    const std::vector<Handle> below = select(entity, "descendant::node()");
    ASSERT_EQ(below.size(), 3U);
    const Handle e = below[0], f = below[1], x = attribute(e, "x");
    EXPECT_EQ(set_attribute(e, create(doc, XML_ATTRIBUTE_NODE, "x")), x);
    append(e, create_ns(doc, XML_ELEMENT_NODE, "o:n", "v"));
    append(unlink(f), pi);
    get("xmlDOMDocFreeDoc", doc);
    EXPECT_EQ(xml(f) + name(f) + text("xmlDOMNodeGetPropertyNS", f, 1) + name(x),
              "<p:f><?q?><?p d?></p:f>p:fux");
    free_node(f);
    free_node(x);
}

// ---- LIBXMLLife -----------------------------------------------------------------------------------

class Life : public TreeTest {};

TEST_F(Life, methods_give_their_object_and_their_status) {
    ObjectHandle life = host.create().object();
    const Handle first = create(new_document(), XML_ELEMENT_NODE, "first"), second = clone(first);
    const std::pair<std::vector<Argument>, vt_status> adds[] = {
        {{first}, 0},   {{}, 41},      {{0}, 30},    {{nullptr}, 30},
        {{"tree"}, 30}, {{second}, 0}, {{second}, 0}};
    for (const auto& [args, status] : adds) {
        const Outcome outcome = host.call_method(life, "addInternal", args);
        EXPECT_EQ(outcome.status(), status);
        EXPECT_EQ(outcome.no_value() ? nullptr : outcome.object().get(),
                  args.empty() ? nullptr : life.get());
    }
    // Chained, as scripts write it.
    ObjectHandle same = host.call_method(life, "removeInternal").object();
    life = host.call_method(same, "addInternal", {second}).object();
    EXPECT_EQ(host.call_method(life, "new").status(), 16U);
    for (const char* function : {"TOVIK_GetLIBXMLLifeObjValue", "TOVIK_SetLIBXMLLifeObjValue"})
        EXPECT_EQ(host.symbol_as<vt_status (*)()>(function)(), 31U);
    life = same = {};
    free_node(first);  // let go of unfreed when the second came
    EXPECT_EQ(host.counters().live_objects, 0U);
}

TEST_F(Life, holds_whatever_can_be_freed) {
    const Handle doc = load(
        "<!DOCTYPE r [<!NOTATION n SYSTEM 'n'><!NOTATION o SYSTEM 'o'><!ENTITY e 'x'>]>"
        "<r a='1'>t</r>");
    get("xmlDOMDocSetLastMsg", doc, "a message to go with it");
    const Handle text = find(doc, "//text()"), r = root(doc), a = attribute(r, "a");
    const Handle merged = create(doc, XML_TEXT_NODE, "u");
    std::vector<ObjectHandle> objects;
    for (const Handle tree : {get("xmlDOMDocGetNotations", doc), get("xmlDOMDocCreateDoctype", "d"),
                              create_ns(doc, XML_ATTRIBUTE_NODE, "p:a", "urn:p"), clone(doc),
                              create(doc, XML_DOCUMENT_FRAG_NODE, ""), entity(doc), merged,
                              unlink(text), remove_attribute(r, a), a})
        objects.push_back(holding(tree));
    append(r, text);
    EXPECT_EQ(append(r, merged), text);
    const ObjectHandle first = holding(doc), second = holding(doc);
    objects.clear();
    EXPECT_EQ(xml(r), "<r>tu</r>");
    free(doc);
}

TEST_F(Life, private_data_may_move_and_addresses_come_again) {
    host.faults().move_data = 1;
    const Handle doc = new_document(), gone = create(doc, XML_ELEMENT_NODE, "gone");
    ObjectHandle stale = holding(gone);
    free_node(gone);
    // Where the allocator puts it: at the address that `stale` still knows.
    const Handle tree = create(doc, XML_ELEMENT_NODE, "tree");
    ObjectHandle holder = holding(tree), second = holding(tree);
    stale = {};
    EXPECT_EQ(name(tree), "tree");
    host.call_method(second, "removeInternal");
    second = {};
    EXPECT_EQ(name(tree), "tree");
    holder = {};
}

TEST_F(Life, ends_with_the_host_and_survives_failures) {
    const Handle kept = create(new_document(), XML_ELEMENT_NODE, "kept");
    ObjectHandle survivor;  // outlives the host
    Host other(plugin_path());
    survivor = other.create().object();
    other.call_method(survivor, "addInternal", {kept});
    other.call_method(other.create().object(), "addInternal", {clone(kept)});
    other.faults() = {.no_lookup = true};
    EXPECT_NE(other.create().status(), 0U);
    other.faults() = {.bind = 9};
    EXPECT_EQ(other.call_method(survivor, "addInternal", {kept}).status(), 9U);
    other.faults() = {.read = 9};
    EXPECT_NE(other.call_method(survivor, "addInternal", {kept}).status(), 0U);
    EXPECT_EQ(name(kept), "kept");
}

}  // namespace
}  // namespace valtrosse::host
