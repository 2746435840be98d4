// The library that checks handles: what it refuses, how it says so, and what it hears of.
#include <gmock/gmock.h>
#include <libxml/globals.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <map>
#include <random>
#include <thread>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::ElementsAre;

class Checked : public TreeTest {
protected:
    Checked() : TreeTest(checked_plugin_path()) { listen(refused, &refusals); }
    ~Checked() override { listen(nullptr, nullptr); }

    static void refused(void* to, const vt_name* function, const vt_name* parameter,
                        Handle handle) {
        const auto text_of = [](const vt_name* n) { return to_utf8({n->units, n->bytes / 2}); };
        static_cast<std::vector<std::string>*>(to)->push_back(
            text_of(function) + "." + text_of(parameter) + " " + std::to_string(handle));
    }
    bool is_alive(Handle handle) {
        refusals.clear();
        const bool alive = !call("xmlDOMNodeGetName", handle).no_value();
        EXPECT_EQ(refusals.empty(), alive);
        return alive;
    }
    void expect_alive(const std::vector<Handle>& handles, bool alive) {
        for (const Handle handle : handles) EXPECT_EQ(is_alive(handle), alive) << handle;
    }
    /// The handles are good until end() has run, and not after it.
    template <typename End>
    void ends(const char* what, const std::vector<Handle>& handles, End end) {
        SCOPED_TRACE(what);
        expect_alive(handles, true);
        end();
        expect_alive(handles, false);
    }
    Handle load_unkept(std::string_view xml = source) {
        return get("xmlDOMDocLoadXMLString", xml, 1);
    }
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

    std::vector<std::string> refusals;  // "function.parameter handle"
    const vt_on_refused_handle listen =
        host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle");
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
    ends("a cloned document", handles_in(copy), [&] { free(copy); });

    // libxml2's own declaration of a character is nobody's to end.
    const Handle lt = create(doc, XML_ENTITY_REF_NODE, "lt"), declaration = first_child(lt);
    std::vector<Handle> all = handles_in(doc);
    all.insert(all.end(), {first, reference, below});
    ends("a document", all, [&] { free(doc); });
    EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", lt), 0U);
    free_node(lt);
    EXPECT_TRUE(is_alive(declaration));

    const Handle held = load_unkept();
    ObjectHandle life = holding(held);
    ends("a held document", handles_in(held), [&] { life = {}; });
}

