// Building, moving, unlinking, cloning and freeing trees, call by call.
#include <libxml/tree.h>

#include "bench/functions.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

using Handle = std::uint32_t;

Handle new_document() { return shared_host().call("xmlDOMDocCreateDoc", {u"1.0"}).handle(); }
xmlDoc* as_doc(Handle handle) { return static_cast<xmlDoc*>(shared_host().object_of(handle)); }

/// Gives the element an attribute and a text.
void fill(const Functions& f, Handle doc, Handle element) {
    const Handle attr = call(f.create, {doc, 2, u"n"}).handle();
    const Handle value = call(f.create, {doc, 3, u"1"}).handle();
    call(f.add_child, {0, attr, value});
    call(f.set_attribute_node, {element, attr});
    const Handle text = call(f.create, {doc, 3, u"some text"}).handle();
    call(f.add_child, {0, element, text});
}

/// An element with an attribute and a text, hanging nowhere.
Handle make_element(const Functions& f, Handle doc) {
    const Handle element = call(f.create, {doc, 1, u"item"}).handle();
    fill(f, doc, element);
    return element;
}

/// Elements go under the root as soon as they are made.
void build_top_down(const Functions& f, Handle doc, int elements) {
    const Handle root = call(f.create, {doc, 1, u"r"}).handle();
    call(f.add_child, {0, doc, root});
    for (int i = 0; i < elements; ++i) {
        const Handle element = call(f.create, {doc, 1, u"item"}).handle();
        call(f.add_child, {0, root, element});
        fill(f, doc, element);
    }
}
/// Rows of 100 complete elements are linked when they are full, the root at the end.
void build_bottom_up(const Functions& f, Handle doc, int elements) {
    const Handle root = call(f.create, {doc, 1, u"r"}).handle();
    for (int i = 0; i < elements; i += 100) {
        const Handle row = call(f.create, {doc, 1, u"row"}).handle();
        for (int k = 0; k < 100; ++k) call(f.add_child, {0, row, make_element(f, doc)});
        call(f.add_child, {0, root, row});
    }
    call(f.add_child, {0, doc, root});
}

using Build = void (*)(const Functions&, Handle, int);

