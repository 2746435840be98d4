// DOM objects: what the random changes of dom_random_test.js do not reach.
// vtdom dom_test.js FOLDER
var dom = require('dom');

var folder = args[0] + '/';
var failures = 0;

function test(name, run) {
    try {
        run();
    } catch (e) {
        failures++;
        print('FAILED: ' + name + '\n' + (e.stack || e));
    }
}
function equal(found, expected) {
    if (found !== expected)
        throw new Error(JSON.stringify(expected) + ' expected, not ' +
                        (found && found.nodeType ? found : JSON.stringify(found)));
}
/** Each expression, of these names, throws a DOMException of the code and changes nothing of the
    document `doc`. */
function refuses(code, names, expressions) {
    expressions.forEach(function (expression) {
        var run = new Function('names', 'with (names) ' + expression);
        var before = names.doc.toString(), found = 'nothing';
        try { run(names); } catch (e) { found = e instanceof dom.DOMException ? e.code : e; }
        equal(found + ' by ' + expression, code + ' by ' + expression);
        equal(names.doc.toString(), before);
    });
}
/** What the function throws, as text. */
function failure(run) {
    try { run(); } catch (e) { return e.message; }
    throw new Error('nothing thrown by ' + run);
}

var emoji = '\uD83D\uDE00';
/** The text with an emoji for each asterisk. */
function emojis(text) { return text.replace(/\*/g, emoji); }
var wide = 'a' + emoji + ' é\u4E2D\uDBFF\uDFFD+~\\';

test('characters above U+FFFF, in and out of everything', function () {
    var xml = '<r a="W"><!--W--><?p W?>W<![CDATA[W]]></r>';
    xml = xml.replace(/W/g, wide);
    function check(root) {
        equal(root.toString(), xml);
        equal(root.getAttribute('a') + root.textContent, wide + wide + wide);
        root.childNodes.forEach(function (node) { equal(node.data, wide); });
    }
    var doc = dom.parseString(xml);
    check(doc.documentElement);
    ['UTF-8', 'UTF-16', null].forEach(function (encoding) {
        var path = folder + emojis('wide *ü%41.xml');
        dom.parseString(xml).save(path, { encoding: encoding });
        var file = dom.parseFile(path);
        equal(file.documentElement.childNodes[2].data + file.documentElement.getAttribute('a'), wide + wide);
        refuses(9, { doc: doc, root: file.documentElement },
                ['root.firstChild.data', 'root.childNodes[1].data', 'root.toString()']);
        if (encoding !== 'UTF-16') check(dom.parseString(readFile(path)).documentElement);
    });

    var made = dom.implementation.createDocument('urn:x', 'r', null);
    var root = made.documentElement;
    root.setAttribute('b', wide);
    root.appendChild(made.createComment(emoji));
    root.appendChild(made.createCDATASection(emoji)).appendData('!');
    root.appendChild(made.createProcessingInstruction('p', emoji)).data += emoji;
    var text = root.appendChild(made.createTextNode('<x>'));
    text.replaceData(1, 1, emoji);
    equal(text, root.lastChild);
    equal(root.toString(), '<r xmlns="urn:x" b="' + wide +
                               emojis('"><!--*--><![CDATA[*!]]><?p **?>&lt;*&gt;</r>'));
    refuses(5, { doc: made, text: text },
            ['text.splitText(2)', 'text.data = "\\uD83D"', 'doc.createTextNode("\\0")',
             'doc.createComment("\\u0001")', 'doc.createElement("1")',
             'doc.createElement("a\\0")',
             'doc.createElement("\\uD83D\\uDE00")', 'doc.createElement("\\uD840\\uDC00")']);
});

test('encodings and what can be saved', function () {
    ['UTF-8', 'utf-16', 'ISO-8859-1', 'Shift_JIS', 'UTF-7'].forEach(function (encoding) {
        ['é+', 'é' + emoji].forEach(function (text) {
            var doc = dom.parseString('\uFEFF<?xml version="1.0" encoding="' + encoding +
                                      '" standalone="yes"?>\n<a>' + text + '</a>');
            equal(doc.documentElement.textContent + doc.encoding, text + encoding);
            equal(dom.parseString(doc.toString()).toString(), doc.toString());
        });
    });
    equal(dom.parseString('<a b="é"/>').toString(), '<?xml version="1.0"?>\n<a b="é"/>\n');
    dom.parseString('<a>é</a>').save(folder + 'latin.xml', { encoding: 'ISO-8859-1' });
    equal(readFile(folder + 'latin.xml', 'binary')[47], 0xE9);
    equal(dom.parseFile(folder + 'latin.xml').documentElement.textContent, 'é');
});

