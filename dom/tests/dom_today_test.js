// DOM objects: what came after Level 2. Each table has expressions and what they give, as text.
// vtdom dom_today_test.js FOLDER
const dom = require('dom');
let failures = 0;

/** What an expression gives of these names, or the name of the error and, with `: `, the start of its words. */
function outcome(names, expression) {
    try {
        const value = new Function('names', `with (names) return (${expression})`)(names);
        return Array.isArray(value) ? value.join(' ') : String(value);
    } catch (error) {
        return error.name;
    }
}
/** Runs each expression of a table, of what `make` gives anew. */
function table(name, make, rows) {
    for (const [expression, expected] of rows) {
        const found = outcome(make(), expression);
        if (found === expected) continue;
        failures++;
        print(`FAILED: ${name}: ${expression}\n  ${found}\n  not ${expected}`);
    }
}

function tree() {
    const doc = dom.parseString('<a xmlns:p="urn:p"><b>x</b><c p:q="1"><d/>y</c><!--z--></a>', { url: '/x/y/z.xml' });
    const a = doc.documentElement, [b, c] = a.children;
    return { dom, doc, a, b, c, d: c.firstChild, other: dom.parseString('<k/>'), shown: () => a.toString().slice(19) };
}

table('placing', tree, [
    ['a.append(b, "t", c) ?? shown()', '<!--z--><b>x</b>t<c p:q="1"><d/>y</c></a>'],
    ['a.prepend(c, "t") ?? shown()', '<c p:q="1"><d/>y</c>t<b>x</b><!--z--></a>'],
    ['b.before("s", c, b) ?? shown()', 's<c p:q="1"><d/>y</c><b>x</b><!--z--></a>'],
    ['b.after(b, d, "t") ?? shown()', '<b>x</b><d/>t<c p:q="1">y</c><!--z--></a>'],
    ['c.replaceWith(b, c, "t") ?? shown()', '<b>x</b><c p:q="1"><d/>y</c>t<!--z--></a>'],
    ['b.replaceWith() ?? shown()', '<c p:q="1"><d/>y</c><!--z--></a>'],
    ['c.replaceChildren(b, d) ?? shown()', '<c p:q="1"><b>x</b><d/></c><!--z--></a>'],
    ['[b, c].map(node => node.remove()) && shown()', '<!--z--></a>'],
    ['doc.adoptNode(d) === d && shown()', '<b>x</b><c p:q="1">y</c><!--z--></a>'],
    ['doc.append("x")', 'HierarchyRequestError'],
    ['doc.append(doc.createElement("x"))', 'HierarchyRequestError'],
    ['doc.adoptNode(other.documentElement)', 'NotSupportedError'],
    ['a.append(undefined)', 'TypeError']
]);
// What is refused has changed nothing.
table('refusals', tree, [
    ['a.append(doc.createElement("x"), a)', 'b.after(c, other.documentElement)', 'b.replaceWith(c, a)',
     'c.replaceChildren(d, a)', 'a.prepend(b, "\\0")', 'c.innerHTML = "<x>"', 'c.outerHTML = "</c>"',
     'c.innerHTML = "</r><r>"', 'c.innerHTML = "<!DOCTYPE x>"', 'c.insertAdjacentHTML("inside", "x")',
     'doc.replaceChildren(b, c)', 'doc.renameNode(b, null, "p:x")', 'b.id = "\\uFFFF"', 'b.className = undefined',
     'a.textcontent = "x"', 'a.innerHtml = "x"', 'a.innerText = "x"', 'b.classList.add("x y")',
     'b.toggleAttribute("1")', 'b.dataset["a b"] = 1'
    ].map(expression => `(() => { const was = doc.toString(); try { ${expression} } catch (e) {
        return doc.toString() === was } })()`)
].flat().map(expression => [expression, 'true']));

