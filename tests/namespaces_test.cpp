// What becomes of namespaces when nodes move: the text of documents before and after.
#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Namespaces : public TreeTest {
protected:
    Handle declaration(const std::string& prefix, std::string_view uri) {
        const char* const xmlns = "http://www.w3.org/2000/xmlns/";
        return with_text(create_ns(new_document(), XML_ATTRIBUTE_NODE, "xmlns:" + prefix, xmlns),
                         uri);
    }
    /// The document as it is saved, normalised.
    std::string saved(Handle doc) {
        const TempFile file;
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "none", 0).integer(), 0U);
        return plain(file.content());
    }
};

TEST_F(Namespaces, are_reconciled_where_nodes_land) {
    const char* const p = "<p:e p:a='0'><p:f/></p:e>";
    const struct {
        // What the parent of an element declares, the element, what its new parent declares, and the
        // element there when it is moved and when it is copied.
        std::string around, e, target, moved, copied = moved;
    } moves[] = {
        {"xmlns:p='1'", p, "", "<p:e xmlns:p='1' p:a='0'><p:f/></p:e>"},
        // A prefix in scope counts, whatever it stands for there; a copy brings its own.
        {"xmlns:p='1'", p, " xmlns:p='1'", p, "<p:e xmlns:p='1' p:a='0'><p:f/></p:e>"},
        {"xmlns:p='1'", p, " xmlns:p='2'", p, "<p:e xmlns:p='1' p:a='0'><p:f/></p:e>"},
        {"xmlns:p='1'", p, " xmlns:q='1'", "<p:e xmlns:p='1' p:a='0'><p:f/></p:e>"},
        // Declared on what moves, or below.
        {"", "<p:e xmlns:p='1'><p:f p:a='2'/></p:e>", " xmlns:p='2'",
         "<p:e xmlns:p='1'><p:f p:a='2'/></p:e>"},
        {"xmlns:p='1'", "<e><p:f/><g xmlns:p='3'><p:h/></g></e>", "",
         "<e><p:f xmlns:p='1'/><g xmlns:p='3'><p:h/></g></e>",
         "<e xmlns:p='1'><p:f/><g xmlns:p='3'><p:h/></g></e>"},
        // The default namespace.
        {"xmlns='d'", "<e a='1'><f/></e>", "", "<e xmlns='d' a='1'><f/></e>"},
        {"xmlns='d'", "<e/>", " xmlns='x'", "<e/>", "<e xmlns='d'/>"},
        {"", "<e><f/></e>", " xmlns='x'", "<e><f/></e>"},
        // Attributes, and elements that declare for themselves.
        {"xmlns:p='1'", "<e p:a='1'><f p:b=''/></e>", "", "<e xmlns:p='1' p:a='1'><f p:b=''/></e>"},
        {"xmlns:p='1' xmlns:q='2'", "<p:e q:a='1'/>", " xmlns:q='3'", "<p:e xmlns:p='1' q:a='1'/>",
         "<p:e xmlns:p='1' xmlns:q='2' q:a='1'/>"},
        {"", "<e xml:lang='en'><f xml:space='preserve'/></e>", " xmlns='x'",
         "<e xml:lang='en'><f xml:space='preserve'/></e>"},
        {"xmlns:p='1'", "<e><p:f/><p:g/></e>", "", "<e><p:f xmlns:p='1'/><p:g xmlns:p='1'/></e>",
         "<e xmlns:p='1'><p:f/><p:g/></e>"}};
    for (const auto& move : moves)
        for (const std::string how : {"moved", "unlinked first", "twice",
                                      "through a detached parent", "cloned", "imported"}) {
            SCOPED_TRACE(how + " " + move.e);
            const std::string open = "<t" + move.target + ">";
            const Handle source = load("<r " + move.around + ">" + move.e + "</r>");
            const Handle target = load(open + "</t>");
            const std::string before = xml(source);
            Handle e = first_child(root(source));
            if (how == "unlinked first") unlink(e);
            if (how == "twice")
                unlink(append(root(load("<u xmlns:p='1' xmlns:q='2' xmlns='d'/>")), e));
            if (how == "through a detached parent") {
                const Handle above = create(source, XML_ELEMENT_NODE, "above");
                unlink(append(above, e));
                free_node(above);
            }
            if (how == "cloned") e = clone(e);
            if (how == "imported") e = get("xmlDOMNodeImportNode", e, 1, target);
            append(root(target), e);
            const bool copied = how == "cloned" || how == "imported";
            EXPECT_EQ(copied, xml(source) == before);
            free(source);
            EXPECT_EQ(xml(target), open + (copied ? move.copied : move.moved) + "</t>");
            free(target);
        }
}

