// Who frees what: trees and documents that end in every order, IDs that follow their attributes,
// records that only their nodes know, and trees that LIBXMLLife objects hold.
#include <libxml/tree.h>
// libxml2's dict.h needs what tree.h declares.
#include <libxml/dict.h>

#include <functional>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

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
};

TEST_F(Lifetime, documents_and_detached_nodes_end_in_any_order) {
    const char* const text_a =
        "<!DOCTYPE r [<!ATTLIST p:m i ID #IMPLIED ref IDREF #IMPLIED><!ENTITY e 'x<g/>'>"
        "<!ENTITY v 'val'>]><r xmlns:p='urn:p' xmlns='urn:d' xml:id='top'>"
        "<p:m i='one' p:q='&v;x' xml:lang='en'>t&e;<p:k a='1' ref='one'/><![CDATA[c]]><!--n-->"
        "<?pi d?></p:m><p:m i='two'/>s</r>";
    const char* const text_b =
        "<!DOCTYPE w [<!ATTLIST m i ID #IMPLIED>]><w xmlns:p='urn:other'><y i='b'/>u</w>";
    Handle a = 0, b = 0, r = 0, w = 0, m = 0, y = 0;
    using Nodes = std::vector<Handle>;
    const struct {
        const char* what;
        std::function<Nodes()> run;  // gives what is the script's then
    } scenarios[] = {
        {"unlinked",
         [&] {
             return Nodes{unlink(m), unlink(find(m, "comment()")), unlink(first_child(m))};
         }},
        {"moved",
         [&] {
             append(w, m);
             append(y, first_child(r));
             return Nodes{};
         }},
        {"moved there and back",
         [&] {
             append(w, m);
             append(r, m);
             append(r, y);
             return Nodes{};
         }},
        {"through a detached parent",
         [&] {
             const Handle parent = create_ns(b, XML_ELEMENT_NODE, "p:z", "urn:z");
             append(parent, m);
             append(parent, create(a, XML_TEXT_NODE, "made for A"));
             append(w, parent);
             return Nodes{unlink(m)};
         }},
        {"replaced",
         [&] {
             const Handle old = get("xmlDOMNodeReplaceNode", y, m);
             return Nodes{old, get("xmlDOMNodeReplaceNode", first_child(m), unlink(next(m)))};
         }},
        {"cloned",
         [&] {
             return Nodes{clone(a), clone(m), clone(find(m, "@*[name()='p:q']"))};
         }},
        {"cloned and mixed",
         [&] {
             const Handle c = clone(a);
             append(root(c), m);
             append(w, first_child(root(c)));
             return Nodes{c, unlink(first_child(root(c)))};
         }},
        {"imported",
         [&] {
             append(w, get("xmlDOMNodeImportNode", m, 1, b));
             return Nodes{get("xmlDOMNodeImportNode", m, 0, b),
                          get("xmlDOMNodeImportNode", find(m, "@i"), 1, b)};
         }},
        {"attributes",
         [&] {
             const Handle i = attribute(m, "i");
             remove_attribute(m, i);
             const Handle old = set_attribute(y, i);
             return Nodes{old, unlink(find(m, "@*[name()='xml:lang']")),
                          unlink(find(m, "@*[name()='p:q']"))};
         }},
        {"attributes of detached elements",
         [&] {
             unlink(m);
             const Handle i = attribute(m, "i");
             remove_attribute(m, i);
             set_attribute(m, with_text(create_ns(a, XML_ATTRIBUTE_NODE, "n:a", "urn:n"), "v"));
             free_node(set_attribute_ns(
                 m, with_text(create_ns(b, XML_ATTRIBUTE_NODE, "k:q", "urn:p"), "w")));
             return Nodes{m, i};
         }},
        {"private attributes",
         [&] {
             set_attribute(y, create_ns(a, XML_ATTRIBUTE_NODE, "n:a", "urn:n"));
             return Nodes{set_attribute(y, create(b, XML_ATTRIBUTE_NODE, "i")), unlink(y)};
         }},
        {"merged text",
         [&] {
             add(2, find(w, "text()"), find(r, "text()"));
             const Handle last = create(a, XML_TEXT_NODE, "v");
             append(w, last);
             return Nodes{unlink(find(w, "text()"))};
         }},
        {"references",
         [&] {
             const Handle e = unlink(next(first_child(m)));
             append(e, unlink(find(m, "comment()")));
             append(w, e);
             const Handle v = unlink(first_child(find(m, "@*[name()='p:q']")));
             append(attribute(y, "i"), v);
             return Nodes{create(b, XML_ENTITY_REF_NODE, "e")};
         }},
    };
    for (const auto& scenario : scenarios) {
        std::vector<std::size_t> order;
        do {
            a = get("xmlDOMDocLoadXMLString", text_a, 1);
            b = get("xmlDOMDocLoadXMLString", text_b, 1);
            r = root(a), w = root(b), m = first_child(r), y = first_child(w);
            Nodes trees = scenario.run();
            trees.insert(trees.end(), {a, b});
            for (std::size_t i = order.size(); i < trees.size(); ++i) order.push_back(i);
            std::vector<std::string> before;
            for (const Handle tree : trees) before.push_back(describe(tree));
            for (std::size_t i = 0; i < order.size(); ++i) {
                free_node(trees[order[i]]);
                for (std::size_t j = i + 1; j < order.size(); ++j)
                    EXPECT_EQ(describe(trees[order[j]]), before[order[j]]) << scenario.what;
            }
        } while (std::next_permutation(order.begin(), order.end()) && !HasFailure());
    }
}