table('relations', tree, [
    ['[b, c, d].map(node => a.compareDocumentPosition(node))', '20 20 20'],
    ['[b, c, a, d].map(node => d.compareDocumentPosition(node))', '2 10 10 0'],
    ['c.attributes[0].compareDocumentPosition(d) & 4', '4'],
    ['other.compareDocumentPosition(a) + a.compareDocumentPosition(other) - 2 * 33', '6'],
    ['[d.isConnected, d.getRootNode() === doc, d.parentElement === c, a.parentElement]', 'true true true '],
    ['a.isEqualNode(a.cloneNode(true)) && !a.isEqualNode(a.cloneNode(false)) && !b.isEqualNode(c)', 'true'],
    ['doc.isEqualNode(doc.cloneNode(true))', 'true'],
    ['[d.lookupNamespaceURI("p"), d.lookupPrefix("urn:p"), d.isDefaultNamespace(null), d.lookupPrefix("x")]',
     'urn:p p true '],
    ['b.firstChild.splitText(0) && b.lastChild.wholeText', 'x'],
    ['c.setAttribute("xml:base", "../w/./u?q") ?? [d.baseURI, b.baseURI]', '/x/w/u?q /x/y/z.xml'],
    ['doc.renameNode(b, "urn:q", "q:k") === b && [b.nodeName, b.namespaceURI, shown().slice(0, 26)]',
     'q:k urn:q <q:k xmlns:q="urn:q">x</q:'],
    ['doc.renameNode(c.attributes[0], null, "w") && shown()', '<b>x</b><c w="1"><d/>y</c><!--z--></a>'],
    ['[doc.xmlVersion, doc.xmlEncoding, doc.xmlStandalone, doc.characterSet, doc.documentURI]',
     '1.0  false UTF-8 /x/y/z.xml']
]);

table('attributes', () => {
    const doc = dom.parseString('<a class="x y x"><b class=" y\tz" data-page-no="3"/></a>');
    return { doc, a: doc.documentElement, b: doc.documentElement.firstChild };
}, [
    ['["y", "z y", "", "q"].map(names => doc.getElementsByClassName(names).length)', '2 1 0 0'],
    ['b.classList.add("q", "z") ?? b.className', 'y z q'],
    ['[a.classList.toggle("x"), a.classList.toggle("k", true), a.classList.replace("y", "j"), a.className]',
     'false true true j k'],
    ['[...a.classList]', 'x y'],
    ['[b.dataset.pageNo, Object.keys(b.dataset), "no" in b.dataset]', '3 pageNo false'],
    ['(b.dataset.aB = 1) && delete b.dataset.pageNo && b', '<b class=" y z" data-a-b="1"/>'],
    ['[b.toggleAttribute("h"), b.toggleAttribute("h"), b.getAttributeNames()]', 'true false class,data-page-no'],
    ['(a.id = "k") && a.getAttribute("id")', 'k']
]);

// Both ways to find: by XPath and by matching.
const source = '<r xml:lang="de-AT"><ul id="u"><li class="a b" n="1">x</li><li n="2x"/><li class="b" n="12"><p/>' +
    '<ul><li/></ul></li></ul><!--c--><p/><q xml:lang="en"/></r>';
