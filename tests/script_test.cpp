// Scripts in the JavaScript engine, against the library.
#include "script/engine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/fixture.hpp"

namespace valtrosse::script {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// VALTROSSE_COLLECT_EVERY: so often everything is collected that can be.
unsigned calls_between_collections() {
    const char* const number = std::getenv("VALTROSSE_COLLECT_EVERY");
    return number == nullptr ? 0 : static_cast<unsigned>(std::atoi(number));
}

/// Whether how much memory a process takes says little of its scripts.
bool memory_is_a_tool_s() {
#ifdef __SANITIZE_ADDRESS__
    return true;
#else
    return host::under_valgrind();
#endif
}

class Scripts : public testing::Test {
protected:
    /// Runs code and returns what it printed, with the errors, which stay in `errors` as well, as does
    /// the exit code in `code`.
    std::string run(const std::string& source, const std::string& name = "test.js") {
        out.str("");
        err.str("");
        code = engine->run_code(source, name);
        errors = err.str();
        return out.str() + errors;
    }

    /// What the expression throws: "TypeError|status|message".
    std::string thrown(const std::string& expression) {
        return run("try { print('nothing thrown', " + expression +
                   "); } catch (e) { print([e.name, e.status, e.message].join('|')); }");
    }

    static std::string write_file(const std::string& name, const std::string& content) {
        std::filesystem::create_directories(std::filesystem::path(folder() + name).parent_path());
        std::ofstream(folder() + name, std::ios::binary) << content;
        return folder() + name;
    }
    static std::string folder() {
        return (std::filesystem::path(testing::TempDir()) / "scripts/").lexically_normal();
    }

    /// Interrupts what runs after a while.
    std::string run_interrupted(const std::string& source) {
        std::thread other([this] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            engine->interrupt();
        });
        std::string text = run(source);
        other.join();
        return text;
    }

    /// An engine in the place of the one before: a thread has one.
    void start(std::vector<std::string> args, unsigned between_collections) {
        engine.reset();
        engine.emplace(host, Options{.out = &out,
                                     .err = &err,
                                     .args = std::move(args),
                                     .module_directories = {folder() + "bundled"},
                                     .calls_between_collections = between_collections});
    }

    Scripts() { start({"gr\xC3\xBCn \xF0\x9F\x98\x80"}, calls_between_collections()); }

    host::Host host{host::plugin_path()};
    std::ostringstream out, err;
    std::optional<Engine> engine;
    int code = 0;
    std::string errors;
};

TEST_F(Scripts, text_and_bytes_cross_unchanged) {
    // Every unit, at each place of a long text; single bytes and units at once.
    EXPECT_EQ(run(R"js(
        const same = s => xmlUTF8Decode(xmlUTF8Encode(s)) === s;
        const every = [], mixed = [], ascii = 'abcdefghijklmnopqrstuvwxyz';
        for (let u = 0; u < 0x10000; ++u) every.push(String.fromCharCode(u));
        for (let u = 0; u < 600; ++u) mixed.push(ascii.slice(u % 26), every[u * 109]);
        print([every.join(''), every.slice(0, 256).join(''), mixed.join(''), '', '\ud800',
               'x\udfff\ud800'].every(same));
        print([].join.call(xmlUTF8Encode('\ud83d')), xmlUTF8Encode('\ud83d\ude00').length,
              xmlUTF8Encode('a\0b').length, xmlUTF8Encode(String.fromCodePoint(0x1f600)).length);
        print(xmlDOMUtilStrReplace('a\u4e2db\u00e9', '\u00e9', 'x'.repeat(9).slice(3) + '\u4e2d'),
              xmlDOMUtilStrReplace('one' + ' two', 'o', String(7)));
        const bytes = new Uint8Array([0x78, 0xc3, 0xa9, 0x79]);
        print(xmlUTF8Decode(bytes.subarray(1, 3)), xmlUTF8Decode(bytes.buffer).length,
              xmlUTF8Decode(new DataView(bytes.buffer, 3)),
              xmlUTF8Decode(new Uint8Array(0)) === '');
        print(args[0] === 'gr\u00fcn \ud83d\ude00',
              path8('\u00e9\u4e2d') === '\u00c3\u00a9\u00e4\u00b8\u00ad', '\ud83d\ude00 \ud83d');
    )js"),
              "true\n237,160,189 6 3 6\na\xE4\xB8\xAD"
              "bxxxxxx\xE4\xB8\xAD 7ne tw7\n\xC3\xA9 3 y true\n"
              "true true \xF0\x9F\x98\x80 \xEF\xBF\xBD\n");
}