test('HTML text and files', function () {
    var html = emojis('<html lang="é"><head><meta charset="utf-8"><script>x = "é*<b>";</script>' +
                      '</head><body><!-- * --><p title="*">é&amp;*</body></html>');
    function check(doc) {
        equal(doc.nodeType + ' ' + doc.firstChild.nodeType + ' ' + doc.lastChild.nodeName,
              '9 10 html');
        var found = doc.selectNodes('//@lang|//@title|//script/text()|//comment()|//p/text()');
        equal(found.map(function (node) { return node.nodeValue.trim(); }).join(),
              emojis('é,x = "é*<b>";,*,*,é&*'));
    }
    var path = folder + emojis('page*.html');
    ['windows-1252', 'utf-8', 'UTF-16', 'shift_jis'].forEach(function (charset) {
        var doc = dom.parseHTMLString('<!DOCTYPE html>' + html.replace('utf-8', charset));
        check(doc);
        doc.save(path, { encoding: 'UTF-8' });
        if (charset === 'utf-8') check(dom.parseHTMLString(readFile(path)));
    });
});

test('one object for one node, and whose it is', function () {
    var doc = dom.parseString('<a x="1"><b/>t</a>');
    var a = doc.documentElement;
    equal(doc.selectSingleNode('//b'), a.firstChild);
    equal(a.getAttributeNode('x'), a.attributes[0]);
    equal(a.attributes[0].ownerElement, a);
    equal(a.childNodes, a.childNodes);
    var b = a.removeChild(a.firstChild);
    equal(b.nextSibling, null);
    equal(b.selectNodes('..|following-sibling::*|preceding-sibling::*').length, 0);
    for (var i = 0; i < 200; i++) a.textContent = 'x' + i;      // texts that nobody knows are freed
    var kept = a.firstChild;
    a.textContent = '';
    for (i = 0; i < 200; i++) a.appendChild(doc.createTextNode('y'));
    equal(kept.data, 'x199');
    equal(a.childNodes.length, 200);
    a.normalize();
    equal(a.childNodes.length, 1);
});

test('refusals', function () {
    var doc = dom.parseString(
        '<!DOCTYPE a [<!ENTITY e "<i>x</i>">]><a x="1" xmlns:p="urn:p">&e;<b/></a>');
    var a = doc.documentElement, reference = a.firstChild;
    var names = { doc: doc, a: a, b: a.lastChild, x: a.attributes[0], reference: reference,
                  text: doc.createTextNode('x'), other: dom.parseString('<z y="2"/>') };
    equal(reference.textContent, 'x');
    refuses(1, names, ['text.splitText(2)', 'text.substringData(0, -1)']);
    refuses(3, names, ['b.appendChild(a)', 'a.appendChild(a)', 'doc.appendChild(text)',
                       'doc.appendChild(doc.createElement("c"))', 'a.appendChild(x)',
                       'b.appendChild(null)']);
    refuses(4, names, ['a.appendChild(other.documentElement)',
                       'a.setAttributeNode(other.createAttribute("y"))']);
    refuses(7, names, ['reference.firstChild.setAttribute("x", "y")',
                       'reference.firstChild.firstChild.data = ""', 'doc.removeChild(doc.doctype)',
                       'reference.removeChild(reference.firstChild)',
                       'doc.doctype.entities.removeNamedItem("e")']);
    refuses(8, names, ['b.removeChild(a)', 'a.insertBefore(doc.createElement("c"), doc)',
                       'b.removeAttributeNode(x)', 'a.attributes.removeNamedItem("none")']);
    refuses(9, names, ['doc.importNode(other, true)']);
    refuses(10, names, ['b.setAttributeNode(x)']);
    refuses(12, names, ['a.selectNodes("[")', 'a.selectNodes("count(b)")']);
    refuses(14, names, ['doc.createElementNS(null, "p:x")', 'b.prefix = "p"',
                        'a.setAttributeNS("urn:x", "xmlns", "")',
                        'doc.createElementNS("urn:x", "xml:x")',
                        'doc.createElementNS("urn:x", "a:b:c")']);
});

