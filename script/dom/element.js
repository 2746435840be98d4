// Elements and attributes.
var node = require('./node');
var lists = require('./lists');
var data = require('./data');
var names = require('./names');
var namespaces = require('./namespaces');
var refuseIf = require('./exception').refuseIf;

var Node = node.Node;

/** What elements and attributes have in common: their names. */
var namedMembers = {
    get namespaceURI() {
        if (this._uri === undefined) {
            this._uri =
                this._level1
                    ? null
                    : node.readName(
                          this._handle, 'namespace-uri',
                          function (handle) { return xmlDOMNodeGetPropertyNS(handle, 1); }) ||
                          null;
        }
        return this._uri;
    },
    get prefix() {
        if (this.namespaceURI === null) return null;
        var colon = this.nodeName.indexOf(':');
        return colon < 0 ? null : this.nodeName.slice(0, colon);
    },
    set prefix(prefix) {
        node.checkWritable(this);
        prefix = prefix === null || prefix === '' ? null : names.checkName(prefix);
        refuseIf(prefix !== null && prefix.indexOf(':') >= 0, 'NAMESPACE_ERR',
                 'this is no prefix: ' + prefix);
        refuseIf(this.namespaceURI === null && prefix !== null, 'NAMESPACE_ERR',
                 'the node is in no namespace');
        if (prefix === this.prefix) return;
        refuseIf(prefix === 'xml' && this.namespaceURI !== names.XML, 'NAMESPACE_ERR',
                 'the prefix xml has a namespace of its own');
        this._rename(prefix, (prefix === null ? '' : prefix + ':') + this.localName);
    },
    get localName() {
        if (this._level1) return null;
        var name = this.nodeName;
        return this.namespaceURI === null ? name : name.slice(name.indexOf(':') + 1);
    }
};

// ---- Attributes ---------------------------------------------------------------------------------

/** An attribute. `_owner` is its element where libxml2 does not know: for declarations of
    namespaces, and for attributes that are there because the document type gives them a default. */
function Attr(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Attr, Node, 2, {
    /** The name, with the prefix. */
    get name() { return this.nodeName; },
    /** False for one that is there only because the document type gives it a default. */
    get specified() { return !this._isDefault; },
    /** The value; setting it puts one text in the place of what was there. */
    get value() { return readValue(this); },
    set value(value) {
        node.checkWritable(this);
        setValue(this, names.checkText(value));
    },
    get nodeValue() { return this.value; },
    set nodeValue(value) { this.value = value; },
    get textContent() { return this.value; },
    set textContent(value) { this.value = value === null || value === undefined ? '' : value; },
    /** The element that has the attribute; null for none. */
    get ownerElement() {
        if (this._owner) return this._owner;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, 0));
    },
    get parentNode() { return null; },
    get nextSibling() { return null; },
    get previousSibling() { return null; },
    cloneNode: function () {
        var copy = own(this._cluster.node(xmlDOMNodeCloneNode(this._handle, 1)));
        copy._declares = this._declares;
        copy._uri = this._uri;
        return node.copied(this, copy);
    },
    insertBefore: function (newChild, refChild) {
        var result = Node.prototype.insertBefore.call(this, newChild, refChild);
        changed(this);
        return result;
    },
    replaceChild: function (newChild, oldChild) {
        var result = Node.prototype.replaceChild.call(this, newChild, oldChild);
        changed(this);
        return result;
    },
    removeChild: function (oldChild) {
        var result = Node.prototype.removeChild.call(this, oldChild);
        changed(this);
        return result;
    },
    _rename: function (prefix, name) {
        refuseIf(prefix === 'xmlns' && this.namespaceURI !== names.XMLNS, 'NAMESPACE_ERR',
                 'the prefix xmlns declares namespaces');
        refuseIf(name === 'xmlns' || this._declares !== undefined, 'NAMESPACE_ERR',
                 'a declaration keeps its name');
        if (prefix === null && this.namespaceURI !== null) {
            refuseIf(true, 'NAMESPACE_ERR', 'an attribute in a namespace has a prefix');
        }
        var element = this.ownerElement;
        if (element) element.removeAttributeNode(this);
        var cluster = this._cluster;
        var old = this._handle;
        var made = namespaces.create(
            cluster, 2, { prefix: prefix, local: this.localName, uri: this.namespaceURI });
        for (var child; (child = xmlDOMNodeGetRelative(old, 3));)
            cluster.place(made, child, 0, xmlDOMNodeGetType(child) === 3);
        cluster.rebind(old, made);
        xmlDOMNodeFreeNode(old);
        this._life = null;
        own(this);
        this._name = name;
        if (element) element.setAttributeNodeNS(this);
    }
});
Node.define(Attr, namedMembers);