TEST_F(Scripts, arguments_bind_by_position_and_by_name) {
    EXPECT_EQ(run(R"js(
        const doc = xmlDOMDocLoadXMLString({keepBlanks: 0, string: '<a><b/><c/></a>'});
        const a = xmlDOMDocGetRootNode(doc), b = xmlDOMNodeGetRelative({relative: 3, node: a});
        print([b].map(xmlDOMNodeGetName)[0], xmlDOMNodeGetRelative(b, 2),
              xmlDOMNodeGetRelative(b, 1) === xmlDOMNodeGetRelative(a, 4),
              xmlDOMUtilGetVersion().length > 0);
        print(xmlDOMDocFreeDoc(Object.create(null, {node: {value: doc, enumerable: true}})));
    )js"),
              "b undefined true true\n0\n");

    const std::string relative = "xmlDOMNodeGetRelative", name = "xmlDOMNodeGetName";
    const std::string refused = "TypeError||parameter node of xmlDOMNodeGetName ";
    const std::string whole = refused + "must be a whole number from 0 to 4294967295, not ";
    const std::string undefined =
        " is undefined, as given by a call that found or loaded nothing; why a document did not "
        "load, xmlDOMDocGetLastMsg(0) tells (41)";
    const std::pair<std::string, std::string> cases[] = {
        {relative + "(7)", "Error|41|parameter relative of " + relative + " is not supplied (41)"},
        {relative + "({node: undefined})", "Error|41|parameter node of " + relative + undefined},
        {name + "(undefined)", "Error|41|parameter node of " + name + undefined},
        {relative + "({nod: 7})", "TypeError||" + relative + " has no parameter nod"},
        {name + "(4294967296)", whole + "4294967296"},
        {name + "(0 / 0)", whole + "NaN"},
        {name + "([7])", refused + "cannot be an array"},
        {name + "(Symbol('x'))", refused + "cannot be a symbol"},
        {name + "(7n)", refused + "cannot be a BigInt"},
        {name + "(LIBXMLLife.new())", refused + "cannot be an object"},
        {name + "('7')", "Error|30|parameter node of " + name + " is text, not a number (30)"},
        {relative + "({get node() { throw new RangeError('mine'); }})", "RangeError||mine"}};
    for (const auto& [expression, error] : cases)
        EXPECT_EQ(thrown(expression), error + '\n') << expression;
    // 0, null and other kinds are for the library to refuse.
    for (const char* value : {"(0)", "(null)", "(true)", "(new Uint8Array(1))"})
        EXPECT_EQ(thrown(name + value).substr(0, 9), "Error|30|");
}

TEST_F(Scripts, refuse_paths_that_would_lose_characters) {
    for (const char* call :
         {"xmlDOMDocLoadXMLFile('\\u4e2d', 0)", "xmlHTMLDocLoadFile('\\u4e2d', 0)",
          "xmlDOMDocSaveXMLFormatFile({doc: 7, filepath: '\\u4e2d'})",
          "xmlHTMLDocSaveFormatFile(7, '\\u4e2d', 'UTF-8', 1)"})
        EXPECT_NE(thrown(call).find("pass path8(path)"), std::string::npos) << call << out.str();
    EXPECT_EQ(run("const path = '" + write_file("\xE4\xB8\xAD.xml", "<a/>") + "';" + R"js(
        const doc = xmlDOMDocLoadXMLFile(path8(path), 0);
        print(xmlDOMDocSaveXMLFile(doc, path) > 0, xmlDOMDocFreeDoc(doc));
        print(readFile(path).length === readFile(path, 'binary').length);
        writeFile(path, 'x\ud83d\ude00');
        print(readFile(path).length);
        writeFile('-', 'a');
        writeFile('-', new Uint8Array([98, 10]));
    )js"),
              "true 0\ntrue\n3\nab\n");
    // A name that is no UTF-8 opens its file.
    const std::string file = write_file("\xFF\x80 \xC3\xA9.xml", "<a/>");
    start({file}, 0);
    EXPECT_EQ(
        run("print(readFile(args[0]), xmlDOMDocFreeDoc(xmlDOMDocLoadXMLFile(path8(args[0]), 0)))"),
        "<a/> 0\n");
}

