// Random changes of a document through DOM objects, against the same changes of a tree of plain objects.
// vtdom dom_random_test.js FOLDER [ROUNDS [FIRST_SEED]]
var dom = require('dom');

var file = args[0] + '/random.xml';
var rounds = +args[1] || 30;
var firstSeed = +args[2] || 1;
var state;

/** A number from 0 up to, not including, `below`. */
function random(below) {
    state = (state * 1103515245 + 12345) % 2147483648;
    return Math.floor(state / 65536) % below;
}
function pick(list) { return list[random(list.length)]; }

// ---- The plain tree: {type, name, prefix, uri, data, attributes, children, parent, object} --------

function plain(type, fields, object) {
    var node = { type: type, children: [], parent: null, object: object, attributes: {} };
    Object.keys(fields).forEach(function (name) { node[name] = fields[name]; });
    return node;
}
function detach(node) {
    if (node.parent) node.parent.children.splice(node.parent.children.indexOf(node), 1);
    node.parent = null;
}
function isAbove(node, other) {
    for (; other; other = other.parent) if (other === node) return true;
    return false;
}

var texts = ['', 'a', 'b<&>', ' \n', 'é中', '\uD83D\uDE00', ']]>', '"\''];
var safeTexts = ['a', 'é', 'x \uD83D\uDE00 y'];
var uris = [null, 'urn:a', 'urn:b'];
var prefixes = [null, 'p', 'q'];

function create(doc) {
    var kind = random(6);
    if (kind < 3) {
        var uri = pick(uris), prefix = uri ? pick(prefixes) : null;
        var name = (prefix ? prefix + ':' : '') + pick(['x', 'y']);
        return plain(1, { name: name, uri: uri }, doc.createElementNS(uri, name));
    }
    var text = kind === 3 ? pick(texts) : pick(safeTexts);
    if (kind === 3) return plain(3, { data: text }, doc.createTextNode(text));
    if (kind === 4) return plain(8, { data: text }, doc.createComment(text));
    return plain(4, { data: text }, doc.createCDATASection(text));
}

function insert(parent, child, before) {
    parent.object.insertBefore(child.object, before ? before.object : null);
    if (before === child) before = parent.children[parent.children.indexOf(child) + 1] || null;
    detach(child);
    parent.children.splice(before ? parent.children.indexOf(before) : parent.children.length, 0, child);
    child.parent = parent;
}

function change(doc, nodes) {
    var elements = nodes.filter(function (node) { return node.type === 1; });
    var node = pick(nodes), parent = pick(elements), child;
    switch (random(8)) {
        case 0:
        case 1:
        case 2:
            nodes.push(child = create(doc));
            insert(parent, child, pick(parent.children.concat(null)));
            break;
        case 3:
            if (node === nodes[0] || isAbove(node, parent)) break;
            insert(parent, node, pick(parent.children.concat(null)));
            break;
        case 4:
            if (node === nodes[0] || !node.parent || nodes.length < 8) break;
            node.parent.object.removeChild(node.object);
            detach(node);
            break;
        case 5:
            if (node.type !== 3 || !node.parent) break;
            var cut = node.data.charCodeAt(0) >= 0xD800 ? 0 : Math.min(1, node.data.length);
            nodes.push(child = plain(3, { data: node.data.slice(cut) }, node.object.splitText(cut)));
            node.data = node.data.slice(0, cut);
            child.parent = node.parent;
            node.parent.children.splice(node.parent.children.indexOf(node) + 1, 0, child);
            break;
        case 6:
            if (node.type === 1) {
                var uri = pick(uris), name = (uri ? pick(['p', 'q']) + ':' : '') + pick(['m', 'n']), value = pick(texts);
                node.object.setAttributeNS(uri, name, value);
                node.attributes[(uri || '') + ' ' + name.replace(/.*:/, '')] = value;
            } else {
                node.object.data = node.data = pick(node.type === 3 ? texts : safeTexts);
            }
            break;
        case 7:
            if (!node.parent || node === nodes[0]) break;
            var copy = node.object.cloneNode(false);
            nodes.push(child = plain(node.type, node, copy));
            child.children = [];
            child.parent = null;
            child.attributes = {};
            Object.keys(node.attributes).forEach(function (key) { child.attributes[key] = node.attributes[key]; });
            child.object = copy;
            insert(parent, child, null);
            break;
    }
}

