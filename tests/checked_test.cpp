// The library that checks handles: what it refuses, how it says so, and what it hears of.
#include <libxml/globals.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <random>
#include <thread>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

struct Refusal {
    std::string parameter;  ///< "function.parameter"
    Handle handle;
    bool operator==(const Refusal&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
        return out << refusal.parameter << ' ' << refusal.handle;
    }
};

std::string text_of(const vt_name& name) {
    return to_utf8({name.units, name.bytes / sizeof(vt_unit)});
}

class Checked : public TreeTest {
protected:
    Checked() : TreeTest(checked_plugin_path()) {
        const auto listen = host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle");
        listen(
            [](void* to, const vt_name* function, const vt_name* parameter, Handle handle) {
                static_cast<std::vector<Refusal>*>(to)->push_back(
                    {text_of(*function) + "." + text_of(*parameter), handle});
            },
            &refusals);
    }
    ~Checked() override {
        host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle")(nullptr, nullptr);
    }

    bool is_alive(Handle handle) {
        refusals.clear();
        const bool alive = !call("xmlDOMNodeGetName", handle).no_value();
        EXPECT_EQ(refusals.empty(), alive);
        return alive;
    }
    void expect_alive(const std::vector<Handle>& handles, bool alive) {
        for (std::size_t i = 0; i < handles.size(); ++i)
            EXPECT_EQ(is_alive(handles[i]), alive) << "handle " << i;
    }
    /// The handles are good until end() has run, and not after it.
    void ends(const char* what, const std::vector<Handle>& handles,
              const std::function<void()>& end) {
        SCOPED_TRACE(what);
        expect_alive(handles, true);
        end();
        expect_alive(handles, false);
    }
    Handle load_unkept(std::string_view xml = source) {
        return get("xmlDOMDocLoadXMLString", xml, 1);
    }
    void free_doc(Handle doc) { EXPECT_EQ(call("xmlDOMDocFreeDoc", doc).integer(), 0U); }
    /// Of a document from `source`: handles of every kind that it owns.
    std::vector<Handle> handles_in(Handle doc) {
        const Handle r = root(doc), dtd = first_child(doc);
        std::vector<Handle> all = {doc, dtd, first_child(dtd), entity(doc), attribute(r, "d")};
        for (const Handle node : select(doc, "//node()|//@*|//@*/node()")) all.push_back(node);
        return all;
    }

    static constexpr const char* source =
        "<!DOCTYPE r [<!ENTITY e 'v'><!ENTITY f 'w'><!NOTATION n SYSTEM 's'>"
        "<!NOTATION m SYSTEM 't'><!ATTLIST r d CDATA 'x'>]>"
        "<r a='1' xmlns:p='u'><b><c>text</c></b>&e;<?pi?><!--c--><p:x p:y=''/></r>";

    std::vector<Refusal> refusals;
};

TEST_F(Checked, handles_end_with_their_objects) {
    const Handle doc = load_unkept(), r = root(doc), b = find(r, "b");
    ends("a subtree", {b, first_child(b), find(b, "c/text()")}, [&] { free_node(unlink(b)); });
    const Handle a = attribute(r, "a");
    ends("an attribute", {a, first_child(a)}, [&] { free_node(remove_attribute(r, a)); });
    const Handle first = create(doc, XML_TEXT_NODE, "1"), second = create(doc, XML_TEXT_NODE, "2");
    append(r, first);
    ends("a merged text", {second}, [&] { EXPECT_EQ(append(r, second), first); });
    const Handle n = get("xmlDOMDocGetNotations", doc), m = first_child(n);
    ends("the end of a chain of notations", {m}, [&] { free_node(m); });
    ends("a notation", {n}, [&] { free_node(n); });
    const Handle dtd = get("xmlDOMDocCreateDoctype", "d");
    ends("a DTD", {dtd}, [&] { free_node(dtd); });
    const Handle reference = create(doc, XML_ENTITY_REF_NODE, "mine");
    const Handle below = append(reference, create(doc, XML_ELEMENT_NODE, "below"));
    append(r, reference);
    const Handle copy = clone(doc);
    ends("a cloned document", handles_in(copy), [&] { free_doc(copy); });

    // libxml2's own declaration of a character is nobody's to end.
    const Handle lt = create(doc, XML_ENTITY_REF_NODE, "lt"), declaration = first_child(lt);
    std::vector<Handle> all = handles_in(doc);
    all.insert(all.end(), {first, reference, below});
    ends("a document", all, [&] { free_doc(doc); });
    free_node(lt);
    EXPECT_TRUE(is_alive(declaration));

    const Handle held = load_unkept();
    ObjectHandle life = host.create().object();
    host.call_method(life, "addInternal", {held});
    ends("a held document", handles_in(held), [&] { life = {}; });
    const Handle freed_by_host = load_unkept();
    ends("a document that the host frees", handles_in(freed_by_host),
         [&] { xmlFreeDoc(reinterpret_cast<xmlDoc*>(node_of(freed_by_host))); });
}