test('refusals that come first', function () {
    var doc = dom.parseString('<!DOCTYPE a [<!ENTITY e "<i>x</i>"><!NOTATION n SYSTEM "u">' +
                              '<!NOTATION m SYSTEM "v">]><a x="1">&e;<b/><!--c--></a>');
    var a = doc.documentElement, fragment = doc.createDocumentFragment();
    var names = {
        doc: doc, a: a, fragment: fragment, inner: fragment.appendChild(doc.createElement('f')),
        comment: doc.appendChild(doc.createComment('c')), dom: dom, folder: folder,
        type: dom.implementation.createDocumentType('b', null, null), none: undefined
    };
    refuses(3, names, ['fragment.appendChild(fragment)', 'inner.appendChild(fragment)',
                       'fragment.replaceChild(fragment, inner)', 'doc.replaceChild(type, comment)',
                       'doc.appendChild(a.cloneNode(false))']);
    refuses(5, names, ['a.appendChild(doc.createComment("x--><evil/>"))', 'comment.data = "a-"',
                       'comment.appendData("-")', 'doc.createCDATASection("x]]><evil/>")',
                       'doc.createProcessingInstruction("p", "x?><evil/>")',
                       'doc.createProcessingInstruction("xml", "x")', 'a.textContent = "\\uFFFF"',
                       'a.setAttribute("x", "\\u0001")']);
    refuses(7, names, ['doc.doctype.entities[0].textContent = "x"',
                       'a.firstChild.appendChild(doc.createElement("x"))',
                       'doc.replaceChild(comment, doc.doctype)']);
    refuses(9, names, ['doc.doctype.cloneNode(true)', 'doc.importNode(doc.doctype, true)']);
    refuses(14, names, ['doc.createElementNS("urn:x", "xmlns:q")',
                        'doc.createElementNS("http://www.w3.org/2000/xmlns/", "q")',
                        'doc.createElementNS("urn:x", ":q")', 'doc.createAttributeNS("urn:x", "xmlns")',
                        'dom.implementation.createDocumentType("a:b:c", null, null)']);
    ['a.getAttribute()', 'a.setAttribute("x")', 'a.appendChild()', 'a.removeChild()', 'doc.createElement()',
     'doc.createTextNode()', 'a.selectNodes()', 'doc.save()', 'doc.save("")', 'comment.splitText()',
     'doc.save(folder + "x.xml", { encodng: "UTF-8" })', 'a.toString({ indent: true })', 'dom.parseString()',
     'dom.parseFile()', 'dom.parseString("<a/>", { keepBlank: false })', 'new dom.Element()',
     'doc.encoding = "x\\"?><evil"', 'dom.transform(folder)'
    ].forEach(function (expression) {
        var before = String(doc), found;
        try { new Function('names', 'with (names) ' + expression)(names); } catch (e) { found = e; }
        equal(found instanceof TypeError ? String(doc) : expression + found, before);
    });
    doc.textContent = 'x';
    doc.doctype.notations[0].textContent = 'x';
    equal(doc.documentElement, a);
});

test('lists, names, look-ups, bytes', function () {
    var doc = dom.parseString('<a xmlns:p="urn:p"> <b xml:id="k" p:h="1"/>' + '<b/>'.repeat(40) + '</a>');
    var list = doc.getElementsByTagName('b'), count = 0;
    for (var i = 0; list[i]; i++) count++;
    equal(count + ' ' + Array.from(list).length + ' ' + Array.from(list.entries()).length, '41 41 41');
    equal(list[41] === undefined && list.item(41) === null && list[40] === doc.documentElement.lastChild, true);
    equal(doc.selectNodes('//@p:h').length, 1);
    equal(doc.getElementById('k'), list[0]);
    equal(dom.parseHTMLString('<p id=k>x').getElementById('k').textContent, 'x');
    var name = '\u0FFF\u2C00\uA000', fifth = doc.createElement(name);
    fifth.setAttribute(name, '1');
    equal(dom.parseString(fifth.toString()).documentElement.getAttribute(name), '1');
    equal(dom.parseString(new Uint8Array([60, 97, 62, 195, 169, 60, 47, 97, 62])).documentElement.textContent, 'é');
    equal(dom.parseString('<a> <b> <c/></b></a>').documentElement.toString({ format: true }),
          '<a>\n  <b>\n    <c/>\n  </b>\n</a>');
    equal(JSON.stringify({ node: doc }), '{"node":{}}');
    equal(failure(function () { dom.parseString(''); }), 'the text cannot be parsed: it is empty');
    var error;
    try { doc.removeChild(fifth); } catch (e) { error = e; }
    equal(error.name + error.code + /dom_test/.test(error.stack) + /modules/.test(error.stack),
          'NotFoundError8truefalse');
});

test('defaults of the document type', function () {
    var doc = dom.parseString('<!DOCTYPE a [<!ATTLIST a d CDATA "one" i ID #IMPLIED>]><a i="k"/>');
    var a = doc.documentElement, d = a.getAttributeNode('d');
    equal(a.attributes.length + ' ' + d.value + ' ' + d.specified, '2 one false');
    equal(a.toString(), '<a i="k"/>');
    d.value = 'two';
    equal(d.specified + ' ' + a, 'true <a i="k" d="two"/>');
    a.removeAttribute('d');
    equal(a.getAttribute('d') + a.getAttributeNode('d').specified, 'onefalse');
    equal(doc.getElementById('k'), a);
});

