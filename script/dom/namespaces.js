// Namespace declarations, and keeping the namespace of whatever is moved.
//
// When a node enters a document, libxml2's binding takes for each of its prefixes the declaration in
// scope, whatever URI that one has. In the DOM a node keeps its namespace. So a cluster knows which
// prefixes have more than one URI; only when there is one, a subtree is settled before it is linked:
// its elements get declarations of their own where the scope would give them another URI.
var names = require('./names');
var exact = require('./exact');

var XMLNS = names.XMLNS;

/** What an element declares in libxml2's tree: {prefix: URI}, '' for the default namespace. */
function declarationsOf(handle) {
    var found = {};
    if (xmlDOMNodeSelectNodes(handle, 'self::*[namespace::*[name()!="xml"]]') === '4' &&
        xmlDOMNodeSelectNodes(handle, 'self::*[namespace-uri()!=""]') === '4' && !mayUndeclare(handle)) return found;
    var shallow = xmlDOMNodeCloneNode(handle, 0);
    var attributes = names.handles(xmlDOMNodeSelectNodes(shallow, '@*'));
    attributes.forEach(function (attribute) {
        xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(attribute));
    });
    var tag;
    try {
        tag = xmlDOMNodeDumpNode(shallow, 0);
    } catch (e) {
        tag = wideTag(shallow);
    }
    xmlDOMNodeFreeNode(shallow);
    tag.replace(/\sxmlns(?::([^\s=]+))?=("[^"]*"|'[^']*')/g, function (all, prefix, quoted) {
        found[prefix || ''] = exact.unescape(quoted.slice(1, -1));
    });
    return found;
}

/** Whether xmlns="" may be on an element: no axis shows that. */
function mayUndeclare(handle) {
    return xmlDOMNodeSelectNodes(handle, 'self::*[../namespace::*[name()=""]]') !== '4';
}

/** A start tag with the declarations of an element, whose names or URIs have characters above U+FFFF. */
function wideTag(shallow) {
    var tag = '';
    for (var i = 1;; i++) {
        var node = 'namespace::*[' + i + ']';
        if (xmlDOMNodeSelectNodes(shallow, 'self::*[' + node + ']') === '4') return tag;
        var prefix = exact.evaluate(shallow, 'name(/t/place/*/' + node + ')');
        var uri = exact.evaluate(shallow, 'string(/t/place/*/' + node + ')');
        if (prefix !== 'xml') tag += ' xmlns' + (prefix && ':' + prefix) + '="' + names.escape(uri, true) + '"';
    }
}
exports.declarationsOf = declarationsOf;

// ---- What is bound --------------------------------------------------------------------------------

/** Notes that a prefix has this URI somewhere in the cluster; '' for none. */
function note(cluster, prefix, uri) {
    prefix = prefix || '';
    uri = uri || '';
    var known = cluster.bindings[prefix];
    if (known === undefined) cluster.bindings[prefix] = uri;
    else if (known !== uri) cluster.tangled = true;
}
exports.note = note;

/** Notes all that is bound in a subtree: by declarations, and by names that are to become some. */
function scan(cluster, top) {
    if (xmlDOMNodeSelectNodes(top, '(descendant-or-self::*[namespace-uri()=""])[1]') !== '4') note(cluster, '', '');
    noteAll(cluster, top, 'descendant-or-self::*[namespace::*[not(name()="xml"', ')]]', 'name()', '.', declarationsOf);
    if (top === cluster.doc) return;
    noteAll(cluster, top, '(descendant-or-self::*|descendant-or-self::*/@*)[namespace-uri()!=""][not(starts-with(name(),"xml:")', ')]',
        'substring-before(name(),":")', 'namespace-uri()', function (handle) {
            var name = nameOf(handle), bound = {};
            bound[name.prefix] = name.uri;
            return bound;
        });
}

/** Notes what `bindings` gives for each node that an expression finds, which leaves out what is known. */
function noteAll(cluster, top, start, end, prefixPath, uriPath, bindings) {
    var known = '';
    for (var count = 0; !cluster.tangled; count++) {
        var next = names.handles(xmlDOMNodeSelectNodes(top, '(' + start + known + end + ')[1]'))[0];
        if (!next) return;
        var found = bindings(next);
        Object.keys(found).forEach(function (prefix) {
            note(cluster, prefix, found[prefix]);
            known += ' or (' + prefixPath + '=' + names.literal(prefix) + ' and ' + uriPath + '=' + names.literal(found[prefix]) + ')';
            if (names.isWide(prefix + found[prefix])) cluster.tangled = true;       // no XPath finds it
        });
        if (count > 100 || Object.keys(found).length === 0) cluster.tangled = true;
    }
}
exports.scan = scan;

