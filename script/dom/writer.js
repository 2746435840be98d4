// XML of nodes, saving and validating.
var node = require('./node');
var names = require('./names');
var exact = require('./exact');
var namespaces = require('./namespaces');

var Node = node.Node;

/** The XML of a node with all below it, and with the declarations that it needs. */
function xmlOf(self, format) {
    var top = self._handle;
    var handle = top;
    if (self._type === 6 || self._type === 12) return '';
    if (self._type === 11 || self._type === 5) {
        return self._type === 5 ? '&' + self.nodeName + ';' : self.childNodes.map(function (child) { return xmlOf(child, format); }).join('');
    }
    try {
        if (self._type === 1) handle = standAlone(self);
        var dump = xmlDOMNodeDumpNode(handle, format ? 1 : 0);
        if (self._type === 9 && !self.encoding) dump = dump.replace(' encoding="UTF-8"', '');
        return self._type === 2 ? dump.slice(1) : dump;
    } catch (e) {
        return spell(self);
    } finally {
        if (handle !== top) xmlDOMDocFreeDoc(xmlDOMNodeGetRelative(handle, 0));
    }
}

/** A copy of an element as the root of a document of its own, with all declarations. */
function standAlone(element) {
    var doc = xmlDOMDocCreateDoc('1.0');
    xmlDOMDocSetProperty(doc, 1, 'UTF-8');
    var copy = xmlDOMNodeCloneNode(element._handle, 1);
    xmlDOMNodeAddChild(0, doc, copy);
    return copy;
}

/** The same written here, where it has characters above U+FFFF. */
function spell(self) {
    switch (self._type) {
        case 1: return spellInside(self, { '': '' }, namespaces.allBindings(self));
        case 2: return self.nodeName + '="' + attributeText(self.value) + '"';
        case 3: return self.data.replace(/[&<>\r]/g, entity);
        case 4: return '<![CDATA[' + self.data.split(']]>').join(']]]]><![CDATA[>') + ']]>';
        case 5: return '&' + self.nodeName + ';';
        case 7: return '<?' + self.target + (self.data ? ' ' + self.data : '') + '?>';
        case 8: return '<!--' + self.data + '-->';
        case 9: return '<?xml version="' + (xmlDOMDocGetProperty(self._handle, 0) || '1.0') + '"' +
            (self.encoding ? ' encoding="' + self.encoding + '"' : '') + '?>\n' +
            self.childNodes.map(function (child) { return spell(child) + '\n'; }).join('');
        case 10: return spellDoctype(self);
        default: return '';
    }
}

function spellInside(element, scope, declared) {
    var inner = Object.create(scope);
    var tag = '<' + element.nodeName;
    Object.keys(declared).forEach(function (prefix) {
        if (inner[prefix] === declared[prefix]) return;
        inner[prefix] = declared[prefix];
        tag += ' xmlns' + (prefix && ':' + prefix) + '="' + attributeText(declared[prefix]) + '"';
    });
    element.attributes.forEach(function (attribute) {
        if (attribute._declares === undefined && attribute.specified) tag += ' ' + spell(attribute);
    });
    var content = element.childNodes.map(function (child) {
        return child._type === 1 ? spellInside(child, inner, namespaces.bindingsOf(child._handle)) : spell(child);
    }).join('');
    return content ? tag + '>' + content + '</' + element.nodeName + '>' : tag + '/>';
}

function spellDoctype(doctype) {
    var publicId = doctype.publicId, systemId = doctype.systemId, subset = doctype.internalSubset;
    return '<!DOCTYPE ' + doctype.name + (publicId !== null ? ' PUBLIC "' + publicId + '" "' + systemId + '"' : systemId !== null ? ' SYSTEM "' + systemId + '"' : '') +
        (subset ? ' [\n' + subset + ']' : '') + '>';
}

function attributeText(text) { return text.replace(/[&<>"\r\n\t]/g, entity); }

function entity(c) {
    return { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' }[c] || '&#' + c.charCodeAt(0) + ';';
}

Object.defineProperty(Node.prototype, 'toString', {
    /** The XML of the node; indented with {format: true}. */
    value: function (options) { return xmlOf(this, options && options.format); },
    writable: true, configurable: true
});

// ---- Saving ---------------------------------------------------------------------------------------

function refused(path) {
    return new Error('cannot write ' + path);
}

/** Writes a document. */
exports.save = function (document, path, options) {
    if (path.indexOf('\0') >= 0 || path === '') throw refused(path);
    if (document._cluster.isHtml) return saveHtml(document, path, options);
    var handle = document._handle;
    var before = document._encoding;
    if (options.encoding) document.encoding = options.encoding;
    var written;
    if (options.format) {
        // What XML allows is indented in a copy, as text: a formatted save would drop declarations.
        var lean = exact.load(xmlOf(document, false), 0);
        var loaded = lean && exact.load(formatted(lean.doc, document), 1);
        if (loaded) {
            xmlDOMDocSetProperty(loaded.doc, 1, document.encoding || 'UTF-8');
            written = xmlDOMDocSaveXMLFile(loaded.doc, names.writePath(path));
            xmlDOMDocFreeDoc(loaded.doc);
        }
        if (lean) xmlDOMDocFreeDoc(lean.doc);
    } else {
        written = xmlDOMDocSaveXMLFile(handle, names.writePath(path));
    }
    if (written === undefined) {
        document.encoding = before || null;
        throw refused(path + (options.encoding ? ' in ' + options.encoding : ''));
    }
};

function formatted(doc, document) {
    try {
        return xmlDOMNodeDumpNode(doc, 1);
    } catch (e) {
        return xmlOf(document, false);
    }
}

function saveHtml(document, path, options) {
    var encoding = options.encoding || document.encoding || 'UTF-8';
    if (xmlHTMLDocSaveFormatFile(document._handle, names.bytePath(path), encoding, options.format ? 1 : 0) === undefined) throw refused(path);
}

// ---- Validating -----------------------------------------------------------------------------------

/** Validates a document. An empty report means a valid document, a document type that is not found, or
    too many faults: with one sure fault more only a valid document gets a report. */
exports.validate = function (document) {
    var handle = document._handle;
    var report = xmlDOMDocValidateDTD(handle);
    if (report) return { valid: false, report: report };
    var root = document.documentElement;
    if (report === undefined || !root) return { valid: false, report: 'the document cannot be validated\n' };
    var fault = xmlDOMDocCreateNode(handle, 2, 'not-in-any-document-type');
    xmlDOMElementSetAttributeNode(root._handle, fault);
    report = xmlDOMDocValidateDTD(handle);
    xmlDOMElementRemoveAttributeNode(root._handle, fault);
    xmlDOMNodeFreeNode(fault);
    if (report) return { valid: true, report: '' };
    return { valid: false, report: 'the document type is not found, or there are too many faults to list\n' };
};