TEST_F(Scripts, write_files_completely_or_not_at_all) {
    const std::string path = write_file("target", "old");
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    rlimit small = limit;
    small.rlim_cur = 2;
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string error = thrown("writeFile('" + path + "', 'new')");
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_NE(error.find(path + ": File too large"), std::string::npos) << error;
    EXPECT_EQ(run("var path = '" + path + "';" + R"js(
        print(readFile(path));
        writeFile(path, 'new');
        rename(path, path + '.b');
        writeFile(path, 'newer');
        rename(path, path + '.b');
        print(readFile(path + '.b'));
        rename(path + '.b', path);
    )js"),
              "old\nnewer\n");
    EXPECT_NE(thrown("rename('/no/such', '" + path + "')").find("No such file"), std::string::npos);
    EXPECT_NE(thrown("rename('a\\0b', '" + path + "')").find("a zero"), std::string::npos);
}

TEST_F(Scripts, life_objects_end_when_no_variable_leads_to_them) {
    const auto lives = [&] { return host.counters().live_objects; };
    const auto before = lives();
    EXPECT_EQ(run(R"js(
        var life = LIBXMLLife.new(), same = life, doc = xmlDOMDocCreateDoc('1.0');
        print(life.addInternal(doc) === life,
              life.removeInternal().addInternal({internal: doc}) === life,
              new LIBXMLLife() instanceof LIBXMLLife);
        gc();
    )js"),
              "true true true\n");
    EXPECT_EQ(lives(), before + 1);
    run("life = null; gc();");
    EXPECT_EQ(lives(), before + 1);
    run("same.release(); same.release();");
    EXPECT_EQ(lives(), before);
    EXPECT_EQ(thrown("same.addInternal(7)"),
              "TypeError||LIBXMLLife.addInternal is called on an object that has ended\n");
    EXPECT_EQ(thrown("LIBXMLLife.new().addInternal(0)").substr(0, 9), "Error|30|");
    EXPECT_EQ(thrown("LIBXMLLife.prototype.addInternal.call({}, 7)"),
              "TypeError||LIBXMLLife.addInternal is called on no LIBXMLLife object\n");
    // Circles, and an exit from deep inside; one document twice, in either order.
    run(R"js(
        var a = LIBXMLLife.new(); a.b = LIBXMLLife.new(); a.b.a = a; a = null;
        var doc = xmlDOMDocCreateDoc('1.0'), node = xmlDOMDocCreateNode(doc, 1, 'x');
        var lives = [doc, node, doc].map(each => LIBXMLLife.new().addInternal(each));
        xmlDOMNodeAddChild(0, doc, node);
        [0].forEach(() => exit(9));
    )js");
    EXPECT_EQ(code, 9);
    engine->collect();
    EXPECT_EQ(lives(), before + 3);
    run("lives = null; gc();");
    EXPECT_EQ(lives(), before);
}

/// A tree lives as long as the variable of its life is in scope, also in code that is compiled and reads
/// nothing but handles: every call collects.
TEST_F(Scripts, a_life_lasts_as_long_as_its_variable) {
    start({}, 20);
    run(R"js(
        const load = xmlDOMDocLoadXMLString, root = xmlDOMDocGetRootNode, dump = xmlDOMNodeDumpNode;
        function read(n) {
            const life = LIBXMLLife.new();
            const doc = load('<a>' + n + '</a>', 1);
            life.addInternal(doc);
            return dump(root(doc), 0) + dump(root(doc), 0) + dump(root(doc), 0) + dump(root(doc), 0);
        }
        for (let n = 0; n < 5000; ++n) {
            const text = `<a>${n}</a>`.repeat(4);
            if (read(n) !== text) { print(n); break; }
        }
    )js");
    EXPECT_EQ(out.str() + err.str(), "");
}

TEST_F(Scripts, loops_over_documents_stay_small) {
    const std::string file = write_file(
        "large.xml", "<r>" + std::string(16000, 'x') + [] {
            std::string items;
            for (int k = 0; k < 33000; ++k)
                items += "<item n='" + std::to_string(k) + "'>text</item>";
            return items;
        }() + "</r>");
    const auto resident = [] {
        std::ifstream status("/proc/self/statm");
        std::size_t total = 0, pages = 0;
        status >> total >> pages;
        return pages * 4096;
    };
    if (memory_is_a_tool_s()) GTEST_SKIP() << "valgrind and AddressSanitizer keep memory back";
    std::size_t most = 0;
    for (int round = 0; round < 10; ++round) {
        run("for (let i = 0; i < 100; ++i) LIBXMLLife.new().addInternal(xmlDOMDocLoadXMLFile('" +
            file + "', 1));");
        most = std::max(most, resident());
        ASSERT_EQ(code, 0) << errors;
    }
    EXPECT_LT(most, std::size_t{200} << 20);
}