Job building(const Functions& functions, Build build, int elements) {
    return [&functions, build, elements](benchmark::State& state) {
        for (auto _ : state) {
            const Handle doc = new_document();
            build(functions, functions.of(doc), elements);
            state.PauseTiming();
            call(library().free_doc, {doc});
            state.ResumeTiming();
        }
        // The time of one element, to see whether it stays the same for more of them.
        state.counters["per element"] = benchmark::Counter(
            elements, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    };
}

/// 100,000 elements with a prefix, from one document to another and back.
Job moving(const Functions& functions) {
    return [&functions](benchmark::State& state) {
        constexpr int elements = 100000;
        const auto load = [](int count) {
            std::u16string text = u"<r xmlns:p='urn:p'>";
            for (int i = 0; i < count; ++i) text += u"<p:e/>";
            const auto doc = shared_host().call("xmlDOMDocLoadXMLString", {text + u"</r>", 1});
            return doc.handle();
        };
        const Handle docs[] = {load(elements), load(0)};
        const auto root = [](Handle doc) {
            return shared_host().call("xmlDOMDocGetRootNode", {doc}).handle();
        };
        const Handle roots[] = {root(docs[0]), root(docs[1])};
        const std::vector<Handle> nodes =
            shared_host().call("xmlDOMNodeSelectNodes", {roots[0], u"*"}).handles();
        std::vector<Handle> moved;
        for (const Handle node : nodes) moved.push_back(functions.of(node));
        const Handle homes[] = {functions.of(roots[0]), functions.of(roots[1])};
        int to = 1;
        for (auto _ : state) {
            for (const Handle node : moved) call(functions.add_child, {0, homes[to], node});
            // Bare libxml2 leaves the nodes with the namespace of the document that they have left.
            to = 1 - to;
        }
        // Home again, so that both documents own what they hold when they are freed.
        for (const Handle node : moved) call(functions.add_child, {0, homes[0], node});
        for (const Handle doc : docs) call(library().free_doc, {doc});
    };
}

/// A subtree of 1,000 elements with text, out of its document and in again.
Job relinking(const Functions& functions) {
    return [&functions](benchmark::State& state) {
        std::u16string text = u"<r><part>";
        for (int i = 0; i < 1000; ++i) text += u"<e n='1'>text</e>";
        const auto doc = shared_host().call("xmlDOMDocLoadXMLString", {text + u"</part></r>", 1});
        const Handle root = shared_host().call("xmlDOMDocGetRootNode", {doc}).handle();
        const Handle part = call(library().relative, {root, 3}).handle();
        const Handle moved = functions.of(part), home = functions.of(root);
        for (auto _ : state) {
            call(functions.unlink, {moved});
            call(functions.add_child, {0, home, moved});
        }
        call(library().free_doc, {doc});
    };
}

constexpr int elements_to_free = 100000;

Job freeing_document(const Functions& functions) {
    return [&functions](benchmark::State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            const Handle doc = new_document();
            build_top_down(library(), doc, elements_to_free);
            const Handle freed = functions.of(doc);
            state.ResumeTiming();
            call(functions.free_doc, {freed});
        }
    };
}
Job freeing_subtree(const Functions& functions) {
    return [&functions](benchmark::State& state) {
        const Handle doc = new_document();
        for (auto _ : state) {
            state.PauseTiming();
            const Handle root = call(library().create, {doc, 1, u"r"}).handle();
            for (int i = 0; i < elements_to_free; ++i)
                call(library().add_child, {0, root, make_element(library(), doc)});
            const Handle freed = functions.of(root);
            state.ResumeTiming();
            call(functions.free_node, {freed});
        }
        call(library().free_doc, {doc});
    };
}

void clone(benchmark::State& state) {
    const Handle doc = new_document();
    build_top_down(library(), doc, elements_to_free);
    for (auto _ : state) {
        const auto copy = shared_host().call("xmlDOMNodeCloneNode", {doc, 1});
        state.PauseTiming();
        call(library().free_doc, {copy});
        state.ResumeTiming();
    }
    call(library().free_doc, {doc});
}
void clone_libxml2(benchmark::State& state) {
    const Handle doc = new_document();
    build_top_down(library(), doc, elements_to_free);
    for (auto _ : state) {
        xmlDoc* const copy = xmlCopyDoc(as_doc(doc), 1);
        state.PauseTiming();
        xmlFreeDoc(copy);
        state.ResumeTiming();
    }
    call(library().free_doc, {doc});
}

const Registration trees([] {
    const std::string same_around_libxml2 = "the same host functions around libxml2";
    for (const int elements : {1000, 100000, 1000000}) {
        const std::string size = std::to_string(elements) + " elements";
        compare("Build, with an attribute and a text", "top down, " + size, 0,
                building(library(), build_top_down, elements),
                building(bare(), build_top_down, elements), same_around_libxml2);
        compare("Build, with an attribute and a text", "bottom up, " + size, 0,
                building(library(), build_bottom_up, elements),
                building(bare(), build_bottom_up, elements), same_around_libxml2);
    }
    compare("Change", "move 100,000 prefixed elements", 0, moving(library()), moving(bare()),
            same_around_libxml2 + ", which leaves namespaces dangling");
    compare("Change", "unlink and relink 1,000 elements", 0, relinking(library()),
            relinking(bare()), same_around_libxml2);
    compare("Change", "clone a document of 100,000 elements", 0, clone, clone_libxml2,
            "xmlCopyDoc, which loses private namespaces");
    compare("Free", "document of 100,000 elements", 1.05, freeing_document(library()),
            freeing_document(bare()), same_around_libxml2);
    compare("Free", "subtree of 100,000 elements", 1.05, freeing_subtree(library()),
            freeing_subtree(bare()), same_around_libxml2);
});

}  // namespace
}  // namespace valtrosse::bench