TEST_F(Checked, every_handle_parameter_is_checked) {
    const Handle doc = load(source), r = root(doc);
    const std::vector<std::uint32_t> heap(100);
    const Handle kept = create(doc, XML_ELEMENT_NODE, "kept");
    ObjectHandle life = host.create().object();
    host.call_method(life, "addInternal", {kept});
    const Handle b = unlink(find(r, "b")), gone_doc = load_unkept();
    std::vector<Handle> bad = handles_in(gone_doc);
    bad.insert(bad.end(), {b, find(b, "c"), find(b, "c/text()"), get("xmlDOMDocGetNotations", doc),
                           get("xmlDOMDocCreateDoctype", "d")});
    free_doc(gone_doc);
    free_node(b);
    for (std::size_t i = bad.size() - 2; i < bad.size(); ++i) free_node(bad[i]);
    bad.insert(bad.end(),
               {1, 3, handle_of(heap.data()), handle_of(heap.data()) + 8, handle_of(this),
                handle_of(node_of(find(r, "*"))->ns), doc + 1, doc + 8, 0xFFFFFFFF});
    const std::string before = xml(doc);

    const auto is_one_of = [](std::string_view name, std::initializer_list<const char*> names) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    const auto is_handle = [&](std::string_view name) {
        return is_one_of(name, {"node", "doc", "document", "newnode", "oldnode", "attr", "dtd"});
    };
    std::size_t count = 0;
    for (const Function& function : host.functions()) {
        std::vector<Argument> args;
        for (const std::string& name : function.parameters) {
            if (is_handle(name))
                args.emplace_back(name.starts_with("doc") ? doc : r);
            else if (is_one_of(name, {"relative", "type", "property", "deep", "format"}))
                args.emplace_back(1);
            else if (name == "position")
                args.emplace_back(0);
            else
                args.emplace_back(u"p:q");
        }
        for (std::size_t i = 0; i < args.size(); ++i) {
            if (!is_handle(function.parameters[i])) continue;
            ++count;
            for (const Handle handle : bad) {
                std::vector<Argument> with_bad = args;
                with_bad[i] = handle;
                refusals.clear();
                const Outcome outcome = host.call(function, with_bad);
                EXPECT_TRUE(outcome.status() == VT_OK && outcome.no_value()) << function.name;
                const Refusal expected{function.name + "." + function.parameters[i], handle};
                EXPECT_EQ(refusals, std::vector{expected}) << function.name << ' ' << handle;
            }
        }
    }
    EXPECT_EQ(count, 56U);
    EXPECT_EQ(xml(doc), before);

    // What is wrong with another argument is told as ever; a refused handle ends the call first.
    EXPECT_EQ(call("xmlDOMNodeGetRelative", r, nullptr).status(), 30U);
    EXPECT_EQ(call("xmlDOMNodeGetName", 0).status(), 30U);
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetRelative", 1, nullptr));
    for (const Handle handle : bad) {
        refusals.clear();
        const Outcome outcome = host.call_method(life, "addInternal", {handle});
        EXPECT_TRUE(outcome.status() == VT_OK && outcome.no_value());
        EXPECT_EQ(refusals, (std::vector{Refusal{"addInternal.internal", handle}}));
    }
    ends("what the object held before", {kept}, [&] { life = {}; });
}

TEST_F(Checked, owners_that_are_gone_are_no_handles) {
    const Handle doc = load_unkept(), node = create(doc, XML_ELEMENT_NODE, "n");
    EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), doc);
    free_doc(doc);
    const Handle owner = get("xmlDOMNodeGetOwnerDoc", node);
    EXPECT_EQ(owner, doc);
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetRootNode", owner));
    EXPECT_TRUE(gives_no_value("xmlDOMDocCreateNode", owner, 3, "t"));
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetLastMsg", owner));
    EXPECT_FALSE(is_alive(owner));
    EXPECT_TRUE(is_alive(node));
    free_node(node);
}