TEST_F(Namespaces, declarations_that_repeat_a_prefix_go) {
    const std::pair<const char*, const char*> documents[] = {
        {"<r xmlns:p='u'><e xmlns:p='u'><p:f/></e></r>", "<r xmlns:p='u'><e><p:f/></e></r>"},
        {"<r xmlns:p='u'><p:e xmlns:p='v' p:a='1'/></r>", "<r xmlns:p='u'><p:e p:a='1'/></r>"},
        {"<r xmlns='u'><e xmlns='v' xmlns:q='w'><q:f/></e></r>",
         "<r xmlns='u'><e xmlns:q='w'><q:f/></e></r>"},
        {"<r><e xmlns:p='u'><p:f xmlns:p='v'><p:g xmlns:p='w'/></p:f></e><e xmlns:p='x'/></r>",
         "<r><e xmlns:p='u'><p:f><p:g/></p:f></e><e xmlns:p='x'/></r>"},
        {"<r xmlns:a='1' xmlns:b='2' xmlns:c='3'><a:e xmlns:c='3' xmlns:d='4' xmlns:a='1' d:x=''/>"
         "</r>",
         "<r xmlns:a='1' xmlns:b='2' xmlns:c='3'><a:e xmlns:d='4' d:x=''/></r>"}};
    for (const auto& [before, after] : documents) {
        const Handle doc = load(before), copy = keep(clone(doc));
        for (const Handle each : {doc, copy, doc}) EXPECT_EQ(saved(each), after);
        free_node(unlink(first_child(root(doc))));
    }
}

TEST_F(Namespaces, attributes_declare_them) {
    const Handle doc = load("<r xmlns:p='outer'><e><p:f/></e></r>");
    const Handle r = root(doc), e = first_child(r);
    const auto declare = [&](Handle element, const char* prefix, const char* uri) {
        const Handle attr = declaration(prefix, uri);
        EXPECT_EQ(call("xmlDOMElementSetAttributeNodeNS", element, attr).integer(), 0U) << prefix;
        EXPECT_EQ(parent(attr), 0U);
        free_node(attr);
        return xml(doc);
    };
    std::string after = "<r xmlns:p='outer'><e xmlns:q='q'><p:f/></e></r>";
    EXPECT_EQ(declare(e, "q", "q"), after);
    EXPECT_EQ(declare(e, "q", "other"), after);
    EXPECT_EQ(declare(e, "p", "inner"), after);
    EXPECT_EQ(declare(r, "q", "2"), "<r xmlns:p='outer' xmlns:q='2'><e><p:f/></e></r>");
    after = "<r xmlns:p='outer' xmlns:q='2'><e xmlns='d'><p:f/></e></r>";
    EXPECT_EQ(declare(e, "", "d"), after);
    EXPECT_EQ(declare(e, "xml", "wrong"), after);
    // No file can hold the empty name for a prefix.
    const Handle empty =
        create_ns(doc, XML_ATTRIBUTE_NODE, "xmlns:n", "http://www.w3.org/2000/xmlns/");
    append(empty, create(doc, XML_ENTITY_REF_NODE, "nothing"));
    expect_no_value("xmlDOMElementSetAttributeNodeNS", e, empty);
    EXPECT_EQ(xml(doc), after);
    free_node(empty);
}

// In a cloned document and in a detached tree every namespace is a private record.
TEST_F(Namespaces, copies_keep_declarations_outside_of_them) {
    const Handle doc =
        load("<r xmlns:p='u' xmlns='d'><p:a p:k='v'><b xmlns:p='w'><p:c/></b></p:a></r>");
    const Handle copied = keep(clone(doc)), e = append(root(doc), clone(root(doc)));
    const Handle other = load("<z xmlns:p='OTHER' xmlns='OTHER'/>"), detached = unlink(e);
    for (const Handle source : {root(doc), root(copied), detached})
        for (const bool imported : {false, true})
            for (const std::uint32_t deep : {0U, 1U}) {
                const Handle from = first_child(source);
                const Handle copy =
                    imported ? get("xmlDOMNodeImportNode", from, deep, other) : clone(from, deep);
                const std::string content =
                    deep ? " xmlns='d' p:k='v'><b xmlns:p='w'><p:c/></b></p:a>" : " p:k='v'/>";
                EXPECT_EQ(xml(copy), "<p:a xmlns:p='u'" + content) << imported;
                append(root(other), copy);
                EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", copy, 1), "u");
                EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", attribute(copy, "k"), 1), "u");
                free_node(unlink(copy));
            }
    free_node(detached);
}

TEST_F(Namespaces, normalising_is_linear) {
    const auto cost_per_element = [&](bool nested, int count) {
        const Handle doc = new_document(), attr = declaration("p", "urn:inner");
        Handle top = 0;
        for (int i = 0; i < count; ++i) {
            const Handle element = create_ns(doc, XML_ELEMENT_NODE, "p:e", "urn:e");
            set_attribute_ns(element, attr);
            if (top) append(nested ? element : top, nested ? top : element);
            if (nested || !top) top = element;
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
        cost_per_element(nested, under_valgrind() ? 1000 : 5000);
        if (under_valgrind()) continue;
        const double small = cost_per_element(nested, 10000);
        EXPECT_LT(cost_per_element(nested, 200000), 8 * small) << nested;
    }
}

}  // namespace
}  // namespace valtrosse::host