TEST_F(Lifetime, id_follows_the_attributes) {
    const Handle a = load(
        "<!DOCTYPE r [<!ATTLIST m i ID #IMPLIED><!ENTITY e '9'>]>"
        "<r><m i='one'/><n xml:id='  two  '/><m i='twice'/><o xml:id='twice'/>&e;</r>");
    const Handle b = load("<q/>");
    const Handle r = root(a), m = first_child(r), n = next(m), i = attribute(m, "i");
    EXPECT_EQ(by_id(a, "one two twice"), "m m ");  // the parser keeps the blanks of an xml:id
    const auto expect = [&](const char* what, const std::string& in_a, const std::string& in_b) {
        const char* const ids = "one two new new2 twice new9";
        EXPECT_EQ(by_id(a, ids), in_a) << what;
        EXPECT_EQ(by_id(b, ids), in_b) << what;
    };
    unlink(m);
    expect("unlinked", "m ", "");
    append(root(b), m);
    expect("an ID in A alone", "m ", "");
    append(root(b), n);
    expect("an ID anywhere", "m ", "n ");
    add(1, next(first_child(r)), m);
    expect("moved back", "m m ", "n ");
    get("xmlDOMNodeSetValue", first_child(i), "new");
    expect("another text", "m m ", "n ");
    EXPECT_EQ(by_id(a, "new"), "m ");
    append(i, create(a, XML_TEXT_NODE, "2"));
    EXPECT_EQ(by_id(a, "new new2"), "m ");
    append(i, create(a, XML_ENTITY_REF_NODE, "e"));
    EXPECT_EQ(by_id(a, "new29"), "m ");
    const Handle old =
        get("xmlDOMNodeReplaceNode", first_child(i), create(a, XML_TEXT_NODE, "new"));
    free_node(unlink(next(first_child(i))));
    EXPECT_EQ(by_id(a, "new"), "m ");
    remove_attribute(m, i);
    expect("removed", "m ", "n ");
    set_attribute(m, with_text(create(b, XML_ATTRIBUTE_NODE, "i"), "one"));
    expect("set", "m m ", "n ");
    const Handle replaced = set_attribute(m, i);
    EXPECT_EQ(by_id(a, "one new"), "m ");
    const Handle lang = with_text(
        create_ns(a, XML_ATTRIBUTE_NODE, "xml:id", "http://www.w3.org/XML/1998/namespace"), "two");
    set_attribute_ns(m, lang);
    expect("set with a namespace", "m m ", "n ");
    const Handle copy = keep(clone(a));
    free_node(old);
    free_node(replaced);
    EXPECT_EQ(by_id(copy, "new two twice"), "m m ");
    free_node(unlink(first_child(root(copy))));
    EXPECT_EQ(by_id(copy, "new two twice"), "m ");

    // The first holder of a value has it; the second gets it when its turn comes to be looked at.
    const Handle first = find(a, "//m[@i='twice']"), second = find(a, "//o");
    unlink(first);
    EXPECT_EQ(by_id(a, "twice"), "");
    append(r, second);
    append(r, first);
    EXPECT_EQ(by_id(a, "twice"), "o ");
    EXPECT_FALSE(call("xmlDOMDocValidateDTD", a).text().empty());  // marks both as IDs
    free_node(remove_attribute(first, attribute(first, "i")));
    EXPECT_EQ(by_id(a, "twice two"), "m o ");
}