/** Gives an attribute that is in no element a life of its own. */
function own(attribute) {
    if (!attribute._life) attribute._life = LIBXMLLife.new().addInternal(attribute._handle);
    return attribute;
}

function readValue(attribute) {
    // libxml2 knows entities in the document only, not in what is detached.
    if (!attribute._cluster.hasReferences) {
        try {
            return xmlDOMNodeGetValue(attribute._handle);
        } catch (e) {
            // Characters above U+FFFF: its texts read them.
        }
    }
    var value = '';
    for (var child = attribute.firstChild; child; child = child.nextSibling)
        value += child.textContent;
    return value;
}

function setValue(attribute, text) {
    var cluster = attribute._cluster;
    var handle = attribute._handle;
    var only = xmlDOMNodeGetRelative(handle, 3);
    if (only && !cluster.nodes[only] && !xmlDOMNodeGetRelative(only, 1) &&
        xmlDOMNodeGetType(only) === 3 && !names.isWide(text)) {
        xmlDOMNodeSetValue(only, text);
    } else {
        node.clear(attribute);
        cluster.place(handle, data.make(cluster, 3, text, ''), 0, true);
    }
    cluster.version++;
    changed(attribute);
}

/** What follows when an attribute has another value. */
function changed(attribute) {
    if (attribute._isDefault) {
        var element = attribute._owner;
        attribute._isDefault = false;
        attribute._owner = null;
        delete element._defaults[attribute.name];
        link(element, attribute);
    } else if (attribute._declares !== undefined && attribute._owner) {
        namespaces.declare(attribute._owner, attribute._declares, attribute.value, node.take);
    }
}

/** Puts an attribute that is in no element on one that has none of its name. */
function link(element, attribute) {
    var cluster = element._cluster;
    if (attribute._declares !== undefined) {
        attribute._owner = element;
        namespaces.declared(element).push(attribute);
        namespaces.declare(element, attribute._declares, attribute.value, node.take);
    } else {
        namespaces.fitting(element, attribute);
        var inNamespace = attribute.namespaceURI !== null;
        if (inNamespace) cluster.prefixedAttributes = true;
        (inNamespace ? xmlDOMElementSetAttributeNodeNS
                     : xmlDOMElementSetAttributeNode)(element._handle, attribute._handle);
    }
    cluster.version++;
}

/** Takes an attribute out of its element. */
function unlink(element, attribute) {
    if (attribute._isDefault) {
        delete element._defaults[attribute.name];
        attribute._isDefault = false;
        attribute._owner = null;
    } else if (attribute._declares !== undefined) {
        element._declared.splice(element._declared.indexOf(attribute), 1);
        attribute._owner = null;
    } else {
        xmlDOMElementRemoveAttributeNode(element._handle, attribute._handle);
        own(attribute);
    }
    element._cluster.version++;
}

// ---- Elements -----------------------------------------------------------------------------------

