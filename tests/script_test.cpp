// Scripts in the JavaScript engine, against the library.
#include "script/engine.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/fixture.hpp"

namespace valtrosse::script {
namespace {

class Scripts : public testing::Test {
protected:
    /// Runs code and returns what it printed, with the errors, which stay in `errors` as well, as does
    /// the exit code in `code`.
    std::string run(const std::string& source) {
        out.str("");
        err.str("");
        code = engine.run_code(source, "test.js");
        errors = err.str();
        return out.str() + errors;
    }

    /// What the expression throws: "TypeError|status|message".
    std::string thrown(const std::string& expression) {
        return run("try { print('nothing thrown', " + expression +
                   "); } catch (e) { print([e.name, e.status, e.message].join('|')); }");
    }

    static std::string write_file(const std::string& name, const std::string& content) {
        std::ofstream(testing::TempDir() + name, std::ios::binary) << content;
        return testing::TempDir() + name;
    }

    host::Host host{host::plugin_path()};
    std::ostringstream out, err;
    Engine engine{host,
                  {.out = &out,
                   .err = &err,
                   .args = {"gr\xC3\xBCn \xF0\x9F\x98\x80"},
                   .module_directories = {testing::TempDir()}}};
    int code = 0;
    std::string errors;
};

TEST_F(Scripts, text_and_bytes_cross_unchanged) {
    // Every unit, at each place of a long text, so that runs of ASCII begin and end everywhere.
    EXPECT_EQ(run(R"js(
        function same(s) { return xmlUTF8Decode(xmlUTF8Encode(s)) === s; }
        var every = [], mixed = [], ascii = 'abcdefghijklmnopqrstuvwxyz';
        for (var u = 0; u < 0x10000; ++u) every.push(String.fromCharCode(u));
        for (u = 0; u < 600; ++u) mixed.push(ascii.slice(u % 26), every[u * 109]);
        print([every.join(''), mixed.join(''), '', '\ud800', 'x\udfff\ud800'].every(same));
        print([].join.call(xmlUTF8Encode('\ud83d')), xmlUTF8Encode('\ud83d\ude00').length,
              xmlUTF8Encode('a\0b').length, xmlUTF8Encode(String.fromCodePoint(0x1f600)).length,
              xmlUTF8Encode(String.fromCharCode(0x1f600)).length);
        var bytes = new Uint8Array([0x78, 0xc3, 0xa9, 0x79]);
        print(xmlUTF8Decode(bytes.subarray(1, 3)), xmlUTF8Decode(bytes.buffer).length,
              xmlUTF8Decode(new DataView(bytes.buffer, 3)),
              xmlUTF8Decode(new Uint8Array(0)) === '');
        print(args[0] === 'gr\u00fcn \ud83d\ude00',
              path8('\u00e9\u4e2d') === '\u00c3\u00a9\u00e4\u00b8\u00ad', '\ud83d\ude00 \ud83d');
    )js"),
              "true\n237,160,189 6 3 6 6\n\xC3\xA9 3 y true\n"
              "true true \xF0\x9F\x98\x80 \xEF\xBF\xBD\n");
}

TEST_F(Scripts, arguments_bind_by_position_and_by_name) {
    EXPECT_EQ(run(R"js(
        var doc = xmlDOMDocLoadXMLString({keepBlanks: 0, string: '<a><b/><c/></a>'});
        var a = xmlDOMDocGetRootNode(doc), b = xmlDOMNodeGetRelative({relative: 3, node: a});
        print([b].map(xmlDOMNodeGetName)[0], xmlDOMNodeGetRelative(b, 2),
              xmlDOMNodeGetRelative(b, 1) === xmlDOMNodeGetRelative(a, 4),
              xmlDOMUtilGetVersion().length > 0);
        print(xmlDOMDocFreeDoc(Object.create(null, {node: {value: doc, enumerable: true}})));
    )js"),
              "b undefined true true\n0\n");

    const std::string relative = "xmlDOMNodeGetRelative", name = "xmlDOMNodeGetName";
    const std::string refused = "TypeError||parameter node of xmlDOMNodeGetName ";
    const std::string whole = refused + "must be a whole number from 0 to 4294967295, not ";
    const std::pair<std::string, std::string> cases[] = {
        {relative + "(7)", "Error|41|parameter relative of " + relative + " is not supplied (41)"},
        {relative + "({relative: 3, node: undefined})",
         "Error|41|parameter node of " + relative + " is not supplied (41)"},
        {relative + "({nod: 7})", "TypeError||" + relative + " has no parameter nod"},
        {name + "(4294967296)", whole + "4294967296"},
        {name + "(0 / 0)", whole + "NaN"},
        {name + "([7])", refused + "cannot be an array"},
        {name + "(Symbol('x'))", refused + "cannot be a symbol"},
        {name + "(LIBXMLLife.new())", refused + "cannot be an object"},
        {relative + "({get node() { throw new RangeError('mine'); }})", "RangeError||mine"}};
    for (const auto& [expression, error] : cases)
        EXPECT_EQ(thrown(expression), error + '\n') << expression;
    // 0, null and texts are for the library to refuse.
    for (const char* value : {"(0)", "(null)", "('7')", "(true)", "(new Uint8Array(1))"})
        EXPECT_EQ(thrown(name + value).substr(0, 9), "Error|30|");
}

TEST_F(Scripts, refuse_paths_that_would_lose_characters) {
    for (const char* call :
         {"xmlDOMDocLoadXMLFile('\\u4e2d', 0)", "xmlHTMLDocLoadFile('\\u4e2d', 0)",
          "xmlDOMDocSaveXMLFormatFile({doc: 7, filepath: '\\u4e2d'})",
          "xmlHTMLDocSaveFormatFile(7, '\\u4e2d', 'UTF-8', 1)"})
        EXPECT_NE(thrown(call).find("pass path8(path)"), std::string::npos) << call << out.str();
    EXPECT_EQ(run("var path = '" + write_file("\xE4\xB8\xAD.xml", "<a/>") + "';" + R"js(
        var doc = xmlDOMDocLoadXMLFile(path8(path), 0);
        print(xmlDOMDocSaveXMLFile(doc, path) > 0, xmlDOMDocFreeDoc(doc));
        print(readFile(path).length === readFile(path, 'binary').length);
        writeFile(path, 'x\ud83d\ude00');
        print(readFile(path).length);
    )js"),
              "true 0\ntrue\n3\n");
}

TEST_F(Scripts, life_objects_end_with_their_last_variable) {
    const auto lives = [&] { return host.counters().live_objects; };
    const auto before = lives();
    EXPECT_EQ(run(R"js(
        var life = LIBXMLLife.new(), same = life, doc = xmlDOMDocCreateDoc('1.0');
        var derived = Object.create(life);   // its end must not be the life's
        derived = null;
        print(life.addInternal(doc) === life,
              life.removeInternal().addInternal({internal: doc}) === life,
              new LIBXMLLife() instanceof LIBXMLLife);
    )js"),
              "true true true\n");
    EXPECT_EQ(lives(), before + 1);
    run("life = null;");
    EXPECT_EQ(lives(), before + 1);
    run("same = null;");
    EXPECT_EQ(lives(), before);
    EXPECT_EQ(thrown("LIBXMLLife.new().addInternal(0)").substr(0, 9), "Error|30|");
    EXPECT_EQ(thrown("LIBXMLLife.prototype.addInternal(7)"),
              "TypeError||LIBXMLLife.addInternal is called on no LIBXMLLife object\n");
    {
        // Circles, a removed finalizer, an exit from deep inside: all end with the engine.
        Engine other(host, {.out = &out, .err = &err});
        const int exit_code = other.run_code(R"js(
            var a = LIBXMLLife.new(); a.b = LIBXMLLife.new(); a.b.a = a; a = null;
            var c = LIBXMLLife.new(); Duktape.fin(c, undefined);
            Duktape.fin(LIBXMLLife.prototype, undefined);
            [0].forEach(function () { exit(9); });
        )js");
        EXPECT_EQ(exit_code, 9);
        EXPECT_EQ(lives(), before + 3);
    }
    EXPECT_EQ(lives(), before);
}

TEST_F(Scripts, modules_load_once_and_may_form_circles) {
    const std::string directory = testing::TempDir();
    write_file("vt_a.js",
               "\xEF\xBB\xBF#!/usr/bin/env vtdom\nexports.early = 1;\n"
               "exports.b = require('./vt_b').seen;\nexports.file = __filename;\n");
    write_file("vt_b.js", "module.exports = {seen: typeof require('./vt_a.js').early};");
    write_file("vt_broken.js", "\nvar x = ;\n");
    write_file("vt_throws.js", "\n\nthrow new Error('in a module');");
    EXPECT_EQ(run("var a = require('vt_a'), again = require('" + directory + "./vt_a.js');" +
                  "print(a.b, a === again, a.file);"),
              "number true " + directory + "vt_a.js\n");
    for (int i = 0; i < 2; ++i) {  // a module that failed is tried again
        run("\nrequire('vt_throws');");
        EXPECT_TRUE(errors.starts_with(directory + "vt_throws.js:3: Error: in a module\n"));
        EXPECT_NE(errors.find("at global (test.js:2)"), std::string::npos) << errors;
    }
    run("require('vt_broken');");
    EXPECT_EQ(errors.find(directory + "vt_broken.js:2: SyntaxError"), 0u) << errors;
    EXPECT_EQ(thrown("require('./vt_none')"), "Error||cannot find module './vt_none'\n");
}

TEST_F(Scripts, uncaught_errors_show_their_place_and_scripts_can_end_early) {
    const std::pair<const char*, const char*> cases[] = {
        {"\n\nfunction f() { xmlDOMNodeGetName(); }\nf();",
         "test.js:3: Error: parameter node of xmlDOMNodeGetName is not supplied (41)"},
        {"#!vtdom\nvar x = (;", "test.js:2: SyntaxError"},
        {"throw 'words';", "test.js: uncaught words"},
        {"throw Object.create(Error.prototype);", "test.js: Error"},
        {"\nvar s = '\xE9';", "test.js:2: SyntaxError: the script is not UTF-8 here"},
        {"(function f() { return f() + 1; })();", "test.js:1: RangeError"},
        {"var s = '('; while (s.length < 65536) s += s; eval(s);", "input:1: RangeError"}};
    for (const auto& [source, first_line] : cases) {
        run(source);
        EXPECT_TRUE(errors.starts_with(first_line)) << errors;
        EXPECT_EQ(code, 1);
    }
    // A script cannot go on after exit, not even by catching what takes it out.
    EXPECT_EQ(run(R"js(
        try { [1].map(function () { try { exit(7); } catch (e) { print('caught'); } }); }
        finally { print('finally'); }
    )js"),
              "");
    EXPECT_EQ(code, 7);
    EXPECT_EQ(run("print(1, 'a', null);"), "1 a null\n");  // the engine goes on
    EXPECT_EQ(code, 0);
    EXPECT_THROW(engine.run_file(testing::TempDir() + "vt_none.js"), std::system_error);
}

}  // namespace
}  // namespace valtrosse::script