TEST_F(Scripts, modules_of_both_kinds_load_each_other) {
    write_file("a.js",
               "\xEF\xBB\xBF#!/usr/bin/env vtdom\nexports.early = 1;\n"
               "exports.b = require('./b').seen;\nexports.file = __filename;\n");
    write_file("b.js", "module.exports = {seen: typeof require('./a.js').early};");
    write_file("broken.js", "\nlet x = ;\n");
    write_file("throws.js", "\n\nthrow new Error('in a module');");
    write_file(
        "es.js",
        "import {early} from './a.js';\nimport {fromEs} from './circle.mjs';\n"
        "export const twice = early * 2;\nexport default class {}\n"
        "export function late() { return fromEs; }\nexport const url = import.meta.filename;");
    write_file("circle.mjs", "import {twice} from './es.js';\nexport const fromEs = () => twice;");
    write_file("data.json", "{\"list\": [1, 2]}");
    write_file("waits.js", "export const value = await Promise.resolve(4);");
    write_file("waits2.js", "await null;");
    write_file("pack/index.js", "exports.name = 'pack';");
    write_file("bundled/own.js", "exports.fail = function () { null.x; };");
    const std::string main = folder() + "main.js";
    EXPECT_EQ(run(R"js(
        const a = require('./a'), again = require('./pack/../a.js');
        const {default: Type, twice, late} = require('./es');
        print(a.b, a === again, a.file.endsWith('/a.js'), twice, late()(), typeof Type);
        print(require('./data').list.length, require('./pack').name, typeof require('own').fail);
        import('./waits.js').then(({value}) => print(value));
    )js",
                  main),
              "number true true 2 2 function\n2 pack function\n4\n");
    EXPECT_EQ(run(R"js(
        import a, {b, early as first} from './a.js';
        import Type, * as es from './es.js';
        import {list} from './data.json';
        import {value} from './waits.js';
        print(a.b === b, first, es.twice, es.default === Type, list, value, this,
              es.url === import.meta.dirname + '/es.js');
    )js",
                  main),
              "true 1 2 true 1,2 4 undefined true\n");
    EXPECT_EQ(run("const value = await (async () => 5)(); print(value);"), "5\n");
    for (int i = 0; i < 2; ++i) {  // a module that failed is tried again
        run("\nrequire('./throws');", main);
        EXPECT_THAT(errors, StartsWith(folder() + "throws.js:3:7: Error: in a module\n"));
        EXPECT_THAT(errors, HasSubstr("at " + main + ":2:8\n"));
    }
    run("import './broken.js'", main);
    EXPECT_THAT(errors, StartsWith(folder() + "broken.js:2:9: SyntaxError: "));
    EXPECT_THAT(errors, HasSubstr("\n    let x = ;\n            ^\n"));
    run("import {none} from './a.js'", main);
    EXPECT_THAT(errors, HasSubstr("none")) << errors;
    run("require('./waits2.js')", main);
    EXPECT_THAT(errors, HasSubstr("waits2.js waits outside of its functions: use import"));
    EXPECT_EQ(thrown("require('./none')"), "Error||cannot find module './none'\n");
    EXPECT_EQ(run("import('./none').catch(e => print(e.message))"),
              "cannot find module './none'\n");
    // A program that is a link finds what lies beside its target.
    const std::string target = write_file("real/tool.js", "print(require('./help').words);");
    write_file("real/help.js", "exports.words = 'found';");
    std::filesystem::remove(folder() + "tool");
    std::filesystem::create_symlink(target, folder() + "tool");
    out.str("");
    EXPECT_EQ(engine->run_file(folder() + "tool"), 0) << err.str();
    EXPECT_EQ(out.str(), "found\n");
}