/** An element. */
function Element(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Element, Node, 1, {
    /** The name, with the prefix. */
    get tagName() { return this.nodeName; },
    get attributes() {
        var element = this;
        if (!this._attributes) {
            this._attributes = new lists.NamedNodeMap(
                this._cluster, function () { return attributesOf(element); }, {
                    put: function(attribute,
                                   byNamespace) { return put(element, attribute, byNamespace); },
                    remove: function (attribute) { element.removeAttributeNode(attribute); }
                });
        }
        return this._attributes;
    },
    hasAttributes: function () { return this.attributes.length > 0; },

    /** The value of an attribute; '' without it. */
    getAttribute: function (name) {
        if (plain(this, name)) {
            try {
                var value = xmlDOMElementGetAttribute(this._handle, name);
                if (value !== undefined) return value;
            } catch (e) {
                // Characters above U+FFFF: the attribute's object reads them.
            }
        }
        var attribute = this.getAttributeNode(name);
        return attribute ? attribute.value : '';
    },
    /** Sets the value of an attribute, which is made when it is not there. */
    setAttribute: function (name, value) {
        name = names.checkName(name);
        node.checkWritable(this);
        value = names.checkText(value);
        var attribute = find(this, name);
        if (attribute) {
            setValue(attribute, value);
            return;
        }
        attribute = createAttribute(this._cluster, name);
        setValue(attribute, value);
        link(this, attribute);
    },
    /** Takes an attribute out; nothing happens without it. */
    removeAttribute: function (name) {
        node.checkWritable(this);
        var attribute = find(this, String(name));
        if (attribute && !attribute._isDefault) unlink(this, attribute);
    },
    /** The attribute of a name; null without it. */
    getAttributeNode: function (name) { return find(this, String(name)); },
    /** Puts an attribute in; gives the one of the same name that it replaces, or null. */
    setAttributeNode: function (attribute) { return put(this, attribute, false); },
    /** Takes an attribute out and gives it. */
    removeAttributeNode: function (attribute) {
        node.checkWritable(this);
        refuseIf(!(attribute instanceof Attr) || attribute.ownerElement !== this, 'NOT_FOUND_ERR',
                 'this element has no such attribute');
        unlink(this, attribute);
        return attribute;
    },
    /** Whether there is an attribute of this name, given or by default. */
    hasAttribute: function (name) { return find(this, String(name)) !== null; },

    /** The same by namespace URI (null for none) and local name. */
    getAttributeNS: function (uri, local) {
        var attribute = findNS(this, uri, local);
        return attribute ? attribute.value : '';
    },
    /** Sets the value of an attribute in a namespace; the prefix becomes the given one. */
    setAttributeNS: function (uri, qualifiedName, value) {
        var name = names.split(uri, qualifiedName);
        var declares = names.checkXmlns(name);
        node.checkWritable(this);
        value = names.checkText(value);
        var attribute = findNS(this, name.uri, name.local);
        if (!attribute) {
            attribute = createAttributeNS(this._cluster, name, declares);
            setValue(attribute, value);
            link(this, attribute);
            return;
        }
        if (!declares && attribute.prefix !== name.prefix)
            attribute._rename(name.prefix, name.name);
        setValue(attribute, value);
    },
    removeAttributeNS: function (uri, local) {
        node.checkWritable(this);
        var attribute = findNS(this, uri, local);
        if (attribute && !attribute._isDefault) unlink(this, attribute);
    },
    getAttributeNodeNS: function (uri, local) { return findNS(this, uri, local); },
    setAttributeNodeNS: function (attribute) { return put(this, attribute, true); },
    hasAttributeNS: function (uri, local) { return findNS(this, uri, local) !== null; },

    /** The elements below of a name ('*': all), a live NodeList in document order. */
    getElementsByTagName: function (name) { return exports.descendants(this, String(name)); },
    /** The same by namespace URI and local name, each of them '*' for any. */
    getElementsByTagNameNS: function (uri, local) {
        return exports.descendantsNS(this, uri, String(local));
    },

    _declaration: function (prefix, uri) {
        var attribute = createAttributeNS(this._cluster, {
            name: prefix ? 'xmlns:' + prefix : 'xmlns',
            prefix: prefix ? 'xmlns' : null,
            local: prefix || 'xmlns',
            uri: names.XMLNS
        },
                                          true);
        setValue(attribute, uri);
        attribute._owner = this;
        return attribute;
    },
    _rename: function (prefix, name) {
        var cluster = this._cluster;
        namespaces.keepDeclared(this);
        namespaces.note(cluster, prefix, this.namespaceURI);
        var parent = this.parentNode;
        var next = this.nextSibling;
        if (!this._detached) node.take(this);
        var made = namespaces.create(
            cluster, 1, { prefix: prefix, local: this.localName, uri: this.namespaceURI });
        namespaces.replaceBy(cluster, this._handle, made);
        this._name = name;
        var self = this;
        this._declared.forEach(function (attribute) {
            namespaces.declare(self, attribute._declares, attribute.value, node.take);
        });
        if (parent) parent.insertBefore(this, next);
    }
});
Node.define(Element, namedMembers);
Node.define(Element, node.parentMembers);
Node.define(Element, node.siblingMembers);

