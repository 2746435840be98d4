// What becomes of namespaces when nodes move: the text of documents before and after.
#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Namespaces : public TreeTest {
protected:
    Handle declaration(std::string_view prefix, std::string_view uri) {
        return with_text(create_ns(new_document(), XML_ATTRIBUTE_NODE,
                                   "xmlns:" + std::string(prefix), "http://www.w3.org/2000/xmlns/"),
                         uri);
    }
    /// The document as it is saved, normalised.
    std::string saved(Handle doc) {
        const TempFile file;
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "none", 0).integer(), 0U);
        std::string text = file.content();
        text.erase(0, text.find('\n') + 1);
        while (text.ends_with('\n')) text.pop_back();
        return text;
    }
};

TEST_F(Namespaces, are_reconciled_where_nodes_land) {
    const char* const p = "<r xmlns:p='urn:1'><p:e p:a='1'><p:f/></p:e></r>";
    const struct {
        const char* what;
        const char* source;
        const char* target;
        const char* after;  // the source's first element, put at the end of the target's root
        const char* copied =
            nullptr;  // the same for a copy, where its root declares what was around it
    } moves[] = {
        {"not in scope", p, "<t/>", "<t><p:e xmlns:p=\"urn:1\" p:a=\"1\"><p:f/></p:e></t>"},
        {"in scope with the same URI", p, "<t xmlns:p='urn:1'/>",
         "<t xmlns:p=\"urn:1\"><p:e p:a=\"1\"><p:f/></p:e></t>",
         "<t xmlns:p=\"urn:1\"><p:e xmlns:p=\"urn:1\" p:a=\"1\"><p:f/></p:e></t>"},
        {"in scope with another URI: the prefix counts", p, "<t xmlns:p='urn:2'/>",
         "<t xmlns:p=\"urn:2\"><p:e p:a=\"1\"><p:f/></p:e></t>",
         "<t xmlns:p=\"urn:2\"><p:e xmlns:p=\"urn:1\" p:a=\"1\"><p:f/></p:e></t>"},
        {"another prefix for the URI", p, "<t xmlns:q='urn:1'/>",
         "<t xmlns:q=\"urn:1\"><p:e xmlns:p=\"urn:1\" p:a=\"1\"><p:f/></p:e></t>"},
        {"declared on what moves", "<r><p:e xmlns:p='urn:1'><p:f p:a='2'/></p:e></r>",
         "<t xmlns:p='urn:2'/>",
         "<t xmlns:p=\"urn:2\"><p:e xmlns:p=\"urn:1\"><p:f p:a=\"2\"/></p:e></t>"},
        {"declared below", "<r xmlns:p='urn:1'><e><p:f/><g xmlns:p='urn:3'><p:h/></g></e></r>",
         "<t/>", "<t><e><p:f xmlns:p=\"urn:1\"/><g xmlns:p=\"urn:3\"><p:h/></g></e></t>",
         "<t><e xmlns:p=\"urn:1\"><p:f/><g xmlns:p=\"urn:3\"><p:h/></g></e></t>"},
        {"default", "<r xmlns='urn:d'><e a='1'><f/></e></r>", "<t/>",
         "<t><e xmlns=\"urn:d\" a=\"1\"><f/></e></t>"},
        {"default under a default", "<r xmlns='urn:d'><e/></r>", "<t xmlns='urn:x'/>",
         "<t xmlns=\"urn:x\"><e/></t>", "<t xmlns=\"urn:x\"><e xmlns=\"urn:d\"/></t>"},
        {"no namespace stays none", "<r><e><f/></e></r>", "<t xmlns='urn:x'/>",
         "<t xmlns=\"urn:x\"><e><f/></e></t>"},
        {"attributes alone", "<r xmlns:p='urn:1'><e p:a='1'><f p:b='2'/></e></r>", "<t/>",
         "<t><e xmlns:p=\"urn:1\" p:a=\"1\"><f p:b=\"2\"/></e></t>"},
        {"two prefixes", "<r xmlns:p='urn:1' xmlns:q='urn:2'><p:e q:a='1'/></r>",
         "<t xmlns:q='urn:3'/>", "<t xmlns:q=\"urn:3\"><p:e xmlns:p=\"urn:1\" q:a=\"1\"/></t>",
         "<t xmlns:q=\"urn:3\"><p:e xmlns:p=\"urn:1\" xmlns:q=\"urn:2\" q:a=\"1\"/></t>"},
        {"xml", "<r><e xml:lang='en'><f xml:space='preserve'/></e></r>", "<t xmlns='urn:x'/>",
         "<t xmlns=\"urn:x\"><e xml:lang=\"en\"><f xml:space=\"preserve\"/></e></t>"},
        {"siblings declare for themselves", "<r xmlns:p='urn:1'><e><p:f/><p:g/></e></r>", "<t/>",
         "<t><e><p:f xmlns:p=\"urn:1\"/><p:g xmlns:p=\"urn:1\"/></e></t>",
         "<t><e xmlns:p=\"urn:1\"><p:f/><p:g/></e></t>"},
    };
    for (const auto& move : moves) {
        for (const std::string how : {"moved", "unlinked first", "twice",
                                      "through a detached parent", "cloned", "imported"}) {
            SCOPED_TRACE(move.what + (", " + how));
            const Handle source = load(move.source), target = load(move.target);
            const std::string before = xml(source);
            Handle e = first_child(root(source));
            const std::string e_before = name(e);
            if (how == "unlinked first") unlink(e);
            if (how == "twice") {
                append(root(load("<u xmlns:p='urn:1' xmlns:q='urn:2' xmlns='urn:d'/>")), e);
                unlink(e);
            }
            if (how == "through a detached parent") {
                const Handle above = create(source, XML_ELEMENT_NODE, "above");
                append(above, e);
                EXPECT_EQ(name(e), e_before);
                unlink(e);
                free_node(above);
            }
            if (how == "cloned") e = clone(e);
            if (how == "imported") e = get("xmlDOMNodeImportNode", e, 1, target);
            append(root(target), e);
            const bool copied = how == "cloned" || how == "imported";
            EXPECT_EQ(copied, xml(source) == before);
            free(source);
            EXPECT_EQ(xml(target), copied && move.copied ? move.copied : move.after);
            free(target);
        }
    }
}