TEST_F(Scripts, promises_and_timers_run_to_their_end) {
    EXPECT_EQ(run(R"js(
        setTimeout((a, b) => print(a + b), 0, 3, 4);
        const wait = ms => new Promise(done => setTimeout(done, ms));
        (async () => {
            for await (const n of [wait(30).then(() => 2), 1]) print(n);
            const never = setTimeout(() => print('never'), 5);
            clearTimeout(never);
            let ticks = 0;
            const interval = setInterval(() => { if (++ticks === 3) clearInterval(interval); }, 1);
            await wait(20);
            print('ticks', ticks);
        })();
        queueMicrotask(() => print('soon'));
        Promise.reject(1).catch(e => print('caught', e));
        print('first');
    )js"),
              "first\nsoon\ncaught 1\n7\n2\n1\nticks 3\n");
    EXPECT_EQ(code, 0);
    const std::pair<const char*, const char*> cases[] = {
        {"async function f() {\nawait null; null.x }\nf(); setTimeout(() => print('on'), 1)",
         "test.js:2:13: TypeError: null has no properties\n"},
        {"Promise.reject(7)", "test.js:1:9: uncaught 7\n"},
        {"setTimeout(() => { throw new RangeError('late') }, 1)", "test.js:1:26: RangeError: late"},
        {"await new Promise(() => {})",
         "test.js: Error: the program waits for a promise that nothing can settle any more"}};
    for (const auto& [source, report] : cases) {
        EXPECT_EQ(run(source), errors);
        EXPECT_THAT(errors, StartsWith(report));
        EXPECT_EQ(code, 1);
    }
    EXPECT_EQ(run("await null; try { exit(4) } finally { print('finally') }"), "");
    EXPECT_EQ(code, 4);
    EXPECT_EQ(run(R"js(
        const kept = new WeakRef({}), gone = [];
        const registry = new FinalizationRegistry(name => gone.push(name));
        registry.register({}, 'object');
        setTimeout(() => { gc(); setTimeout(() => print(gone, kept.deref()), 1); }, 1);
    )js"),
              "object undefined\n");
}