/** Whether libxml2 finds the attribute of a name by its local name alone. */
function plain(element, name) {
    if (name.indexOf(':') >= 0) return false;
    var cluster = element._cluster;
    if (cluster.prefixedAttributes === undefined) {
        cluster.prefixedAttributes =
            xmlDOMNodeSelectNodes(cluster.doc, '(//@*[contains(name(),":")])[1]') !== '4';
    }
    return !cluster.prefixedAttributes;
}

/** The attribute of a name: declared namespaces, real ones, defaults. */
function find(element, name) {
    if (/^xmlns(:|$)/.test(name)) {
        return first(namespaces.declared(element),
                     function (attribute) { return attribute.nodeName === name; });
    }
    var cluster = element._cluster;
    if (name.indexOf(':') < 0) {
        var found = xmlDOMElementGetAttributeNode(element._handle, name);
        var isReal = found !== undefined && xmlDOMAttrGetSpecified(found);
        if (isReal && (plain(element, name) || cluster.node(found).nodeName === name))
            return cluster.node(found);
        if (!isReal && !names.isWide(name)) return defaultOf(element, name, null);
    }
    return first(realAttributes(element),
                 function (attribute) { return attribute.nodeName === name; }) ||
           defaultOf(element, name, null);
}

/** The same by namespace and local name. */
function findNS(element, uri, local) {
    uri = uri || null;
    local = String(local);
    function matches(attribute) {
        return attribute.namespaceURI === uri &&
               (attribute.localName === null ? uri === null && attribute.nodeName === local
                                             : attribute.localName === local);
    }
    if (uri === names.XMLNS) return first(namespaces.declared(element), matches);
    var found = first(realAttributes(element), matches);
    if (found) return found;
    return first(defaults(element), matches);
}

function first(list, test) {
    for (var i = 0; i < list.length; i++) if (test(list[i])) return list[i];
    return null;
}

function realAttributes(element) {
    var cluster = element._cluster;
    return names.handles(xmlDOMNodeSelectNodes(element._handle, '@*'))
        .map(function (handle) { return cluster.node(handle); });
}

function attributesOf(element) {
    var real = realAttributes(element);
    return hasNamespaces(element._cluster)
               ? namespaces.declared(element).concat(real, defaults(element))
               : real.concat(defaults(element));
}

/** Whether anything in the document, or made for it, has a namespace. */
function hasNamespaces(cluster) {
    namespaces.scanDocument(cluster);
    return cluster.tangled ||
           Object.keys(cluster.bindings)
               .some(function (prefix) { return cluster.bindings[prefix] !== ''; });
}

// ---- Defaults of the document type --------------------------------------------------------------

/** The attributes that an element has by default. */
function defaults(element) {
    var doctype = element.ownerDocument.doctype;
    var declared = doctype && doctype._defaults()[element.nodeName];
    if (!declared) return [];
    return declared
        .map(function (name) { return defaultOf(element, name, realAttributes(element)); })
        .filter(function (attribute) { return attribute !== null; });
}

function defaultOf(element, name, real) {
    var doctype = element.ownerDocument && element.ownerDocument.doctype;
    if (!doctype) return null;
    var declared = doctype._defaults()[element.nodeName];
    if (!declared || declared.indexOf(name) < 0) return null;
    if (real && real.some(function (attribute) { return attribute.nodeName === name; })) return null;
    if (!element._defaults) element._defaults = {};
    var known = element._defaults[name];
    if (known) return known;
    var attribute = defaultAttribute(element, name);
    setValue(attribute, doctype._default(element.nodeName, name));
    attribute._owner = element;
    attribute._isDefault = true;
    attribute._level1 = false;
    return (element._defaults[name] = attribute);
}

/** A new attribute whose prefix means what it means at the element. */
function defaultAttribute(element, name) {
    var colon = name.indexOf(':');
    var prefix = name.slice(0, Math.max(colon, 0));
    var uri = colon > 0 && prefix !== 'xml' && prefix !== 'xmlns' &&
              namespaces.allBindings(element)[prefix];
    if (!uri) return createAttribute(element._cluster, name);
    return createAttributeNS(
        element._cluster,
        { name: name, prefix: prefix, local: name.slice(colon + 1), uri: uri }, false);
}

