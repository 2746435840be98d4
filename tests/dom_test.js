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
    if (found !== expected) throw new Error(JSON.stringify(expected) + ' expected, not ' + (found && found.nodeType ? found : JSON.stringify(found)));
}
/** Each function throws a DOMException of the code, and changes nothing of the document. */
function refuses(code, doc, runs) {
    runs.forEach(function (run) {
        var before = doc.toString();
        try {
            run();
        } catch (e) {
            if (!(e instanceof dom.DOMException)) throw e;
            equal(e.name + ' ' + run, Object.keys(dom.DOMException).filter(function (name) { return dom.DOMException[name] === code; })[0] + ' ' + run);
            equal(doc.toString(), before);
            return;
        }
        throw new Error('nothing thrown by ' + run);
    });
}

var emoji = '\uD83D\uDE00';
var wide = 'a' + emoji + ' é\u4E2D\uDBFF\uDFFD+~\\';

test('characters above U+FFFF, in and out of everything', function () {
    var xml = '<r\uD840\uDC00 a="' + wide + '"><!--' + wide + '--><?p\uD840\uDC00 ' + wide + '?>' + wide + '<![CDATA[' + wide + ']]></r\uD840\uDC00>';
    var doc = dom.parseString(xml);
    function check(root) {
        equal(root.nodeName, 'r\uD840\uDC00');
        equal(root.getAttribute('a'), wide);
        equal(root.childNodes.map(function (node) { return node.data; }).join('|'), [wide, wide, wide, wide].join('|'));
        equal(root.childNodes[1].target, 'p\uD840\uDC00');
        equal(root.textContent, wide + wide);
        equal(root.toString(), xml);
    }
    check(doc.documentElement);
    ['UTF-8', 'UTF-16', null].forEach(function (encoding) {
        var path = folder + 'wide ' + emoji + 'ü%41.xml';
        doc.save(path, { encoding: encoding });
        check(dom.parseFile(path).documentElement);
    });

    var made = dom.implementation.createDocument('urn:' + emoji, emoji + ':r', null);
    var root = made.documentElement;
    root.setAttribute(emoji, wide);
    root.appendChild(made.createComment(emoji));
    root.appendChild(made.createCDATASection(emoji)).appendData('!');
    root.appendChild(made.createProcessingInstruction(emoji, emoji)).data += emoji;
    var text = root.appendChild(made.createTextNode('<x>'));
    text.replaceData(1, 1, emoji);
    equal(text, root.lastChild);
    equal(root.toString(), '<' + emoji + ':r xmlns:' + emoji + '="urn:' + emoji + '" ' + emoji + '="' + wide.replace(/&/g, '') + '"><!--' + emoji +
        '--><![CDATA[' + emoji + '!]]><?' + emoji + ' ' + emoji + emoji + '?>&lt;' + emoji + '&gt;</' + emoji + ':r>');
    equal(dom.parseString(made.toString()).documentElement.namespaceURI, 'urn:' + emoji);
    refuses(5, made, [function () { text.splitText(2); }, function () { text.data = '\uD83D'; }, function () { made.createTextNode('\0'); },
        function () { made.createComment('\u0001'); }, function () { made.createElement('1'); }, function () { made.createElement('a\0'); }]);
});

test('encodings and what can be saved', function () {
    ['UTF-8', 'utf-16', 'ISO-8859-1', 'Shift_JIS', 'UTF-7'].forEach(function (encoding) {
        ['é+', 'é' + emoji].forEach(function (text) {
            var doc = dom.parseString('\uFEFF<?xml version="1.0" encoding="' + encoding + '" standalone="yes"?>\n<a>' + text + '</a>');
            equal(doc.documentElement.textContent, text);
            equal(doc.encoding, encoding);
            equal(dom.parseString(doc.toString()).toString(), doc.toString());
        });
    });
    var comment = dom.parseString('<a><!----></a>').documentElement.firstChild;
    ['a--b', 'a-'].forEach(function (text) {
        comment.data = text;
        try {
            comment.ownerDocument.save(folder + 'never.xml');
        } catch (e) {
            return equal(/comment/.test(e.message), true);
        }
        throw new Error('a file that does not parse was written');
    });
    comment.data = 'a-b';
    comment.ownerDocument.save(folder + 'now.xml');
    equal(dom.parseString('<a b="é"/>').toString(), '<?xml version="1.0"?>\n<a b="é"/>\n');
    var latin = dom.parseString('<a>é</a>');
    latin.save(folder + 'latin.xml', { encoding: 'ISO-8859-1' });
    equal(readFile(folder + 'latin.xml', 'binary')[47], 0xE9);
    equal(dom.parseFile(folder + 'latin.xml').documentElement.textContent, 'é');
});