// ---- Comparing ------------------------------------------------------------------------------------

function attributesOf(element) {
    var found = {};
    element.attributes.forEach(function (attribute) {
        if (attribute.namespaceURI !== 'http://www.w3.org/2000/xmlns/')
            found[(attribute.namespaceURI || '') + ' ' + (attribute.localName || attribute.name)] = attribute.value;
    });
    return found;
}
function sorted(object) { return JSON.stringify(Object.keys(object).sort().map(function (key) { return [key, object[key]]; })); }

function fail(what, expected, found) {
    throw new Error(what + ': ' + JSON.stringify(expected) + ' expected, not ' + JSON.stringify(found));
}
function same(what, expected, found) { if (expected !== found) fail(what, expected, found); }

function compare(node) {
    var object = node.object;
    same('parent', node.parent ? node.parent.object : null, object.parentNode === object.ownerDocument ? null : object.parentNode);
    if (node.type !== 1) return same('data', node.data, object.data);
    same('name', node.name, object.nodeName);
    same('namespace', node.uri, object.namespaceURI);
    same('attributes', sorted(node.attributes), sorted(attributesOf(object)));
    same('children', node.children.length, object.childNodes.length);
    for (var i = 0, child = object.firstChild; i < node.children.length; i++, child = child.nextSibling) {
        if (node.children[i].object !== child) fail('child ' + i, String(node.children[i].object), String(child));
        if (object.childNodes[i] !== child) fail('item ' + i, 'the same object', String(object.childNodes[i]));
        compare(node.children[i]);
    }
}

/** What a file keeps: texts that are neighbours are one, CDATA sections are cut at their end marks. */
function shape(uri, local, attributes, children) {
    return '{' + (uri || '') + '}' + local + sorted(attributes) + '(' + children.join('').replace(/\|\|/g, '') + ')';
}
function plainShape(node) {
    if (node.type === 3 || node.type === 4) return node.data && '|' + node.data + '|';
    if (node.type === 8) return '<!' + node.data + '>';
    return shape(node.uri, node.name.replace(/.*:/, ''), node.attributes, node.children.map(plainShape));
}
function objectShape(node) {
    if (node.nodeType === 3 || node.nodeType === 4) return node.data && '|' + node.data + '|';
    if (node.nodeType === 8) return '<!' + node.data + '>';
    return shape(node.namespaceURI, node.localName, attributesOf(node), node.childNodes.map(objectShape));
}

for (var seed = firstSeed; seed < firstSeed + rounds; seed++) {
    state = seed;
    var doc = dom.parseString('<r xmlns:p="urn:a"><k xmlns="urn:b"/></r>');
    var root = plain(1, { name: 'r', uri: null }, doc.documentElement);
    var k = plain(1, { name: 'k', uri: 'urn:b' }, root.object.firstChild);
    root.children.push(k);
    k.parent = root;
    var nodes = [root, k];
    try {
        for (var step = 0; step < 60; step++) {
            change(doc, nodes);
            if (step % 6 === 0) nodes.forEach(function (node) { if (!node.parent) compare(node); });
        }
        nodes.forEach(function (node) { if (!node.parent) compare(node); });
        same('text', plainShape(root), objectShape(dom.parseString(doc.toString()).documentElement));
        doc.save(file);
        same('file', plainShape(root), objectShape(dom.parseFile(file).documentElement));
    } catch (e) {
        print('seed ' + seed + ', step ' + step + ': ' + (e.stack || e));
        exit(1);
    }
}
print(rounds + ' rounds');