const selectors = () => {
    const doc = dom.parseString(source);
    return { doc, count(selector) {
        const found = doc.querySelectorAll(selector).toArray();
        const matched = doc.getElementsByTagName('*').toArray().filter(each => each.matches(selector));
        if (found.length !== matched.length || found.some((each, i) => each !== matched[i]) ||
            doc.querySelector(selector) !== (found[0] ?? null)) throw new Error('two ways differ');
        return found.length;
    } };
};
table('selectors', selectors, Object.entries({
    'ul > li': 4, 'ul li li': 1, 'r ul li': 4, 'li + li': 2, 'li ~ li': 2, 'r > p ~ q': 1, 'p, q': 3, '.a.b': 1, '#u': 1,
    '[n]': 3, '[n="1"]': 1, '[n^="1"]': 2, '[n$=x]': 1, '[n*="2"]': 2, '[n|="1"]': 1, '[class~=b]': 2, '[n="2X" i]': 1,
    '[n^=""]': 0, '[class~=" b"]': 0, ':root': 1, 'p:empty': 2, 'li:first-child': 2, 'li:last-of-type': 2,
    'q:only-of-type': 1, 'li:nth-child(odd)': 3, 'li:nth-child( -n + 2 )': 3, 'li:nth-last-child(2n+1)': 3,
    ':nth-child(2 of .b)': 1, 'li:nth-of-type(n+2)': 2, 'li:not(.a, :empty)': 1, 'li:is(.a, .b):not([n="1"])': 1,
    'li:has(> p)': 1, 'li:has(+ li)': 2, 'ul:has(li li)': 1, ':lang(de) > p': 2, 'q:lang(en)': 1, '*|p': 2, '|p': 2,
    '\\70': 2, '[n="\\31 2"]': 1
}).map(([selector, count]) => [`count(${JSON.stringify(selector)})`, String(count)]).concat(
    ['', 'li >', '[n', 'li:nth-child(x)', 'x|p', 'a:b', 'li::before', '> li', 'a,,b', '#'].map(
        wrong => [`doc.querySelector(${JSON.stringify(wrong)})`, 'SyntaxError'])));
table('around', selectors, [
    ['doc.querySelector("li li").closest("[id]").id', 'u'],
    ['doc.querySelector("#u").querySelectorAll(":scope > li").length', '3'],
    ['doc.querySelector("ul ul").querySelectorAll("r li").length', '1']
]);

const book = () => ({ dom, doc: dom.parseString('<a n="3"><b>1</b><b>2.5</b>x<?t d?></a>'), R: dom.XPathResult });
table('XPath', book, [
    ['doc.xpath("count(//b) + 1")', '3'], ['doc.xpath("sum(//b) div 2")', '1.75'], ['doc.xpath("//b = 2.5")', 'true'],
    ['doc.xpath("string(10000000000000000000000 * 10)")', '1' + '0'.repeat(23)], ['doc.xpath("string(.00000012)")', '0.00000012'],
    ['doc.xpath("//b != //b")', 'true'], ['doc.xpath("concat(name(//@n), -1 div 0)")', 'n-Infinity'],
    ['doc.xpath("substring(\\"12345\\", 1.5, 2.6)")', '234'], ['doc.xpath("//b")', '<b>1</b> <b>2.5</b>'],
    ['doc.xpath("local-name(//processing-instruction())")', 't'], ['doc.xpath("(//none)/..").length', '0'],
    ['doc.xpath("//z:b")', 'NamespaceError'], ['doc.xpath("count(1)")', 'SyntaxError'],
    ['doc.selectNodes("count(//b)")', 'SyntaxError'], ['doc.xpath("f(1)")', 'SyntaxError'],
    ['doc.evaluate("//b", doc, null, R.ORDERED_NODE_SNAPSHOT_TYPE, null).snapshotItem(1)', '<b>2.5</b>'],
    ['doc.evaluate("//b", doc, null, R.NUMBER_TYPE, null).numberValue', '1'],
    ['doc.evaluate("1", doc, null, R.FIRST_ORDERED_NODE_TYPE, null)', 'TypeError'],
    ['(i => { doc.documentElement.append("x"); return i.iterateNext() })(doc.evaluate("//b", doc))', 'InvalidStateError'],
    ['doc.createExpression("@n + 1").evaluate(doc.documentElement).numberValue', '4']
]);