test('HTML text and files', function () {
    ['windows-1252', 'utf-8', 'UTF-16', 'shift_jis'].forEach(function (charset) {
        var doc = dom.parseHTMLString('<!DOCTYPE html><html lang="é"><head><meta charset="' + charset + '"><script>x = "é' + emoji + '<b>";</script></head>' +
            '<body><!-- ' + emoji + ' --><p title="' + emoji + '">é&amp;' + emoji + '</body></html>');
        function check(doc) {
            equal(doc.nodeType, 9);
            equal(doc.documentElement.getAttribute('lang'), 'é');
            equal(doc.selectSingleNode('//script').textContent, 'x = "é' + emoji + '<b>";');
            equal(doc.selectSingleNode('//comment()').data, ' ' + emoji + ' ');
            equal(doc.selectSingleNode('//p').getAttribute('title'), emoji);
            equal(doc.selectSingleNode('//p').textContent.trim(), 'é&' + emoji);
            equal(doc.firstChild.nodeType + ' ' + doc.lastChild.nodeName, '10 html');
        }
        check(doc);
        doc.save(folder + 'page' + emoji + '.html', { encoding: 'UTF-8' });
        if (charset === 'utf-8') check(dom.parseHTMLFile(folder + 'page' + emoji + '.html'));
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
    equal(b.parentNode, null);
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
    var doc = dom.parseString('<!DOCTYPE a [<!ENTITY e "<i>x</i>">]><a x="1" xmlns:p="urn:p">&e;<b/></a>');
    var other = dom.parseString('<z y="2"/>');
    var a = doc.documentElement, reference = a.firstChild, b = a.lastChild;
    equal(reference.textContent, 'x');
    refuses(1, doc, [function () { doc.createTextNode('x').splitText(2); }, function () { doc.createTextNode('x').substringData(0, -1); }]);
    refuses(3, doc, [function () { b.appendChild(a); }, function () { a.appendChild(a); }, function () { doc.appendChild(doc.createElement('c')); },
        function () { doc.appendChild(doc.createTextNode('x')); }, function () { a.appendChild(a.attributes[0]); }, function () { b.appendChild(null); }]);
    refuses(4, doc, [function () { a.appendChild(other.documentElement); }, function () { a.setAttributeNode(other.createAttribute('y')); }]);
    refuses(7, doc, [function () { reference.firstChild.setAttribute('x', 'y'); }, function () { reference.firstChild.firstChild.data = ''; },
        function () { reference.removeChild(reference.firstChild); }, function () { doc.removeChild(doc.doctype); }, function () { doc.doctype.entities.removeNamedItem('e'); }]);
    refuses(8, doc, [function () { b.removeChild(a); }, function () { a.insertBefore(doc.createElement('c'), doc); },
        function () { b.removeAttributeNode(a.attributes[0]); }, function () { a.attributes.removeNamedItem('none'); }]);
    refuses(9, doc, [function () { doc.importNode(other, true); }]);
    refuses(10, doc, [function () { b.setAttributeNode(a.getAttributeNode('x')); }]);
    refuses(12, doc, [function () { a.selectNodes('['); }, function () { a.selectNodes('count(b)'); }]);
    refuses(14, doc, [function () { doc.createElementNS(null, 'p:x'); }, function () { a.setAttributeNS('urn:x', 'xmlns', ''); },
        function () { doc.createElementNS('urn:x', 'xml:x'); }, function () { doc.createElementNS('urn:x', 'a:b:c'); }, function () { b.prefix = 'p'; }]);
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
    equal(k.attributes.map(function (attribute) { return attribute.name; }).join(), 'xmlns:p,p:x');
    equal(k.getAttribute('xmlns:p') + k.getAttributeNS('http://www.w3.org/2000/xmlns/', 'p'), 'urn:purn:p');
    k.setAttributeNS('http://www.w3.org/2000/xmlns/', 'xmlns:q', 'urn:q');
    equal(k.toString(), '<k xmlns:p="urn:p" xmlns:q="urn:q" xmlns="urn:d" p:x="1"><l/></k>');
    k.prefix = 'd';
    equal(k.nodeName + ' ' + k.namespaceURI + ' ' + (k === doc.documentElement.firstChild), 'd:k urn:d true');
    equal(doc.selectNodes('//n:l|//p:*|//@p:x', { n: 'urn:d', p: 'urn:p' }).length, 2);
    equal(doc.getElementsByTagNameNS('urn:d', '*').length, 3);
    doc.save(folder + 'format.xml', { format: true });
    equal(readFile(folder + 'format.xml').split('\n').length, 7);
    k.setAttribute('wide', emoji);
    doc.save(folder + 'format.xml', { format: true });
    equal(readFile(folder + 'format.xml').split('\n').length, 7);
    equal(dom.parseFile(folder + 'format.xml', { keepBlanks: false }).documentElement.toString(), doc.documentElement.toString());
    k.removeAttribute('wide');
    var outer = dom.parseString('<r xmlns:p="urn:other"/>');
    var shallow = outer.documentElement.appendChild(outer.importNode(k, false));
    equal(shallow.getAttributeNS('urn:p', 'x') + outer.toString(), '1<?xml version="1.0"?>\n<r xmlns:p="urn:other"><d:k xmlns:p="urn:p" ' +
        'xmlns:q="urn:q" xmlns:d="urn:d" p:x="1"/></r>\n');
    var tree = doc.createElement('t');
    tree.appendChild(doc.createElementNS('urn:third', 'p:u')).setAttributeNS('urn:fourth', 'q:v', '2');
    outer.documentElement.appendChild(outer.importNode(tree, true));
    equal(dom.parseString(outer.toString()).selectNodes('//a:u/@b:v', { a: 'urn:third', b: 'urn:fourth' }).length, 1);
    var inner = dom.parseString('<x xmlns:p="urn:other"/>').importNode(k, true);
    equal(inner.getElementsByTagNameNS('urn:d', 'l').length + inner.getAttributeNS('urn:p', 'x'), '11');
});

test('validation, messages, transformation', function () {
    writeFile(folder + 'v.dtd', '<!ELEMENT a EMPTY>');
    equal(dom.parseString('<!DOCTYPE a [<!ELEMENT a EMPTY>]><a/>').validate().valid, true);
    equal(/b/.test(dom.parseString('<!DOCTYPE a [<!ELEMENT a EMPTY>]><a><b/></a>').validate().report), true);
    equal(dom.parseString('<!DOCTYPE a SYSTEM "' + folder + 'lost.dtd"><a/>').validate().valid, false);
    try {
        dom.parseFile(folder + 'lost.xml');
        throw new Error('a missing file was parsed');
    } catch (e) {
        equal(/lost\.xml/.test(e.message), true);
    }
    equal(dom.parseString('<a/>').lastMessage, null);
    equal(/urn/.test(dom.parseString('<a xmlns="urn"/>').lastMessage), true);
    writeFile(folder + 't' + emoji + '.xsl', '<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"><xsl:output method="text"/></xsl:stylesheet>');
    writeFile(folder + 't' + emoji + '.xml', '<a>done</a>');
    equal(dom.transform(folder + 't' + emoji + '.xml', folder + 't' + emoji + '.xsl', folder + 'o 50%' + emoji), 4);
    equal(readFile(folder + 'o 50%' + emoji), 'done');
});

test('memory of documents that nobody needs', function () {
    function resident() { return +/VmRSS:\s+(\d+)/.exec(readFile('/proc/self/status'))[1]; }
    var xml = '<r>' + new Array(2000).join('<i n="1">text</i>') + '</r>';
    var limit;
    for (var i = 0; i < (args[1] ? 20 : 400); i++) {
        var doc = dom.parseString(xml);
        doc.documentElement.appendChild(doc.createElement('x'));
        doc.documentElement.removeChild(doc.documentElement.firstChild);
        if (i === 200) limit = resident() + 4096;
    }
    if (limit && resident() > limit) throw new Error('more than ' + limit + ' kB: ' + resident());
});

print(failures + ' failed');
exit(failures ? 1 : 0);
