// The interactive shell: what Tab offers, when an input is complete, what is shown as a handle.
#include "cli/shell.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "cli/completion.hpp"
#include "fixture.hpp"

namespace valtrosse::cli {
namespace {

using namespace testing;

class ShellSession : public Test {
protected:
    ShellSession() {
        observers.add(ownership);
        observers.add(handles);
    }

    /// What a shell says to these lines, without prompts.
    std::string say(const std::string& lines, Shell& to) {
        out.str("");
        std::istringstream in(lines);
        StreamInput input(in);
        to.run(input);
        return out.str();
    }
    std::string say(const std::string& lines) { return say(lines, shell); }
    std::vector<std::string> tab(const std::string& line) { return shell.complete(line).words; }

    host::Host host{host::plugin_path()};
    Ownership ownership{host};
    KnownHandles handles{ownership};
    script::CallObservers observers;
    std::ostringstream out;
    script::Engine engine{host, {.out = &out, .err = &out, .observer = &observers}};
    Reference reference = Reference::read(host::source_path("docs/functions.md"));
    Shell shell{host, engine, ownership, handles, reference, out};
};

TEST_F(ShellSession, offers_what_could_stand_there) {
    say("var tea = {leaf: {colour: 1, size: 2}}; var trap = {get at() { throw 1; }}");
    const auto relative = [&](const std::string& rest) {
        return tab("xmlDOMNodeGetRelative" + rest);
    };
    EXPECT_THAT(tab("x = xmlDOMDocGetEn"), ElementsAre("xmlDOMDocGetEntities("));
    EXPECT_THAT(tab("tea.leaf."), Contains("colour"));
    EXPECT_THAT(tab("print(tea.leaf.s"), ElementsAre("size"));
    EXPECT_THAT(tab("Math.ma"), ElementsAre("max"));
    EXPECT_THAT(tab("trap."), Contains("at"));
    for (const char* line : {"trap.at.", "f().ma", "nobody.x.y"}) EXPECT_THAT(tab(line), IsEmpty());
    EXPECT_THAT(relative("("), ElementsAre("{node: ", "{relative: "));
    EXPECT_THAT(relative("({"), ElementsAre("node: ", "relative: "));
    EXPECT_THAT(relative("({node: f(1, ')'), r"), ElementsAre("relative: "));
    EXPECT_THAT(relative("({node: te"), ElementsAre("tea"));
    EXPECT_THAT(relative("(te"), ElementsAre("tea"));
    EXPECT_THAT(tab("g(1, {n"), Not(Contains("node: ")));
    EXPECT_THAT(tab(".he"), ElementsAre("help"));
    EXPECT_THAT(tab(".help xmlUTF8"), ElementsAre("xmlUTF8Decode", "xmlUTF8Encode"));
    EXPECT_TRUE(shell.complete("xmlDOMDocLoadXMLFile('dat").files);
    EXPECT_FALSE(shell.complete("'it\\'s' + x").files);
}

TEST_F(ShellSession, waits_for_the_rest_of_an_input_and_outlives_errors) {
    EXPECT_THAT(say("[1,\n2,\n\n"), HasSubstr("SyntaxError"));  // an empty line ends it
    EXPECT_EQ(say("function f(x) {\nreturn x +\n1; }\nf(\n1)\n"), "2\n");
    EXPECT_EQ(say("/* a\nb */ 3\n'a' +\n'b'\nif (true) {\n4 }\n"), "3\n\"ab\"\n4\n");
    EXPECT_EQ(say("{a: 1}\n"), "{a: 1}\n");
    // Errors that more lines would not mend come at once.
    for (const char* wrong : {"x = ;", "1 2", "'a", "a)", "/b", "return 1"}) {
        EXPECT_THAT(say(std::string(wrong) + "\n5\n"), HasSubstr("\n5\n")) << wrong;
    }
    // Declarations stay, also of inputs that wait or import.
    EXPECT_EQ(say("const {a, b: [c]} = await Promise.resolve({\na: 1, b: [2]})\na + c\n"
                  "class A { x = 1 }\nasync function two() { return new A().x + 1 }\nawait two()\n"
                  "(await two()) + (1)\n{q: await two()}\nimport * as fs from './none'\n"
                  "setTimeout(() => print('later'), 1)\n"),
              "3\n2\n3\n{q: 2}\nError: cannot find module './none'\nlater\n1\n");
    EXPECT_EQ(say("nope\nthrow {}\nnull.x\n_ = 6\n_ + 1\n_\n"),
              "ReferenceError: nope is not defined\nuncaught {}\n"
              "TypeError: null has no properties\n6\n7\n7\n");
    EXPECT_EQ(say("let n = 1; const g = x =>\n x.y\nn += 1\ng(null)\nn\n"),
              "2\ninput:2:2: TypeError: x is null\n    at g (input:2:2)\n2\n");
    EXPECT_EQ(say("var p = new Proxy([], {get: function () { throw new Error('trap'); }}); p\n8\n"),
              "Error: trap\n8\n");
    EXPECT_EQ(say("exit(9)\n10\n"), "");
}

TEST_F(ShellSession, shows_handles_only_of_what_calls_gave_and_is_alive) {
    EXPECT_THAT(say("var d = xmlDOMDocLoadXMLString('<a><b id=\"1\">x</b>y<!--z--></a>', 0)\n"
                    "var a = xmlDOMDocGetRootNode(d); d\na\n[a, 1]\n"),
                MatchesRegex("XML document, root <a>, 2 elements, no encoding named  .+\n"
                             "<a>  [0-9]+\n.[0-9]+ <a>, 1.\n"));
    EXPECT_THAT(say("xmlDOMNodeSelectNodes(a, '//node()|//@*')\n"),
                MatchesRegex("( +[0-9]+  (element|attribute|text|comment) +"
                             "(<a>|<b id=\"1\">|id=\"1\"|\"x\"|\"y\"|<!--z-->)\n)+"
                             "6 nodes\n"));
    EXPECT_EQ(say("xmlDOMNodeSelectNodes(a, 'c')\n'4'\n'400000001'\n1\n4096\n"),
              "0 nodes\n\"4\"\n\"400000001\"\n1\n4096\n");
    EXPECT_EQ(say("xmlDOMNodeGetRelative(d, 0)\nvar x = 1\n"), "undefined\n");
    EXPECT_EQ(say("var quiet = new Function('d', 'xmlDOMNodeGetRelative(d, 0)'); quiet(d)\n"), "");
    // Numbers that look like handles but were never given as such are left alone.
    EXPECT_THAT(say("a + 8\n"), MatchesRegex("[0-9]+\n"));
    // A node may name a document that is gone; what was in it is unknown from then on.
    const std::string after =
        say("var n = xmlDOMDocCreateNode(d, 8, 'n'); xmlDOMDocFreeDoc(d)\n"
            "d\na\nxmlDOMNodeGetOwnerDoc(n)\nn\n");
    EXPECT_THAT(after, MatchesRegex("0\n[0-9]+\n[0-9]+\n[0-9]+\n<!--n-->  [0-9]+\n"));
    EXPECT_THAT(say(".owned\n"), HasSubstr("comment  <!--n-->\n1 node\n"));
    say("xmlDOMNodeFreeNode(n)\n");
}

TEST_F(ShellSession, agrees_with_the_reference) {
    for (const host::Function& function : host.functions()) {
        const Reference::Entry* entry = reference.find(function.name);
        ASSERT_NE(entry, nullptr) << function.name;
        const auto begins = [&](const char* text) { return entry->result.starts_with(text); };
        const Gives expected = begins("handle list")                        ? Gives::handle_list
                               : begins("handle ") || begins("the handle ") ? Gives::handle
                                                                            : Gives::other;
        EXPECT_EQ(result_kind(function.name), expected) << function.name;
    }
    EXPECT_THAT(say(".help xmlDOMDocSetExternalDtd\n"),
                StartsWith("xmlDOMDocSetExternalDtd(doc, dtd)\nMakes a DTD the internal subset"));
    EXPECT_THAT(say(".help LIBXMLLife.addInternal\n"), HasSubstr("- internal: handle of"));
    EXPECT_THAT(say("?\n"), StartsWith("Type JavaScript"));
    EXPECT_THAT(say(".help dom\n"), HasSubstr(".help dom nodes"));
    EXPECT_THAT(say(".help dom finding\n"), HasSubstr("selectSingleNode(xpath, uris)"));
    EXPECT_EQ(say(".help selectSingleNode\nexit\n6\n"), "  .help dom finding\n");
    EXPECT_THAT(say(".help xmldomdocfree\n.nothing\n"),
                "  xmlDOMDocFreeDoc(node)\nThere is no command .nothing: see .help\n");
    const Reference missing = Reference::read("absent.md");
    Shell without{host, engine, ownership, handles, missing, out};
    EXPECT_THAT(say(".help xmlUTF8Encode\n", without), StartsWith("xmlUTF8Encode(string)\n"));
}

}  // namespace
}  // namespace valtrosse::cli