// ---- Putting and making attributes --------------------------------------------------------------

function put(element, attribute, byNamespace) {
    refuseIf(!(attribute instanceof Attr), 'HIERARCHY_REQUEST_ERR', 'this is no attribute');
    node.checkWritable(element);
    refuseIf(attribute._cluster !== element._cluster, 'WRONG_DOCUMENT_ERR',
             'the attribute is of another document: use importNode');
    var owner = attribute.ownerElement;
    if (owner === element && !attribute._isDefault) return attribute;
    refuseIf(owner, 'INUSE_ATTRIBUTE_ERR', 'the attribute is in an element: clone it');
    var old = byNamespace && attribute.localName !== null
                  ? findNS(element, attribute.namespaceURI, attribute.localName)
                  : find(element, attribute.nodeName);
    if (old) unlink(element, old);
    link(element, attribute);
    return old;
}

/** An attribute of a name that has no namespace, but for those whose prefix is reserved. */
function createAttribute(cluster, name) {
    var prefix = /^(xml|xmlns)(?=:|$)/.exec(name);
    if (prefix && (prefix[1] === 'xmlns' || name.indexOf(':') > 0)) {
        var local = name.slice(name.indexOf(':') + 1);
        var uri = prefix[1] === 'xml' ? names.XML : names.XMLNS;
        var declares = prefix[1] === 'xmlns';
        return createAttributeNS(
            cluster,
            { name: name, prefix: name === 'xmlns' ? null : prefix[1], local: local, uri: uri },
            declares);
    }
    var attribute = own(
        cluster.node(namespaces.create(cluster, 2, { prefix: null, local: name, uri: null })));
    attribute._level1 = true;
    return attribute;
}
exports.createAttribute = createAttribute;

function createAttributeNS(cluster, name, declares) {
    var prefix = name.prefix;
    if (name.uri && !prefix && !declares) prefix = 'ns1'; // libxml2 needs one to write it down
    var handle = declares
                     ? namespaces.create(cluster, 2, { prefix: null, local: 'xmlns', uri: null })
                     : namespaces.create(cluster, 2,
                                         { prefix: prefix, local: name.local, uri: name.uri });
    var attribute = own(cluster.node(handle));
    attribute._name = name.name;
    attribute._uri = name.uri;
    if (declares) attribute._declares = name.prefix ? name.local : '';
    return attribute;
}
exports.createAttributeNS = createAttributeNS;

// ---- Elements by name ---------------------------------------------------------------------------

/** The elements below a node of a name, as getElementsByTagName. */
exports.descendants = function (parent, name) {
    // A test by name alone is many times as fast, and is for elements in no namespace.
    var xpath = name === '*'         ? 'descendant::*'
                : names.isWide(name) ? null
                : !hasNamespaces(parent._cluster) && /^[A-Za-z_][\w.\-]*$/.test(name)
                    ? 'descendant::' + name
                    : 'descendant::*[name()=' + names.literal(name) + ']';
    return list(parent, xpath,
                function (element) { return name === '*' || element.nodeName === name; });
};

exports.descendantsNS = function (parent, uri, local) {
    uri = uri === undefined || uri === null ? '' : String(uri);
    var tests = (local === '*' ? '' : '[local-name()=' + names.literal(local) + ']') +
                (uri === '*' ? '' : '[namespace-uri()=' + names.literal(uri) + ']');
    return list(parent, names.isWide(local + uri) ? null : 'descendant::*' + tests,
                function (element) {
                    return (local === '*' || (element.localName || element.nodeName) === local) &&
                           (uri === '*' || (element.namespaceURI || '') === uri);
                });
};

/** By XPath where it sees all: it passes over what entity references stand for. */
function list(parent, xpath, matches) {
    var cluster = parent._cluster;
    return new lists.NodeList(cluster, function () {
        if (xpath && !cluster.hasReferences)
            return xmlDOMNodeSelectNodes(parent._container(), xpath);
        var found = [];
        walk(parent, matches, found);
        return found;
    });
}

function walk(parent, matches, found) {
    for (var child = parent.firstChild; child; child = child.nextSibling) {
        if (child._type === 1 && matches(child)) found.push(child);
        if (child._type === 1 || child._type === 5) walk(child, matches, found);
    }
}

exports.Element = Element;
exports.Attr = Attr;