/** Notes all that is bound in the document, once. */
function scanDocument(cluster) {
    if (cluster.scanned) return;
    cluster.scanned = true;
    scan(cluster, cluster.doc);
}
exports.scanDocument = scanDocument;

/** The declarations, and in detached trees the names that will become some, in force inside a node. */
function scopeOf(cluster, handle) {
    var chain = [];
    for (; handle && handle !== cluster.doc; handle = xmlDOMNodeGetRelative(handle, 0)) {
        if (xmlDOMNodeGetType(handle) === 1) chain.push(handle);
    }
    return chain.reverse().reduce(function (scope, element) {
        return extend(scope, bindingsOf(element));
    }, { '': '' });
}

function extend(scope, more) {
    var inner = Object.create(scope);
    Object.keys(more).forEach(function (prefix) { inner[prefix] = more[prefix]; });
    return inner;
}

/** What an element binds: what it declares, and what its names need: {prefix: URI}. */
function bindingsOf(element) {
    var bound = declarationsOf(element);
    nodesOf(element).forEach(function (node) {
        var name = nameOf(node);
        if (name.prefix !== 'xml' && (node === element || name.uri)) bound[name.prefix] = name.uri;
    });
    return bound;
}
exports.bindingsOf = bindingsOf;

/** All that is bound at an element: {prefix: URI}. */
exports.allBindings = function (element) {
    var scope = extend(scopeOf(element._cluster, element._handle), {});
    var all = {};
    for (var prefix in scope) all[prefix] = scope[prefix];
    return all;
};

/** An element and its attributes. */
function nodesOf(element) {
    return [element].concat(names.handles(xmlDOMNodeSelectNodes(element, '@*')));
}

function nameOf(handle) {
    return { prefix: part(handle, 2) || '', uri: part(handle, 1) || '' };
}

function part(handle, property) {
    try {
        return xmlDOMNodeGetPropertyNS(handle, property);
    } catch (e) {
        if (property === 1) return exact.nameOf(handle, 'namespace-uri');
        return exact.nameOf(handle).replace(/:?[^:]*$/, '');
    }
}

// ---- Settling -------------------------------------------------------------------------------------

/** To be called before an element is linked below a parent: sees to it that it keeps its namespaces. */
exports.prepare = function (parent, child, take) {
    var cluster = parent._cluster;
    scanDocument(cluster);
    if (!cluster.tangled || isLeafInPlace(parent, child)) return;
    if (!child._detached) take(child);
    settle(cluster, child._handle, scopeOf(cluster, parent._container()));
};

/** Whether a child without children and attributes finds its prefix in the document as it needs it; it
    is given a declaration where that is all it lacks. */
function isLeafInPlace(parent, child) {
    var handle = child._handle;
    if (!child._detached || child.firstChild || xmlDOMNodeGetFirstAttribute(handle)) return false;
    for (var top = parent; top && top._type !== 9; top = top.parentNode) if (top._type !== 1) return false;
    if (!top) return false;
    var declared = declarationsOf(handle);
    var name = nameOf(handle);
    if (declared[name.prefix] === name.uri) return true;
    if (Object.keys(declared).length > 0) return false;
    if (parent._type === 9) return true;
    var prefix = 'name()=' + names.literal(name.prefix);
    if (names.isWide(name.prefix + name.uri)) return false;
    var other = 'self::*[namespace::*[' + prefix + '][.!=' + names.literal(name.uri) + ']]';
    if (xmlDOMNodeSelectNodes(parent._handle, other) !== '4') declareOn(child._cluster, handle, name.prefix, name.uri);
    return true;
}

