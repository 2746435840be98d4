// Random changes of a document through DOM objects, against the same changes of a tree of plain
// objects. vtdom dom_random_test.js FOLDER [ROUNDS [FIRST_SEED]]
var dom = require('dom');

var file = args[0] + '/random.xml';
var rounds = +args[1] || 30;
var firstSeed = +args[2] || 1;
var state;

/** A number from 0 up to, not including, `below`. */
function random(below) {
    return ((state = Math.imul(state, 1103515245) + 12345 & 0x7FFFFFFF) >>> 16) % below;
}
function pick(list) { return list[random(list.length)]; }

// ---- The plain tree: {type, name, prefix, uri, data, attributes, children, parent, object} ------

function plain(type, object, fields) {
    var node = { type: type, children: [], parent: null, object: object, attributes: {} };
    for (var name in fields) node[name] = fields[name];
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
    var kind = random(6), text = kind === 3 ? pick(texts) : pick(safeTexts);
    if (kind === 3) return plain(3, doc.createTextNode(text), { data: text });
    if (kind === 4) return plain(8, doc.createComment(text), { data: text });
    if (kind === 5) return plain(4, doc.createCDATASection(text), { data: text });
    var uri = pick(uris), prefix = uri ? pick(prefixes) : null;
    var name = (prefix ? prefix + ':' : '') + pick(['x', 'y']);
    return plain(1, doc.createElementNS(uri, name), { name: name, uri: uri });
}

/** Links the child in both trees, as the last one where `before` is null. */
function insert(parent, child, before) {
    parent.object.insertBefore(child.object, before ? before.object : null);
    if (before === child) before = parent.children[parent.children.indexOf(child) + 1] || null;
    detach(child);
    link(parent, child, before ? parent.children.indexOf(before) : parent.children.length);
}
function link(parent, child, place) {
    parent.children.splice(place, 0, child);
    child.parent = parent;
}

function change(doc, nodes) {
    var elements = nodes.filter(function (node) { return node.type === 1; });
    var node = pick(nodes), parent = pick(elements), child;
    switch (Math.max(random(8), 2)) {
        case 2:
            nodes.push(child = create(doc));
            insert(parent, child, pick([...parent.children, null]));
            break;
        case 3:
            if (node === nodes[0] || isAbove(node, parent)) break;
            insert(parent, node, pick([...parent.children, null]));
            break;
        case 4:
            if (node === nodes[0] || !node.parent || nodes.length < 8) break;
            node.parent.object.removeChild(node.object);
            detach(node);
            break;
        case 5:
            if (node.type !== 3 || !node.parent) break;
            var cut = node.data.charCodeAt(0) >= 0xD800 ? 0 : Math.min(1, node.data.length);
            child = plain(3, node.object.splitText(cut), { data: node.data.slice(cut) });
            nodes.push(child);
            node.data = node.data.slice(0, cut);
            link(node.parent, child, node.parent.children.indexOf(node) + 1);
            break;
        case 6:
            if (node.type !== 1) {
                node.object.data = node.data = pick(node.type === 3 ? texts : safeTexts);
                break;
            }
            var uri = pick(uris), value = pick(texts);
            var name = (uri ? pick(['p', 'q']) + ':' : '') + pick(['m', 'n']);
            node.object.setAttributeNS(uri, name, value);
            node.attributes[(uri || '') + ' ' + name.replace(/.*:/, '')] = value;
            break;
        case 7:
            if (!node.parent || node === nodes[0]) break;
            child = plain(node.type, node.object.cloneNode(false),
                          { name: node.name, uri: node.uri, data: node.data });
            for (var key in node.attributes) child.attributes[key] = node.attributes[key];
            nodes.push(child);
            insert(parent, child, null);
    }
}

// ---- Comparing ----------------------------------------------------------------------------------

function attributesOf(element) {
    var found = {};
    element.attributes.forEach(function (attribute) {
        if (attribute.namespaceURI !== 'http://www.w3.org/2000/xmlns/')
            found[(attribute.namespaceURI || '') + ' ' + (attribute.localName || attribute.name)] =
                attribute.value;
    });
    return found;
}
function sorted(object) {
    var keys = Object.keys(object).sort();
    return JSON.stringify(keys.map(function (key) { return [key, object[key]]; }));
}

function same(what, expected, found) {
    if (expected !== found)
        throw new Error(what + ': ' + String(expected) + ' expected, not ' + String(found));
}

function compare(node) {
    var object = node.object;
    same('parent', node.parent ? node.parent.object : null,
         object.parentNode === object.ownerDocument ? null : object.parentNode);
    if (node.type !== 1) return same('data', node.data, object.data);
    same('name', node.name, object.nodeName);
    same('namespace', node.uri, object.namespaceURI);
    same('attributes', sorted(node.attributes), sorted(attributesOf(object)));
    same('children', node.children.length, object.childNodes.length);
    for (var i = 0, child = object.firstChild; child; i++, child = child.nextSibling) {
        same('child ' + i, node.children[i].object, child);
        same('item ' + i, child, object.childNodes[i]);
        compare(node.children[i]);
    }
    same('last child', node.children.length, i);
}

/** What a file keeps of a plain tree: texts that are neighbours are one, CDATA sections are cut at
    their end marks. */
function shape(node) {
    if (node.type === 3 || node.type === 4) return node.data && '|' + node.data + '|';
    if (node.type === 8) return '<!' + node.data + '>';
    return '{' + (node.uri || '') + '}' + node.name.replace(/.*:/, '') + sorted(node.attributes) +
           '(' + node.children.map(shape).join('').replace(/\|\|/g, '') + ')';
}
/** The plain tree of an object. */
function read(object) {
    var node = plain(object.nodeType, object,
                     { name: object.nodeName, uri: object.namespaceURI, data: object.data });
    if (node.type === 1) node.attributes = attributesOf(object);
    if (node.type === 1) node.children = object.childNodes.map(read);
    return node;
}

for (var seed = firstSeed; seed < firstSeed + rounds; seed++) {
    state = seed;
    var doc = dom.parseString('<r xmlns:p="urn:a"><k xmlns="urn:b"/></r>');
    var root = read(doc.documentElement);
    root.children[0].parent = root;
    var nodes = [root, root.children[0]];
    try {
        for (var step = 0;; step++) {
            if (step % 6 === 0) nodes.forEach(function (node) { if (!node.parent) compare(node); });
            if (step === 60) break;
            change(doc, nodes);
        }
        same('text', shape(root), shape(read(dom.parseString(doc.toString()).documentElement)));
        doc.save(file);
        same('file', shape(root), shape(read(dom.parseString(readFile(file)).documentElement)));
    } catch (e) {
        print('seed ' + seed + ', step ' + step + ': ' + (e.stack || e));
        exit(1);
    }
}
print(rounds + ' rounds');