TEST_F(Namespaces, copies_keep_their_own) {
    const Handle doc =
        load("<r xmlns:p='urn:1' xmlns='urn:d'><p:e p:a='1' xml:lang='en'><f/></p:e></r>");
    const Handle e = first_child(root(doc));
    const Handle shallow = clone(e, 0), attr = clone(find(e, "@*[1]")), deep = clone(e);
    const Handle detached = unlink(clone(e)), again = clone(detached);
    free(doc);
    const struct {
        Handle node;
        const char* uri;
        const char* prefix;
    } copies[] = {{shallow, "urn:1", "p"},
                  {attr, "urn:1", "p"},
                  {deep, "urn:1", "p"},
                  {first_child(deep), "urn:d", "none"},
                  {again, "urn:1", "p"},
                  {get("xmlDOMElementGetAttributeNodeNS", again, "lang",
                       "http://www.w3.org/XML/1998/namespace"),
                   "http://www.w3.org/XML/1998/namespace", "xml"}};
    for (const auto& copy : copies) {
        EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", copy.node, 1), copy.uri);
        EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", copy.node, 2), copy.prefix);
    }
    const Handle t = load("<t/>");
    append(root(t), again);
    append(root(t), shallow);
    set_attribute_ns(root(t), attr);
    EXPECT_EQ(xml(t),
              "<t xmlns:p=\"urn:1\" p:a=\"1\"><p:e xmlns:p=\"urn:1\" xmlns=\"urn:d\" p:a=\"1\""
              " xml:lang=\"en\"><f/></p:e><p:e xmlns:p=\"urn:1\" p:a=\"1\" xml:lang=\"en\"/></t>");
    free_node(deep);
    free_node(detached);
}