const markup = () => {
    const { doc, a, b, c } = tree(), page = dom.parseHTMLString('<title> t </title><p class=x>a&nbsp;&lt;<br><script>1<2</script>');
    return { doc, a, b, c, page, p: page.querySelector('p'), shown: () => a.toString().slice(19) };
};
table('markup', markup, [
    ['b.innerHTML = "<p:k/>\u00FC\\uD83D\\uDE00" , b.innerHTML', '<p:k xmlns:p="urn:p"/>\u00FC\uD83D\uDE00'],
    ['(b.outerHTML = "<e/>f", shown())', '<e/>f<c p:q="1"><d/>y</c><!--z--></a>'],
    ['["beforebegin", "afterbegin", "beforeend", "afterend"].forEach(at => b.insertAdjacentHTML(at, `<${at}/>`)) ?? shown()',
     '<beforebegin/><b><afterbegin/>x<beforeend/></b><afterend/><c p:q="1"><d/>y</c><!--z--></a>'],
    ['[b.insertAdjacentText("afterend", "&"), b.insertAdjacentElement("beforebegin", c)] && shown()',
     '<c p:q="1"><d/>y</c><b>x</b>&amp;<!--z--></a>'],
    ['[p.outerHTML, page.title]', '<p class="x">a&nbsp;&lt;<br><script>1<2</script></p> t'],
    ['(p.innerHTML = "k<b>i</b>\\u4E2D\\uD83D\\uDE00", p.outerHTML)', '<p class="x">k<b>i</b>\u4E2D\uD83D\uDE00</p>']
]);

const broken = source => {
    try { dom.parseString(source, { url: 'u.xml' }); } catch (error) { return error; }
    return null;
};
table('errors', () => ({ broken, dom, doc: dom.parseString('<!DOCTYPE a [<!ELEMENT a EMPTY>]><a><b/></a>') }), [
    ['(({ name, line, column, url, messages }) => [name, line, column, url, messages.length])(broken("<a>\\n<b c=></a>"))',
     'ParseError 2 6 u.xml 3'],
    ['broken("<a>" + "x".repeat(200) + "<b c=></a>").column', '209'],
    ['doc.validate().errors.map(({ element, message }) => element + /EMPTY|declaration/.exec(message))', 'aEMPTY bdeclaration'],
    ['new dom.DOMParser().parseFromString("<a/>", "text/plain")', 'TypeError'],
    ['new dom.XMLSerializer().serializeToString(new dom.DOMParser().parseFromString("<a/>", "text/xml").firstChild)', '<a/>']
]);

const walks = () => {
    const doc = dom.parseString('<r><a>1<b/></a><c><d>2</d></c><e/></r>'), F = dom.NodeFilter;
    const all = (walk, step = 'nextNode') => {
        const names = [];
        for (let node; (node = walk[step]());) names.push(node.nodeName);
        return names;
    };
    return { doc, F, all, r: doc.documentElement, without: answer => node => node.nodeName === 'c' ? answer : 1 };
};
table('walks', walks, [
    ['(i => [...all(i), "|", ...all(i, "previousNode")])(doc.createNodeIterator(r, F.SHOW_ELEMENT))', 'r a b c d e | e d c b a r'],
    ['all(doc.createNodeIterator(r, -1, without(F.FILTER_REJECT)))', 'r a #text b d #text e'],
    ['all(doc.createTreeWalker(r, F.SHOW_ELEMENT, without(F.FILTER_REJECT)))', 'a b e'],
    ['(w => [...all(w), "|", ...all(w, "previousNode")])(doc.createTreeWalker(r, F.SHOW_ELEMENT, without(F.FILTER_SKIP)))',
     'a b d e | d b a r'],
    ['(w => [w.lastChild(), w.previousSibling(), w.firstChild(), w.parentNode(), w.parentNode()])' +
     '(doc.createTreeWalker(r, 1, without(3))).map(node => node && node.nodeName)', 'e d  r '],
    ['(i => { i.nextNode(); i.nextNode(); r.firstChild.remove(); return i.nextNode() })(doc.createNodeIterator(r, 1))',
     '<c><d>2</d></c>']
]);

// Handles are slots, which follow each other, or addresses: many of either kind cost each what few cost.
const costs = () => {
    const { HandleTable } = require('dom/handles');
    const costOf = (count, handleOf) => {
        const start = performance.now();
        for (let done = 0; done < 65536; done += count) {
            const table = new HandleTable();
            for (let i = 0; i < count; ++i) table.set(handleOf(i), i);
            for (let i = 0; i < count; ++i) if (table.get(handleOf(i)) !== i) throw new Error('lost');
        }
        return performance.now() - start;
    };
    return { grows: handleOf => costOf(65536, handleOf) > 15 * Math.max(costOf(1024, handleOf), 2) };
};
table('costs', costs, [
    ['grows(i => 0x40040000 + i)', 'false'], ['grows(i => 0x57FB7000 + 64 * i)', 'false'], ['grows(i => 0x57FB7000 + 120 * i)', 'false']
]);

