// What a script owns, as learnt from its calls, against libxml2's own account of what is alive.
#include "cli/ownership.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <set>
#include <sstream>

#include "cli/leaks.hpp"
#include "fixture.hpp"
#include "script/engine.hpp"

namespace valtrosse::cli {
namespace {

using Nodes = std::set<const void*>;

Nodes alive;  // every document, DTD, node and attribute

/// Lets libxml2 tell what it makes and frees, for as long as the object lives.
struct Account {
    Account() {
        alive.clear();
        xmlRegisterNodeDefault([](xmlNode* node) { alive.insert(node); });
        xmlDeregisterNodeDefault([](xmlNode* node) { alive.erase(node); });
    }
    ~Account() {
        xmlRegisterNodeDefault(nullptr);
        xmlDeregisterNodeDefault(nullptr);
    }
    /// What hangs nowhere, so that nobody but the script can free it.
    static Nodes roots() {
        Nodes found = alive;
        std::erase_if(found, [](const void* node) {
            return static_cast<const xmlNode*>(node)->parent != nullptr;
        });
        return found;
    }
};

class OwnershipOf : public testing::Test {
protected:
    void run(const std::string& source) {
        script::Engine engine(host,
                              {.out = &out, .err = &out, .args = args, .observer = &observed});
        EXPECT_EQ(engine.run_code(source, "owner.js"), 0) << out.str();
    }

    Nodes owned_nodes() {
        Nodes found;
        for (const auto& [tree, origin] : observed.owned())
            if (type_of(host, tree) != NodeType::notation) found.insert(host.object_of(tree));
        return found;
    }

    void free_owned() {
        std::string list;
        for (const auto& [tree, origin] : observed.owned()) list += std::to_string(tree) + ',';
        run('[' + list + "].forEach(xmlDOMNodeFreeNode)");
    }