TEST_F(Checked, many_handles_in_any_order) {
    const int count = under_valgrind() ? 500 : 20000;
    const Handle doc = new_document();
    std::vector<Handle> alive, gone;
    for (int i = 0; i < count; ++i) alive.push_back(create(doc, XML_COMMENT_NODE, "c"));
    std::shuffle(alive.begin(), alive.end(), std::mt19937(1));
    while (alive.size() > gone.size()) {
        free_node(alive.back());
        gone.push_back(alive.back());
        alive.pop_back();
    }
    expect_alive(alive, true);
    expect_alive(gone, false);
    for (const Handle node : alive) free_node(node);
    expect_alive(alive, false);
}

TEST_F(Checked, threads_share_their_handles) {
    Handle doc = 0;
    std::vector<Handle> handles;
    const auto in_thread = [](const auto& work) { std::thread(work).join(); };
    in_thread([&] {
        Host::Context context(host);
        doc = context.call("xmlDOMDocLoadXMLString", {u"<r><a/></r>", 1}).handle();
    });
    handles = {doc, root(doc), first_child(root(doc))};
    ends("freed by another thread", handles, [&] {
        in_thread([&] {
            Host::Context context(host);
            context.call("xmlDOMDocFreeDoc", {doc});
        });
    });
    const Handle second = load_unkept();
    ends("freed by a thread that never called the library", handles_in(second),
         [&] { in_thread([&] { xmlFreeDoc(reinterpret_cast<xmlDoc*>(node_of(second))); }); });
}

// The host's callbacks: put in before the library's on a thread, and over it later.
thread_local int first_heard = 0, second_heard = 0;
thread_local xmlDeregisterNodeFunc below_second = nullptr;
void first_callback(xmlNode*) { ++first_heard; }
void second_callback(xmlNode* node) {
    ++second_heard;
    if (below_second) below_second(node);
}

TEST_F(Checked, callbacks_of_the_host_are_called_in_turn) {
    std::thread([&] {
        xmlDeregisterNodeDefaultValue = first_callback;
        Host::Context context(host);
        const auto make = [&] {
            const Handle doc = context.call("xmlDOMDocCreateDoc", {u"1.0"}).handle();
            return context.call("xmlDOMDocCreateNode", {doc, 3, u"text"}).handle();
        };
        const auto end = [&](Handle node) {
            const Handle doc = context.call("xmlDOMNodeGetOwnerDoc", {node}).handle();
            EXPECT_EQ(context.call("xmlDOMNodeFreeNode", {node}).integer(), 0U);
            EXPECT_EQ(context.call("xmlDOMDocFreeDoc", {doc}).integer(), 0U);
            EXPECT_TRUE(context.call("xmlDOMNodeGetName", {node}).no_value());
        };
        end(make());
        EXPECT_EQ(first_heard, 2);

        // Over the library's: passing on, then not. Its end is heard of all the same.
        below_second = std::exchange(xmlDeregisterNodeDefaultValue, second_callback);
        end(make());
        EXPECT_EQ(first_heard, 4);
        EXPECT_EQ(second_heard, 2);
        below_second = nullptr;
        end(make());
        EXPECT_EQ(first_heard, 4);
        EXPECT_EQ(second_heard, 4);
    }).join();
}

TEST_F(Checked, outlives_its_host) {
    const Handle doc = load_unkept(), r = root(doc);
    {
        Host other(checked_plugin_path());
        EXPECT_EQ(other.call("xmlDOMNodeGetName", {r}).utf8(), "r");
    }
    ends("freed after a host has gone", {doc, r}, [&] { free_doc(doc); });
}

TEST_F(Checked, objects_from_outside_can_be_made_known) {
    xmlDoc* const doc = xmlNewDoc(nullptr);
    xmlDocSetRootElement(doc, xmlNewNode(nullptr, BAD_CAST "host"));
    const Handle handle = handle_of(doc);
    EXPECT_FALSE(is_alive(handle));
    EXPECT_EQ(name(root(handle_from_outside(doc))), "host");
    ends("freed by the host", {handle, root(handle)}, [&] { xmlFreeDoc(doc); });
}

}  // namespace
}  // namespace valtrosse::host