TEST_F(Namespaces, qualified_names) {
    const char* const xml_uri = "http://www.w3.org/XML/1998/namespace";
    const char* const xmlns_uri = "http://www.w3.org/2000/xmlns/";
    const struct {
        const char* qname;
        const char* uri;
        const char* linked;  // as an element and as an attribute of the root; none: refused
        const char* attribute;
    } names[] = {
        {"p:item", "urn:p", "<r><p:item xmlns:p=\"urn:p\"/></r>",
         "<r xmlns:p=\"urn:p\" p:item=\"\"/>"},
        {":item", "urn:d", "<r><item xmlns=\"urn:d\"/></r>", nullptr},
        {"p:", "urn:p", "<r><p: xmlns:p=\"urn:p\"/></r>", nullptr},
        {"p:item", "", "<r><p:item xmlns:p=\"\"/></r>", nullptr},
        {"xml:lang", xml_uri, "<r><xml:lang/></r>", "<r xml:lang=\"\"/>"},
        {"p:lang", xml_uri, nullptr, nullptr},
        {"xml:lang", "urn:p", "none", "none"},
        {"xmlns:p", "urn:p", "none", "none"},
        {"item", "urn:p", "none", "none"},
        {"a:b:c", "urn:p", "none", "none"},
        {"", "urn:p", "none", "none"},
        {"xml:", "", "none", "none"},
    };
    for (const auto& test : names) {
        SCOPED_TRACE(test.qname);
        for (const std::uint32_t type : {1U, 2U}) {
            const Handle doc = load("<r/>");
            const Handle node = create_ns(doc, type, test.qname, test.uri);
            const char* const expected = type == 1 ? test.linked : test.attribute;
            if (expected && std::string_view(expected) == "none") {
                EXPECT_EQ(node, 0U);
            } else {
                EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", node, 1), test.uri);
                const Handle linked =
                    type == 1 ? append(root(doc), node) : set_attribute_ns(root(doc), node);
                EXPECT_EQ(linked, node);
                EXPECT_EQ(xml(doc), expected ? expected : xml(doc));
            }
            free(doc);
        }
    }
    const Handle declares = create_ns(new_document(), XML_ATTRIBUTE_NODE, "xmlns:p", xmlns_uri);
    EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", declares, 0), "p");
    free_node(declares);
    for (const std::uint32_t type : {0U, 3U, 9U})
        EXPECT_EQ(create_ns(new_document(), type, "p:a", "urn:p"), 0U);
}

TEST_F(Namespaces, declarations_that_repeat_a_prefix_go) {
    const struct {
        const char* before;
        const char* after;
    } documents[] = {
        {"<r xmlns:p='u'><e xmlns:p='u'><p:f/></e></r>", "<r xmlns:p=\"u\"><e><p:f/></e></r>"},
        {"<r xmlns:p='u'><p:e xmlns:p='v' p:a='1'/></r>", "<r xmlns:p=\"u\"><p:e p:a=\"1\"/></r>"},
        {"<r xmlns='u'><e xmlns='v' xmlns:q='w'><q:f/></e></r>",
         "<r xmlns=\"u\"><e xmlns:q=\"w\"><q:f/></e></r>"},
        {"<r><e xmlns:p='u'><p:f xmlns:p='v'><p:g xmlns:p='w'/></p:f></e><e xmlns:p='x'/></r>",
         "<r><e xmlns:p=\"u\"><p:f><p:g/></p:f></e><e xmlns:p=\"x\"/></r>"},
        {"<r xmlns:a='1' xmlns:b='2' xmlns:c='3'><a:e xmlns:c='3' xmlns:d='4' xmlns:a='1' "
         "d:x=''/></r>",
         "<r xmlns:a=\"1\" xmlns:b=\"2\" xmlns:c=\"3\"><a:e xmlns:d=\"4\" d:x=\"\"/></r>"},
    };
    for (const auto& document : documents) {
        const Handle doc = load(document.before), copy = keep(clone(doc));
        EXPECT_EQ(saved(doc), document.after);
        EXPECT_EQ(saved(copy), document.after);
        EXPECT_EQ(saved(doc), document.after);
        free_node(unlink(first_child(root(doc))));
    }
}