/** Gives each element of a detached subtree the declarations that it needs in a scope. */
function settle(cluster, top, scope) {
    var waiting = [{ handle: top, scope: scope }];
    while (waiting.length > 0) {
        var next = waiting.pop();
        var element = next.handle;
        var declared = declarationsOf(element);
        var inner = extend(next.scope, declared);
        var missing = {};
        var name = nameOf(element);
        if (name.prefix !== 'xml' && (inner[name.prefix] !== undefined || name.uri) && inner[name.prefix] !== name.uri) {
            if (inner[name.prefix] !== undefined) missing[name.prefix] = name.uri;
            inner[name.prefix] = name.uri;
        }
        var own = extend(declared, missing);
        own[name.prefix] = name.uri;
        settleAttributes(cluster, element, inner, own, missing);
        if (Object.keys(missing).length > 0) element = rebuild(cluster, element, missing);
        for (var child = xmlDOMNodeGetRelative(element, 3); child; child = xmlDOMNodeGetRelative(child, 1)) {
            if (xmlDOMNodeGetType(child) === 1) waiting.push({ handle: child, scope: inner });
        }
    }
}

function settleAttributes(cluster, element, inner, own, missing) {
    nodesOf(element).slice(1).forEach(function (attribute) {
        var name = nameOf(attribute);
        if (!name.uri || name.prefix === 'xml' || inner[name.prefix] === name.uri) return;
        if (inner[name.prefix] === undefined) {
            inner[name.prefix] = own[name.prefix] = name.uri;
        } else if (own[name.prefix] === undefined) {
            inner[name.prefix] = own[name.prefix] = missing[name.prefix] = name.uri;
        } else {
            var other = freePrefix(inner, name.uri);
            inner[other] = own[other] = name.uri;
            xmlDOMElementRemoveAttributeNode(element, attribute);
            xmlDOMElementSetAttributeNodeNS(element, renamed(cluster, attribute, other));
        }
    });
}

/** A prefix that is bound to the URI, or to nothing. */
function freePrefix(scope, uri) {
    for (var i = 1;; i++) {
        var prefix = 'ns' + i;
        if (scope[prefix] === undefined || scope[prefix] === uri) return prefix;
    }
}

/** An attribute, which is in no element, with another prefix. Its object keeps its name. */
function renamed(cluster, attribute, prefix) {
    var object = cluster.node(attribute);
    void object.nodeName;       // is read before it changes
    void object.prefix;
    var made = exports.create(cluster, 2, { prefix: prefix, local: object.localName, uri: object.namespaceURI });
    cluster.rebind(attribute, made);
    moveChildren(cluster, attribute, made);
    xmlDOMNodeFreeNode(attribute);
    return made;
}

function moveChildren(cluster, from, to) {
    for (var child; (child = xmlDOMNodeGetRelative(from, 3));) {
        cluster.place(to, child, 0, xmlDOMNodeGetType(child) === 3);
    }
}

/** Puts an element with more declarations in the place of a detached one; gives its handle. */
function rebuild(cluster, element, missing) {
    var made = xmlDOMNodeCloneNode(element, 0);
    nodesOf(made).slice(1).forEach(function (attribute) {
        xmlDOMNodeFreeNode(xmlDOMElementRemoveAttributeNode(made, attribute));
    });
    Object.keys(missing).forEach(function (prefix) { declareOn(cluster, made, prefix, missing[prefix]); });
    return replaceBy(cluster, element, made);
}

/** Moves all of a detached element to another, which takes its place and its object. */
function replaceBy(cluster, element, made) {
    nodesOf(element).slice(1).forEach(function (attribute) {
        var inNamespace = part(attribute, 1) !== undefined;
        xmlDOMElementRemoveAttributeNode(element, attribute);
        (inNamespace ? xmlDOMElementSetAttributeNodeNS : xmlDOMElementSetAttributeNode)(made, attribute);
    });
    moveChildren(cluster, element, made);
    xmlDOMNodeReplaceNode(element, made);
    var object = cluster.nodes[element];
    if (object) keepDeclared(object);
    cluster.rebind(element, made);
    xmlDOMNodeFreeNode(element);
    cluster.version++;
    return made;
}
exports.replaceBy = replaceBy;

/** Declares a prefix on an element that has no element below it, in libxml2's tree. */
function declareOn(cluster, element, prefix, uri) {
    if (names.isWide(prefix + uri)) return;
    var attribute = xmlDOMDocCreateNodeNS(cluster.doc, 2, 'xmlns:' + prefix, XMLNS);
    xmlDOMNodeAddChild(0, attribute, xmlDOMDocCreateNode(cluster.doc, 3, uri));
    xmlDOMElementSetAttributeNodeNS(element, attribute);
    xmlDOMNodeFreeNode(attribute);
}