TEST_F(Scripts, today_s_language_and_its_library) {
    EXPECT_EQ(run(R"js(
        class Tea { #name; static count = 0; static { Tea.count = 2; }
                    constructor(name) { this.#name = name; } get name() { return this.#name; }
                    static is(other) { return #name in other; } }
        const {name, ...rest} = {name: new Tea('Assam').name, a: 1, b: 2n ** 70n};
        print(name, rest.b, Tea.count, Tea.is({}), [1, [2]].flat().at(-1), rest?.x?.y ?? `none ${name}`);
        print('a-b-c'.replaceAll('-', '+'), Object.hasOwn(rest, 'a'), /(?<y>\d+)/u.exec('in 2024').groups.y);
        console.log('%s is %d', 'six', 6, {list: [1, new Map([['k', new Set([1])]])]}, [undefined, -0]);
        console.table([{tea: 'Assam', price: 9}, {tea: 'Sencha'}]);
        print(new TextDecoder().decode(new TextEncoder().encode('\u00e9\ud83d\ude00')).length,
              new TextDecoder('utf-16le').decode(new Uint8Array([233, 0, 45, 78])));
        const parts = new TextDecoder('utf-8', {fatal: true});
        print(parts.decode(new Uint8Array([0xc3]), {stream: true}) + parts.decode(new Uint8Array([0xa9])));
        try { parts.decode(new Uint8Array([0xff])); } catch (e) { print(e.name); }
        print(structuredClone(new Map([[1, {d: new Date(0)}]])).get(1).d.getTime(), globalThis.print === print);
    )js"),
              "Assam 1180591620717411303424 2 false 2 none Assam\na+b+c true 2024\n"
              "six is 6 {list: [1, Map(1) {\"k\" => {…}}]} [undefined, -0]\n"
              "   tea     price\n────────────────\n0  Assam   9\n1  Sencha\n"
              "3 \xC3\xA9\xE4\xB8\xAD\n\xC3\xA9\nTypeError\n0 true\n");
}

TEST_F(Scripts, uncaught_errors_show_their_place_and_scripts_can_end_early) {
    const std::pair<const char*, const char*> cases[] = {
        {"\n\nfunction f() { xmlDOMNodeGetName(); }\nf();",
         "test.js:3:16: Error: parameter node of xmlDOMNodeGetName is not supplied (41)\n"
         "    function f() { xmlDOMNodeGetName(); }\n                   ^\n"
         "    at f (test.js:3:16)\n    at test.js:4:1\n"},
        {"#!vtdom\nvar x = (;",
         "test.js:2:10: SyntaxError: expected expression, got ';'\n    var x = (;\n             "
         "^\n"},
        {"throw 'words';", "test.js:1:1: uncaught \"words\"\n"},
        {"\tthrow {code: 1};",
         "test.js:1:9: uncaught {code: 1}\n    throw {code: 1};\n           ^\n"},
        {"throw Object.create(Error.prototype);", "test.js:1:14: uncaught Error"},
        {"\nvar s = '\xE9';", "test.js: SyntaxError: line 2 of test.js is not UTF-8\n"},
        {"throw new Error('outer', {cause: new TypeError('inner')})",
         "test.js:1:7: Error: outer\n    throw new Error('outer', {cause: new "
         "TypeError('inner')})\n"
         "          ^\ncaused by test.js:1:34: TypeError: inner\n"},
        {"(function f() { return f() + 1; })();",
         "test.js:1:17: InternalError: too much recursion\n"},
        {"let s = '('; while (s.length < 65536) s += s; eval(s);",
         "test.js:1:47: InternalError: too much recursion\n"}};
    for (const auto& [source, report] : cases) {
        run(source);
        EXPECT_THAT(errors, StartsWith(report)) << errors;
        EXPECT_EQ(code, 1);
    }
    // Errors point out of bundled modules.
    write_file("bundled/own2.js",
               "exports.fail = () => { null.x; };\nexports.call = () => xmlDOMNodeGetName(0);");
    for (const char* name : {"fail", "call"}) {
        run("var own = require('own2');\ntry { own." + std::string(name) +
            "() } catch (e) { print(e.stack.split('\\n').slice(1)) }\n  own." + name + "();");
        EXPECT_THAT(out.str(), HasSubstr("at test.js:2:11")) << name;
        EXPECT_THAT(errors, StartsWith("test.js:3:7: ")) << name;
        EXPECT_THAT(errors + out.str(), Not(HasSubstr("own2.js")));
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
    EXPECT_THROW(engine->run_file(folder() + "none.js"), std::system_error);
}

TEST_F(Scripts, can_be_interrupted_wherever_they_are) {
    const std::pair<const char*, const char*> cases[] = {
        {"let i = 0;\nfor (;;) {\n  ++i;\n}", "test.js:"},
        {"try { for (;;) xmlDOMUtilGetVersion(); } catch (e) {} finally { print('finally') }",
         "test.js:1:"},
        {"\n/(x+x+)+y/.test('x'.repeat(40))", "test.js:2:"},
        {"async function f() { for (;;) await null; }\nf();", "test.js:1:"},
        {"setInterval(() => {}, 50)", "test.js"}};
    for (const auto& [source, place] : cases) {
        const std::string report = run_interrupted(source);
        EXPECT_THAT(report, StartsWith(place));
        EXPECT_THAT(report, testing::EndsWith(": interrupted\n"));
        EXPECT_EQ(code, 1);
        EXPECT_TRUE(engine->interrupted());
        EXPECT_EQ(run("print(1)"), "1\n");
    }
}

TEST_F(Scripts, without_memory_get_an_error) {
    if (memory_is_a_tool_s()) GTEST_SKIP() << "a limit of memory is none for them";
    // The engine compresses sources on a thread of its own after a few collections, and aborts there
    // where it has no memory.
    run("for (let i = 0; i < 8; ++i) gc();");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit limit{std::size_t{900} << 20, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    const char* const cases[] = {"var a = []; for (;;) a.push(new Array(1000).fill(7));",
                                 "var a = []; for (;;) a.push(new Uint8Array(1e6));",
                                 "var s = 'x'; for (;;) s = xmlDOMUtilStrReplace(s, 'x', 'xx');"};
    for (const char* source : cases) {
        run(source);
        EXPECT_THAT(errors, testing::AllOf(StartsWith("test.js:1:"),
                                           testing::AnyOf(HasSubstr("memory"), HasSubstr("size"),
                                                          HasSubstr("too large"))));
        EXPECT_EQ(code, 1);
        run("a = s = null; gc();");
    }
    EXPECT_EQ(run("print(xmlUTF8Encode('still here').length)"), "10\n");
    setrlimit(RLIMIT_AS, &before);
}

}  // namespace
}  // namespace valtrosse::script