TEST_F(Lifetime, short_texts_that_the_parser_put_into_their_nodes_change_and_move) {
    const Handle doc = get("xmlDOMDocLoadXMLString", "<r><a k='v'>ab</a><b>cd</b><c>ef</c></r>", 1);
    const Handle a = first_child(root(doc)), b = next(a), c = next(b);
    const Handle ab = first_child(a), cd = first_child(b), ef = first_child(c);
    const auto text = [&](const char* content) { return create(doc, XML_TEXT_NODE, content); };
    append(a, text("0123456789"));
    add(1, ab, text("9876543210"));
    get("xmlDOMNodeSetValue", cd, "more than fits into a node");
    get("xmlDOMNodeSetValue", first_child(attribute(a, "k")), "as well more than fits");
    EXPECT_EQ(xml(root(doc)),
              "<r><a k=\"as well more than fits\">9876543210ab0123456789</a>"
              "<b>more than fits into a node</b><c>ef</c></r>");
    for (const Handle node : {ef, cd, a}) unlink(node);
    get("xmlDOMDocFreeDoc", doc);
    const Handle other = new_document(), fragment = create(other, XML_DOCUMENT_FRAG_NODE, "");
    append(fragment, ef);
    append(fragment, create(other, XML_TEXT_NODE, "gh"));
    EXPECT_EQ(append(fragment, cd), ef);
    EXPECT_EQ(xml(fragment) + xml(a),
              "efghmore than fits into a node"
              "<a k=\"as well more than fits\">9876543210ab0123456789</a>");
    free_node(fragment);
    free_node(a);
}

TEST_F(Lifetime, changing_ids_do_not_fill_a_documents_dictionary) {
    const Handle doc = load("<r xml:id='first'/>");
    xmlDict* const dictionary = node_of(doc)->doc->dict;
    const int names = xmlDictSize(dictionary);
    const Handle text = first_child(attribute(root(doc), "id"));
    for (int i = 0; i < 100; ++i) get("xmlDOMNodeSetValue", text, "id" + std::to_string(i));
    EXPECT_EQ(by_id(doc, "first id0 id98 id99"), "r ");
    EXPECT_EQ(xmlDictSize(dictionary), names);
}