    Account account;
    host::Host host{host::plugin_path()};
    Ownership observed{host};
    std::ostringstream out;
    std::vector<std::string> args;
};

// The script keeps to the rules and remembers what it may touch, but frees only some of it.
constexpr const char* wander = R"js(
var seed = Number(args[0]), docs = [], roots = [], lives = [];
function random(n) { seed = (seed * 1103515245 + 12345) % 2147483648; return (seed >> 8) % n; }
function pick(list) { return list[random(list.length)]; }
function remove(list, item) { if (list.indexOf(item) >= 0) list.splice(list.indexOf(item), 1); }
function newDoc() {
    docs.push(random(3) ? xmlDOMDocLoadXMLString('<!DOCTYPE r [<!NOTATION n SYSTEM "v">' +
        '<!ENTITY e "x">]><r a="1"><b c="2">text &e; more</b><?p i?><d/></r>', 0)
        : xmlHTMLDocLoadString('<p class="x">one<p>two', 0));
}
newDoc();
function inner(doc) {   // a node inside a document, never the root
    var root = xmlDOMDocGetRootNode(doc);
    var list = root && xmlDOMNodeSelectNodes(root, './/node()|.//*/@*');
    var all = list && list.substr(1).match(/.{8}/g);
    return all && parseInt(pick(all), 16);
}
var steps = [
    function () { if (docs.length < 5) newDoc(); },
    function () { roots.push(xmlDOMDocCreateNode(pick(docs), pick([1, 2, 3, 4, 5, 7, 8, 11]), 'n')); },
    function () { roots.push(xmlDOMDocCreateNodeNS(pick(docs), 1 + random(2), 'p:q', 'urn:p')); },
    function () { roots.push(xmlDOMNodeCloneNode(inner(pick(docs)) || docs[0], 1)); },
    function () { if (docs.length < 5) docs.push(xmlDOMNodeCloneNode(pick(docs), random(2))); },
    function () { xmlDOMDocCreateDoctype('t'); xmlDOMDocGetNotations(pick(docs)); },
    function (root, node) { if (node && xmlDOMNodeUnlinkNode(node) === node) roots.push(node); },
    function (root) {
        var element = xmlDOMDocGetRootNode(pick(docs));
        if (!element || !root) return;
        if (xmlDOMNodeGetType(root) === 2) {
            var old = xmlDOMElementSetAttributeNode({newnode: root, node: element});
            remove(roots, root);
            if (old !== root) roots.push(old);
        } else if (xmlDOMNodeAddChild(0, element, root) !== undefined) remove(roots, root);
    },
    function (root, node) {
        if (!root || !node || xmlDOMNodeReplaceNode(node, root) !== node) return;
        remove(roots, root);
        roots.push(node);
    },
    function (root) { if (root && xmlDOMNodeFreeNode(root) === 0) remove(roots, root); },
    function () { if (docs.length > 1) xmlDOMDocFreeDoc(docs.splice(random(docs.length), 1)[0]); },
    function () { lives.push({life: LIBXMLLife.new(), holds: 0}); },
    function (root, node) {
        var entry = pick(lives);
        if (entry) entry.life.addInternal(entry.holds = node || docs[0]);
    },
    function () { if (lives.length) pick(lives).life.removeInternal(); },
    function () {   // an object ends, perhaps with what hangs nowhere by now
        var entry = lives.shift() || {};
        remove(roots, entry.holds);
        remove(docs, entry.holds);
        if (!docs.length) newDoc();
    },
    function (root) {   // an object that ends at once takes a root along
        if (root) LIBXMLLife.new().addInternal(root);
        remove(roots, root);
    }
];
for (var step = 0; step < args[1]; ++step) pick(steps)(pick(roots), inner(pick(docs)));
var left = LIBXMLLife.new().addInternal(docs.pop());
)js";

TEST_F(OwnershipOf, random_scripts_is_what_libxml2_says_hangs_nowhere) {
    const bool quick = host::under_valgrind();
    for (int seed = 1; seed <= (quick ? 3 : 40); ++seed) {
        args = {std::to_string(seed), quick ? "100" : "400"};
        run(wander);
        ASSERT_EQ(owned_nodes(), Account::roots()) << "seed " << seed;
        ASSERT_FALSE(observed.owned().empty());
        free_owned();
        ASSERT_EQ(Account::roots(), Nodes()) << "seed " << seed;
    }
}

TEST_F(OwnershipOf, trees_that_others_take_along_is_noticed) {
    run(R"js(
        // A holder whose tree went with its document does not hold what comes to lie there.
        var owner = xmlDOMDocCreateDoc('1.0'), doc = xmlDOMDocLoadXMLString('<a><b/></a>', 0);
        var b = xmlDOMNodeGetRelative(xmlDOMDocGetRootNode(doc), 3);
        var stale = LIBXMLLife.new().addInternal(b);
        xmlDOMDocFreeDoc(doc);
        for (var k = 0; k < 20; ++k) xmlDOMDocCreateNode(owner, 1, 'b');
        // Merged text, a namespace declaration, a DTD that finds a document.
        doc = xmlDOMDocLoadXMLString('<a>one</a>', 0);
        xmlDOMNodeAddChild(0, xmlDOMDocGetRootNode(doc), xmlDOMDocCreateNode(doc, 3, ' two'));
        var xmlns = xmlDOMDocCreateNodeNS(doc, 2, 'xmlns:p', 'http://www.w3.org/2000/xmlns/');
        xmlDOMNodeAddChild(0, xmlns, xmlDOMDocCreateNode(doc, 3, 'urn:p'));
        xmlDOMElementSetAttributeNodeNS(xmlDOMDocGetRootNode(doc), xmlns);
        xmlDOMDocSetExternalDtd(doc, xmlDOMDocCreateDoctype('a'));
        xmlDOMDocFreeDoc(doc);
        // Two objects hold one tree; the first that ends frees it.
        doc = xmlDOMDocCreateDoc('1.0');
        stale = LIBXMLLife.new().addInternal(doc);
        LIBXMLLife.new().addInternal(doc);
        xmlDOMDocFreeDoc(owner);
    )js");
    std::ostringstream report;
    EXPECT_EQ(report_leaks(report, host, observed), 21u);
    EXPECT_THAT(report.str(), testing::ContainsRegex(R"(21 handles were neither freed nor linked
  element <b> .[0-9]+ and 19 more. from xmlDOMDocCreateNode at owner.js:7
  attribute xmlns:p="urn:p" .[0-9]+. from xmlDOMDocCreateNodeNS at owner.js:11
$)"));
    EXPECT_EQ(owned_nodes(), Account::roots());
    free_owned();
}

}  // namespace
}  // namespace valtrosse::cli