TEST_F(Namespaces, attributes_declare_them) {
    const Handle doc = load("<r xmlns:p='urn:outer'><e><p:f/></e></r>");
    const Handle r = root(doc), e = first_child(r);
    const struct {
        Handle element;
        const char* prefix;
        const char* uri;
        const char* after;
    } declarations[] = {
        {e, "q", "urn:q", "<r xmlns:p=\"urn:outer\"><e xmlns:q=\"urn:q\"><p:f/></e></r>"},
        {e, "q", "urn:other", "<r xmlns:p=\"urn:outer\"><e xmlns:q=\"urn:q\"><p:f/></e></r>"},
        {e, "p", "urn:inner", "<r xmlns:p=\"urn:outer\"><e xmlns:q=\"urn:q\"><p:f/></e></r>"},
        {r, "q", "urn:q2", "<r xmlns:p=\"urn:outer\" xmlns:q=\"urn:q2\"><e><p:f/></e></r>"},
        {e, "", "urn:d",
         "<r xmlns:p=\"urn:outer\" xmlns:q=\"urn:q2\"><e xmlns=\"urn:d\"><p:f/></e></r>"},
        {e, "xml", "urn:wrong",
         "<r xmlns:p=\"urn:outer\" xmlns:q=\"urn:q2\"><e xmlns=\"urn:d\"><p:f/></e></r>"},
    };
    for (const auto& test : declarations) {
        const Handle attr = declaration(test.prefix, test.uri);
        const Outcome outcome = call("xmlDOMElementSetAttributeNodeNS", test.element, attr);
        EXPECT_EQ(outcome.integer(), 0U) << test.prefix;
        EXPECT_EQ(parent(attr), 0U);
        EXPECT_EQ(xml(doc), test.after) << test.prefix;
        free_node(attr);
    }
    const Handle empty =
        create_ns(doc, XML_ATTRIBUTE_NODE, "xmlns:z", "http://www.w3.org/2000/xmlns/");
    call("xmlDOMElementSetAttributeNodeNS", e, empty);
    EXPECT_EQ(xml(doc), declarations[5].after);
    free_node(empty);
}

TEST_F(Namespaces, normalising_is_linear) {
    const auto cost_per_element = [&](bool nested, int count) {
        const Handle doc = new_document(), attr = declaration("p", "urn:inner");
        const auto element = [&] {
            const Handle made = create_ns(doc, XML_ELEMENT_NODE, "p:e", "urn:e");
            set_attribute_ns(made, attr);
            return made;
        };
        Handle top = element();
        for (int i = 1; i < count; ++i) {
            const Handle other = element();
            append(nested ? other : top, nested ? top : other);
            if (nested) top = other;
        }
        append(doc, top);
        std::string text;
        const double time = seconds([&] { text = saved(doc); });
        EXPECT_EQ(text.find("xmlns:p"), text.rfind("xmlns:p"));
        EXPECT_GT(text.size(), 6U * static_cast<std::size_t>(count));
        free(doc);
        free_node(attr);
        return time / count;
    };
    for (const bool nested : {true, false}) {
        if (under_valgrind()) {
            cost_per_element(nested, 1000);
            continue;
        }
        cost_per_element(nested, 5000);
        const double small = cost_per_element(nested, 10000);
        EXPECT_LT(cost_per_element(nested, 200000), 8 * small) << nested;
    }
}

}  // namespace
}  // namespace valtrosse::host