TEST_F(Lifetime, what_leaves_an_external_subset_owns_what_it_points_at) {
    const TempFile dtd("e.dtd",
                       "<?p d?><!ENTITY e '<p:e xmlns:p=\"u\" x=\"1\"><p:f><?q?></p:f></p:e>'>");
    const ParserDefaults defaults;
    xmlLoadExtDtdDefaultValue = 1;
    const Handle doc =
        get("xmlDOMDocLoadXMLString", "<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r>&e;</r>", 1);
    xmlDtd* const subset = reinterpret_cast<xmlDoc*>(node_of(doc))->extSubset;
    const Handle pi = handle_from_outside(subset->children);
    const Handle entity = handle_from_outside(subset->last);
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

TEST_F(Lifetime, what_cannot_be_handed_over_is_freed) {
    const Handle doc = load("<r xmlns:p='urn:p'><p:e a='1' p:b='2'>t<c/></p:e></r>");
    const Handle e = first_child(root(doc)), other = new_document();
    const auto fails = [&](const char* function, std::initializer_list<Argument> args) {
        EXPECT_EQ(host.call(function, args).status(), 7U) << function;
    };
    host.faults().make = 7;
    for (const int type : {1, 2, 3, 4, 5, 7, 8, 11}) fails("xmlDOMDocCreateNode", {doc, type, "n"});
    for (const int type : {1, 2}) fails("xmlDOMDocCreateNodeNS", {doc, type, "q:n", "urn:q"});
    for (const int deep : {0, 1}) {
        for (const Handle node : {doc, e}) fails("xmlDOMNodeCloneNode", {node, deep});
        fails("xmlDOMNodeImportNode", {e, deep, other});
    }
    fails("xmlDOMDocCreateDoc", {"1.0"});
    fails("xmlDOMNodeUnlinkNode", {e});  // the change stays
    host.faults() = {};
    EXPECT_EQ(xml(doc), "<r xmlns:p=\"urn:p\"/>");
    free_node(e);
}

// ---- LIBXMLLife -----------------------------------------------------------------------------------

class Life : public TreeTest {
protected:
    ObjectHandle holding(Handle tree) {
        const ObjectHandle object = host.create().object();
        EXPECT_EQ(host.call_method(object, "addInternal", {tree}).status(), 0U);
        return object;
    }
};

TEST_F(Life, methods_give_their_object_and_their_status) {
    ObjectHandle life = host.create().object();
    const Handle first = create(new_document(), XML_ELEMENT_NODE, "first"), second = clone(first);
    const struct {
        const char* what;
        std::vector<Argument> args;
        vt_status status;
    } adds[] = {{"a tree", {first}, 0},   {"nothing", {}, 41},    {"0", {0}, 30},
                {"null", {nullptr}, 30},  {"text", {"tree"}, 30}, {"another tree", {second}, 0},
                {"it again", {second}, 0}};
    for (const auto& add : adds) {
        const Outcome outcome = host.call_method(life, "addInternal", add.args);
        EXPECT_EQ(outcome.status(), add.status) << add.what;
        EXPECT_EQ(outcome.no_value() ? nullptr : outcome.object().get(),
                  add.status == 41 ? nullptr : life.get())
            << add.what;
    }
    // Chained, as scripts write it.
    life =
        host.call_method(host.call_method(life, "removeInternal").object(), "addInternal", {second})
            .object();
    EXPECT_EQ(host.call_method(life, "new").status(), 16U);
    EXPECT_EQ(host.symbol_as<vt_status (*)()>("TOVIK_GetLIBXMLLifeObjValue")(), 31U);
    EXPECT_EQ(host.symbol_as<vt_status (*)()>("TOVIK_SetLIBXMLLifeObjValue")(), 31U);
    life = {};
    free_node(first);  // let go of unfreed when the second came
    EXPECT_EQ(host.counters().live_objects, 0U);
}

TEST_F(Life, a_tree_ends_once) {
    // What a script does with a held tree before the objects go: nothing may be freed twice or leak.
    const Handle doc = load("<r>t<e xmlns:p='urn:p' p:a='1'><f/></e></r>");
    const Handle e = find(doc, "//e"), f = first_child(e), r = root(doc);
    Handle tree = 0;
    const struct {
        const char* what;
        std::function<void()> run;
    } ends[] = {
        {"nothing", [] {}},
        {"freed by hand", [&] { free_node(tree); }},
        {"freed with a bigger tree",
         [&] {
             const Handle bigger = create(doc, XML_ELEMENT_NODE, "bigger");
             append(bigger, tree);
             free_node(bigger);
         }},
        {"under a detached node", [&] { append(create(doc, XML_ELEMENT_NODE, "x"), tree); }},
        {"linked into a document", [&] { append(r, tree); }},
        {"replaced away and freed",
         [&] {
             append(r, tree);
             free_node(get("xmlDOMNodeReplaceNode", tree, create(doc, XML_COMMENT_NODE, "c")));
         }},
        {"in a document that is freed",
         [&] {
             const Handle other = new_document();
             append(other, tree);
             free(other);
         }},
        {"taken back", [&] {}},
    };
    for (const auto& end : ends) {
        SCOPED_TRACE(end.what);
        tree = clone(e);
        std::vector<ObjectHandle> objects = {holding(tree), holding(first_child(tree)),
                                             holding(tree), holding(attribute(tree, "a"))};
        end.run();
        const bool under_node = std::string_view(end.what) == "under a detached node";
        const bool taken_back = std::string_view(end.what) == "taken back";
        const Handle above = under_node ? parent(tree) : 0;
        if (taken_back)
            for (const ObjectHandle& object : objects) host.call_method(object, "removeInternal");
        while (!objects.empty()) objects.erase(objects.begin());
        if (under_node) {
            EXPECT_EQ(xml(above), "<x><e xmlns:p=\"urn:p\" p:a=\"1\"><f/></e></x>");
            free_node(above);
        }
        if (taken_back) free_node(tree);
    }
    EXPECT_EQ(xml(r),
              "<r>t<e xmlns:p=\"urn:p\" p:a=\"1\"><f/></e>"
              "<e xmlns:p=\"urn:p\" p:a=\"1\"><f/></e><!--c--></r>");
    EXPECT_EQ(parent(f), e);
}

TEST_F(Life, holds_whatever_can_be_freed) {
    const Handle doc = get("xmlDOMDocLoadXMLString",
                           "<!DOCTYPE r [<!NOTATION n SYSTEM 'n'><!NOTATION o SYSTEM 'o'>"
                           "<!ENTITY e 'x'>]><r a='1'>t</r>",
                           1);
    get("xmlDOMDocSetLastMsg", doc, "a message to go with it");
    const Handle text = find(doc, "//text()"), r = root(doc), a = attribute(r, "a");
    const Handle merged = create(doc, XML_TEXT_NODE, "u");
    std::vector<ObjectHandle> objects = {
        holding(get("xmlDOMDocGetNotations", doc)),
        holding(get("xmlDOMDocCreateDoctype", "d")),
        holding(create_ns(doc, XML_ATTRIBUTE_NODE, "p:a", "urn:p")),
        holding(clone(doc)),
        holding(create(doc, XML_DOCUMENT_FRAG_NODE, "")),
        holding(entity(doc)),
        holding(merged),
        holding(unlink(text)),
        holding(remove_attribute(r, a)),
        holding(a)};
    append(r, text);
    EXPECT_EQ(append(r, merged), text);
    const ObjectHandle first = holding(doc), second = holding(doc);
    objects.clear();
    EXPECT_EQ(xml(r), "<r>tu</r>");
    get("xmlDOMDocFreeDoc", doc);
}

TEST_F(Life, ends_with_the_host_and_survives_failures) {
    const Handle kept = create(new_document(), XML_ELEMENT_NODE, "kept");
    ObjectHandle survivor;
    {
        Host other(plugin_path());
        survivor = other.create().object();
        other.call_method(survivor, "addInternal", {kept});
        other.call_method(other.create().object(), "addInternal", {clone(kept)});
        other.faults().no_lookup = true;
        EXPECT_NE(other.create().status(), 0U);
        other.faults() = {};
        other.faults().bind = 9;
        EXPECT_EQ(other.call_method(survivor, "addInternal", {kept}).status(), 9U);
        other.faults() = {};
        other.faults().read = 9;
        EXPECT_NE(other.call_method(survivor, "addInternal", {kept}).status(), 0U);
        other.faults() = {};
        EXPECT_EQ(name(kept), "kept");
    }
}

}  // namespace
}  // namespace valtrosse::host