test('namespaces as attributes', function () {
    var doc = dom.parseString('<r xmlns="urn:d"><k xmlns:p="urn:p" p:x="1"><l/></k></r>');
    var k = doc.documentElement.firstChild;
    equal(k.attributes[0].name + k.attributes[1].name + k.attributes.length, 'xmlns:pp:x2');
    equal(k.getAttribute('xmlns:p') + k.getAttributeNS('http://www.w3.org/2000/xmlns/', 'p'),
          'urn:purn:p');
    k.setAttributeNS('http://www.w3.org/2000/xmlns/', 'xmlns:q', 'urn:q');
    equal(k.toString(), '<k xmlns:p="urn:p" xmlns:q="urn:q" xmlns="urn:d" p:x="1"><l/></k>');
    k.prefix = 'd';
    equal(k, doc.documentElement.firstChild);
    equal(k.nodeName + ' ' + k.namespaceURI, 'd:k urn:d');
    equal(doc.selectNodes('//n:l|//p:*|//@p:x', { n: 'urn:d', p: 'urn:p' }).length, 2);
    equal(doc.getElementsByTagNameNS('urn:d', '*').length, 3);
    [null, emoji].forEach(function (value) {
        if (value) k.setAttribute('wide', value);
        doc.save(folder + 'format.xml', { format: true });
        equal(readFile(folder + 'format.xml').split('\n').length, 7);
    });
    equal(dom.parseFile(folder + 'format.xml', { keepBlanks: false }).documentElement.toString(),
          doc.documentElement.toString());
    k.removeAttribute('wide');
    var outer = dom.parseString('<r xmlns:p="urn:other"/>');
    outer.documentElement.appendChild(outer.importNode(k, false));
    equal(outer.documentElement.toString(), '<r xmlns:p="urn:other"><d:k xmlns:p="urn:p" ' +
                                            'xmlns:q="urn:q" xmlns:d="urn:d" p:x="1"/></r>');
    var tree = doc.createElement('t');
    tree.appendChild(doc.createElementNS('urn:third', 'p:u'))
        .setAttributeNS('urn:fourth', 'q:v', '2');
    outer.documentElement.appendChild(outer.importNode(tree, true));
    var uris = { a: 'urn:third', b: 'urn:fourth' };
    equal(dom.parseString(outer.toString()).selectNodes('//a:u/@b:v', uris).length, 1);
    var inner = dom.parseString('<x xmlns:p="urn:other"/>').importNode(k, true);
    equal(inner.getElementsByTagNameNS('urn:d', 'l').length, 1);
    equal(inner.getAttributeNS('urn:p', 'x'), '1');
});

test('validation, messages, transformation', function () {
    function validate(xml) { return dom.parseString('<!DOCTYPE a ' + xml).validate(); }
    equal(validate('[<!ELEMENT a EMPTY>]><a/>').valid, true);
    equal(/b/.test(validate('[<!ELEMENT a EMPTY>]><a><b/></a>').report), true);
    writeFile(folder + 'beside.dtd', '<!ELEMENT a EMPTY>');
    writeFile(folder + 'beside.xml', '<!DOCTYPE a SYSTEM "./beside.dtd"><a/>');
    equal(dom.parseFile(folder + 'beside.xml').validate().valid, true);
    equal(dom.parseString('<!DOCTYPE a SYSTEM "beside.dtd"><a/>', { url: folder + 'x' }).validate().valid, true);
    equal(validate('SYSTEM "' + folder + 'lost.dtd"><a/>').valid, false);
    equal(/lost.xml/.test(failure(function () { dom.parseFile(folder + 'lost.xml'); })), true);
    equal(dom.parseString('<a/>').lastMessage, null);
    equal(/urn/.test(dom.parseString('<a xmlns="urn"/>').lastMessage), true);
    var xml = folder + emojis('t*.xml'), xsl = folder + emojis('t*.xsl');
    var out = folder + emojis('o 50%*');
    writeFile(xsl, '<x:stylesheet version="1.0" xmlns:x="http://www.w3.org/1999/XSL/Transform">' +
                   '<x:output method="text"/></x:stylesheet>');
    writeFile(xml, '<a>done</a>');
    equal(dom.transform(xml, xsl, out) + readFile(out), '4done');
});

test('memory of documents that nobody needs', function () {
    function resident() { return +/VmRSS:\s+(\d+)/.exec(readFile('/proc/self/status'))[1]; }
    var xml = '<r>' + new Array(2000).join('<i n="1">text</i>') + '</r>';
    for (var limit, i = 0; i < 600; i++) {
        var doc = dom.parseString(xml);
        doc.documentElement.appendChild(doc.createElement('x'));
        doc.documentElement.removeChild(doc.documentElement.firstChild);
        if (i === 300) limit = resident() + 8192;
    }
    if (limit && resident() > limit) throw new Error('more than ' + limit + ' kB: ' + resident());
});

print(failures + ' failed');
exit(failures ? 1 : 0);