// Last, since parses differ after the first one.
const sheets = () => {
    const X = 'xmlns:xsl="http://www.w3.org/1999/XSL/Transform" version="1.0"';
    const folder = args[0] + '/s p\u00FC';
    const sheet = (body, output = '') => `<xsl:stylesheet ${X}><xsl:output ${output}/>${body}</xsl:stylesheet>`;
    const text = sheet('<xsl:param name="p" select="1"/><xsl:template match="/"><o><xsl:copy-of select="$p"/>' +
                       '<br/><xsl:value-of select="//b"/></o></xsl:template>', 'method="html" encoding="ISO-8859-1"');
    writeFile(folder + '.xsl', text);
    const importer = sheet('<xsl:import href="s%20p%C3%BC.xsl"/>').replace(/(<xsl:output[^>]*>)(.*)(?=<\/)/, '$2$1');
    writeFile(folder + 'i.xsl', importer);
    return {
        dom, sheet, folder, imports: dom.parseFile(folder + 'i.xsl'), byUrl: dom.parseString(importer, { url: folder }),
        doc: dom.parseString('<?xml version="1.0" encoding="ISO-8859-1"?><a><b>\u00FC\u20AC</b></a>'), by: dom.parseString(text),
        page: dom.parseHTMLString('<b>\u00E4<br>'), run: (...all) => dom.transform(...all).trim().replace('\n', ''),
        wordsOf(act) { try { return act(); } catch (error) { return error.message.split('\n').slice(1).join(' '); } }
    };
};
table('stylesheets', sheets, [
    ['run(doc, by)', '<o>1<br>\u00FC\u20AC</o>'],
    ['run(doc, by, {params: {p: "it\'s \\"a\\"<&"}})', '<o>it\'s "a"&lt;&amp;<br>\u00FC\u20AC</o>'],
    ['[1e21, -1e-7, NaN, -Infinity, false].map(p => /o>(.*?)<br/.exec(run(doc, by, {params: {p}}))[1])',
     '1e+21 -1e-07 NaN -Infinity false'],
    ['dom.transformToDocument(doc, by).documentElement', '<o>1<br/>\u00FC\u20AC</o>'],
    ['run(page, folder + ".xsl")', '<o>1<br>\u00E4</o>'],
    ['[imports, byUrl].map(by => dom.transformToDocument(doc, by, {params: {p: 2}}).documentElement)',
     Array(2).fill('<o>2<br/>\u00FC\u20AC</o>').join(' ')],
    ['[dom.transform(doc, by, folder), readFile(folder, "binary").length]', '21 21'],
    ['wordsOf(() => dom.transform(doc, dom.parseString("<x/>"), folder))',
     'compilation error: file the stylesheet line 2 element x xsltParseStylesheetProcess : document is not a stylesheet '],
    ['wordsOf(() => dom.transform(doc, dom.parseString(sheet("<xsl:template match=\'/\'><xsl:message terminate=\'yes\'>' +
     'no</xsl:message></xsl:template>"))))', 'no '],
    ['wordsOf(() => doc.save("/none/x")).slice(0, 43)', 'I/O error : No such file or directory I/O e'],
    ['dom.transform(doc, by, {params: {p: []}})', 'TypeError'], ['dom.transform(doc, by, {params: {"a:b": 1}})', 'TypeError'],
    ['dom.transform(doc.documentElement, by)', 'TypeError'], ['dom.transform(doc, by, {param: 1})', 'TypeError'],
    ['dom.parseString(new Uint8Array([60, 97, 62, 255, 60, 47, 97, 62]))', 'ParseError']
]);

print(failures + ' failed');
exit(failures ? 1 : 0);