/** A new element (1) or attribute (2) of a name, which hangs nowhere: {prefix, local, uri}. */
exports.create = function (cluster, type, name) {
    var qualified = (name.prefix ? name.prefix + ':' : '') + name.local;
    if (!names.isWide(qualified + (name.uri || ''))) {
        if (!name.uri) {
            if (name.local.indexOf(':') < 0) return xmlDOMDocCreateNode(cluster.doc, type, name.local);
        } else if (type === 1 || name.prefix) {
            return xmlDOMDocCreateNodeNS(cluster.doc, type, name.prefix ? qualified : ':' + name.local, name.uri);
        }
    }
    var declaration = name.uri && name.prefix !== 'xml'
        ? ' xmlns' + (name.prefix ? ':' + name.prefix : '') + '="' + names.escape(name.uri, true) + '"' : '';
    var xml = type === 1 ? '<' + qualified + declaration + '/>' : '<r' + declaration + ' ' + qualified + '=""/>';
    var made = exact.make(cluster.doc, xml, function (root) {
        return type === 1 ? root : xmlDOMNodeGetFirstAttribute(root);
    });
    var text = xmlDOMNodeGetRelative(made, 3);
    if (text) xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(text));
    return made;
};

// ---- Declarations as attributes -------------------------------------------------------------------

/** The declarations that an element has as attributes: those of the file and those that a script set,
    not those that libxml2 added to keep a name's namespace. */
exports.declared = function (element) {
    keepDeclared(element);
    return element._declared;
};

function keepDeclared(element) {
    if (element._declared) return;
    var found = declarationsOf(element._handle);
    element._declared = Object.keys(found).map(function (prefix) {
        return element._declaration(prefix, found[prefix]);
    });
}

/** To be called before libxml2 may add declarations to an element. */
exports.keepDeclared = keepDeclared;

/** Makes an attribute of an element that declares a prefix true in libxml2's tree. */
exports.declare = function (element, prefix, uri, take) {
    var cluster = element._cluster;
    if (prefix === 'xml' || declarationsOf(element._handle)[prefix] !== undefined) return;
    var used = nodesOf(element._handle).some(function (node, i) {
        var name = nameOf(node);
        return name.prefix === prefix && name.uri !== uri && (i === 0 || name.uri);
    });
    if (used) return;       // the names on this element need the prefix for another URI
    scanDocument(cluster);
    note(cluster, prefix, uri);
    if (!cluster.tangled || (element._detached && !element.firstElementChild)) {
        declareOn(cluster, element._handle, prefix, uri);
        return;
    }
    // Declared in place, it would take outer and inner declarations of the prefix with it.
    var parent = element.parentNode;
    var next = element.nextSibling;
    if (!element._detached) take(element);
    var missing = {};
    missing[prefix] = uri;
    rebuild(cluster, element._handle, missing);
    if (parent) parent.insertBefore(element, next);
};

/** A deep copy without the declarations that copying added to its top: these are the place's to give.
    `shallow` is a copy of the top alone. */
exports.withoutAdded = function (cluster, deep, shallow) {
    if (Object.keys(declarationsOf(deep)).length === Object.keys(declarationsOf(shallow)).length) {
        xmlDOMNodeFreeNode(shallow);
        return deep;
    }
    moveChildren(cluster, deep, shallow);
    xmlDOMNodeFreeNode(deep);
    return shallow;
};

/** Gives a copy of an element the same declarations as attributes. */
exports.copied = function (element, copy) {
    if (element._declared || element.namespaceURI || Object.keys(element._cluster.bindings).length > 1) {
        copy._declared = exports.declared(element).map(function (attribute) {
            return copy._declaration(attribute._declares, attribute.value);
        });
    }
};

/** An attribute that can be put on an element without changing its namespace there: itself, or one with
    another prefix. */
exports.fitting = function (element, attribute) {
    var cluster = element._cluster;
    var name = nameOf(attribute._handle);
    if (!name.uri || name.prefix === 'xml') return;
    keepDeclared(element);
    scanDocument(cluster);
    note(cluster, name.prefix, name.uri);
    if (!cluster.tangled) return;
    var scope = scopeOf(cluster, element._handle);
    if (scope[name.prefix] === undefined || scope[name.prefix] === name.uri) return;
    renamed(cluster, attribute._handle, freePrefix(scope, name.uri));
};