TEST_F(Checked, every_handle_parameter_is_checked) {
    const auto low_half = [](const void* address) {
        return static_cast<Handle>(reinterpret_cast<std::uintptr_t>(address));
    };
    const Handle doc = load(source), r = root(doc);
    const std::vector<std::uint32_t> heap(100);
    const Handle kept = create(doc, XML_ELEMENT_NODE, "kept");
    ObjectHandle life = holding(kept);
    const Handle b = unlink(find(r, "b")), gone_doc = load_unkept();
    std::vector<Handle> bad = handles_in(gone_doc);
    bad.insert(bad.end(), {b, find(b, "c"), find(b, "c/text()"), get("xmlDOMDocGetNotations", doc),
                           get("xmlDOMDocCreateDoctype", "d")});
    free(gone_doc);
    free_node(b);
    for (const Handle gone : {bad.end()[-2], bad.back()}) free_node(gone);
    bad.insert(bad.end(), {1, 3, low_half(heap.data()), low_half(heap.data()) + 8, low_half(this),
                           low_half(node_of(r)), low_half(node_of(find(r, "*"))->ns),
                           doc ^ 0x80000000, doc ^ 0x4000, doc ^ 0x100, 0xFFFFFFFF});
    const std::string before = xml(doc);

    const std::map<std::string, Argument> good = {
        {"node", r},  {"newnode", r},    {"oldnode", r},  {"attr", r}, {"dtd", r},
        {"doc", doc}, {"document", doc}, {"relative", 1}, {"type", 1}, {"property", 1},
        {"deep", 1},  {"format", 1},     {"position", 0}};
    std::size_t count = 0;
    for (const Function& function : host.functions()) {
        std::vector<Argument> args;
        for (const std::string& name : function.parameters)
            args.push_back(good.contains(name) ? good.at(name) : Argument(u"p:q"));
        for (std::size_t i = 0; i < args.size(); ++i) {
            const std::string parameter = function.parameters[i];
            if (!good.contains(parameter) || args[i].integer() < 2) continue;  // no handle
            ++count;
            for (const Handle handle : bad) {
                refusals.clear();
                std::vector<Argument> with_bad = args;
                with_bad[i] = handle;
                const Outcome outcome = host.call(function, with_bad);
                EXPECT_TRUE(outcome.status() == VT_OK && outcome.no_value()) << function.name;
                EXPECT_THAT(refusals, ElementsAre(function.name + "." + parameter + " " +
                                                  std::to_string(handle)));
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
        EXPECT_THAT(refusals, ElementsAre("addInternal.internal " + std::to_string(handle)));
    }
    ends("what the object held before", {kept}, [&] { life = {}; });
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

TEST_F(Checked, what_has_no_slot_is_not_handed_out) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs a limit to the address space";
#endif
    if (under_valgrind()) GTEST_SKIP() << "needs a limit to the address space";
    const auto in_a_process_of_its_own = [&] {
        const Handle doc = new_document();
        std::vector<Handle> nodes;
        nodes.reserve(100000);
        // Memory for nodes is there already.
        mallopt(M_TRIM_THRESHOLD, 1 << 29);
        std::vector<std::unique_ptr<char[]>> blocks(500);
        for (auto& block : blocks) block = std::make_unique<char[]>(100000);
        blocks.clear();
        rlimit before{}, now{};
        getrlimit(RLIMIT_AS, &before);
        now = {1 << 20, before.rlim_max};
        setrlimit(RLIMIT_AS, &now);
        const auto create_comment = [&] {
            return call("xmlDOMDocCreateNode", doc, XML_COMMENT_NODE, "c");
        };
        Outcome outcome;
        while (nodes.size() < 100000 && (outcome = create_comment()).status() == VT_OK)
            nodes.push_back(outcome.handle());
        if (nodes.size() == 100000) _exit(0);  // earlier tests have left that many
        EXPECT_EQ(outcome.status(), VT_OUT_OF_MEMORY);
        free_node(nodes.back());
        EXPECT_TRUE(
            is_alive(nodes.back() = create_comment().handle()));  // in the slot that is free
        EXPECT_EQ(create_comment().status(), VT_OUT_OF_MEMORY);
        setrlimit(RLIMIT_AS, &before);
        for (int i = 0; i < 1000; ++i) nodes.push_back(create_comment().handle());
        std::sort(nodes.begin(), nodes.end());
        EXPECT_EQ(std::adjacent_find(nodes.begin(), nodes.end()), nodes.end());
        expect_alive(nodes, true);
        _exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(in_a_process_of_its_own(), testing::ExitedWithCode(0), "");
}

TEST_F(Checked, threads_share_their_handles) {
    const auto in_thread = [](auto work) { std::thread(work).join(); };
    const Handle doc = load_unkept();
    ends("freed by another thread", handles_in(doc),
         [&] { in_thread([&] { Host::Context(host).call("xmlDOMDocFreeDoc", {doc}); }); });
    const Handle second = load_unkept();
    ends("freed by a thread that never called the library", handles_in(second),
         [&] { in_thread([&] { xmlFreeDoc(node_of(second)->doc); }); });
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
        EXPECT_EQ(std::pair(first_heard, second_heard), std::pair(4, 2));
        below_second = nullptr;
        end(make());
        EXPECT_EQ(std::pair(first_heard, second_heard), std::pair(4, 4));
    }).join();
}

TEST_F(Checked, documents_outlive_a_host_and_come_from_it) {
    const Handle doc = load_unkept();
    EXPECT_EQ(Host(checked_plugin_path()).call("xmlDOMNodeGetName", {root(doc)}).utf8(), "r");
    ends("freed after a host has gone", {doc, root(doc)}, [&] { free(doc); });

    xmlDoc* const made = xmlNewDoc(nullptr);
    xmlDocSetRootElement(made, xmlNewNode(nullptr, BAD_CAST "host"));
    const Handle handle = handle_of(made);
    EXPECT_EQ(name(root(handle)), "host");
    ends("freed by the host", {handle, root(handle)}, [&] { xmlFreeDoc(made); });

    const Handle owner = load_unkept(), loose = create(owner, XML_TEXT_NODE, "loose");
    get("xmlDOMDocSetLastMsg", owner, "message");
    const Handle held = create(owner, XML_COMMENT_NODE, "held");
    const std::vector<ObjectHandle> lives = {holding(owner), holding(held)};
    xmlFreeNode(node_of(held));
    xmlFreeDoc(doc_of(owner));
    EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", loose), 0U);
    EXPECT_EQ(text("xmlDOMDocGetLastMsg", loose), "none");
    EXPECT_TRUE(select(loose, "id('x')|..|//*").empty());
    free_node(loose);
}

}  // namespace
}  // namespace valtrosse::host
