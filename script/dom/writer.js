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
    if (self._type === 2) return spell(self);
    if (self._type === 11 || self._type === 5) {
        return self._type === 5 ? '&' + self.nodeName + ';' : self.childNodes.map(function (child) { return xmlOf(child, format); }).join('');
    }
    try {
        if (self._type === 1) handle = standAlone(self);
        var dump = xmlDOMNodeDumpNode(handle, format ? 1 : 0);
        if (self._type === 9 && !self.encoding) dump = dump.replace(' encoding="UTF-8"', '');
        return dump;
    } catch (e) {
        return spell(self, format ? 0 : undefined);
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

/** The same written here, where it has characters above U+FFFF; `level`: how far it is indented. */
function spell(self, level) {
    switch (self._type) {
        case 1: return spellInside(self, { '': '' }, namespaces.allBindings(self), level);
        case 2: return self.nodeName + '="' + names.escape(self.value, true) + '"';
        case 3: return names.escape(self.data);
        case 4: return '<![CDATA[' + self.data.split(']]>').join(']]]]><![CDATA[>') + ']]>';
        case 5: return '&' + self.nodeName + ';';
        case 7: return '<?' + self.target + (self.data ? ' ' + self.data : '') + '?>';
        case 8: return '<!--' + self.data + '-->';
        case 9: return '<?xml version="' + (xmlDOMDocGetProperty(self._handle, 0) || '1.0') + '"' +
            (self.encoding ? ' encoding="' + self.encoding + '"' : '') + '?>\n' +
            self.childNodes.map(function (child) { return spell(child, level) + '\n'; }).join('');
        case 10: return spellDoctype(self);
        default: return '';
    }
}

function spellInside(element, scope, declared, level) {
    var inner = Object.create(scope);
    var tag = '<' + element.nodeName;
    Object.keys(declared).forEach(function (prefix) {
        if (inner[prefix] === declared[prefix]) return;
        inner[prefix] = declared[prefix];
        tag += ' xmlns' + (prefix && ':' + prefix) + '="' + names.escape(declared[prefix], true) + '"';
    });
    element.attributes.forEach(function (attribute) {
        if (attribute._declares !== undefined || !attribute.specified) return;
        // The prefix in libxml2's tree may be another one than the object's.
        tag += ' ' + node.readName(attribute._handle, 'name', xmlDOMNodeGetName) + '="' + names.escape(attribute.value, true) + '"';
    });
    var children = element.childNodes.toArray();
    // As libxml2: what has text in it is not indented, nor is anything in that.
    if (children.some(function (child) { return child._type >= 3 && child._type <= 5; })) level = undefined;
    var inside = level === undefined ? undefined : level + 1;
    var content = children.map(function (child) {
        return line(inside) + (child._type === 1 ? spellInside(child, inner, namespaces.bindingsOf(child._handle), inside) : spell(child));
    }).join('');
    return content ? tag + '>' + content + line(level) + '</' + element.nodeName + '>' : tag + '/>';
}

function line(level) { return level === undefined ? '' : '\n' + new Array(level + 1).join('  '); }

function spellDoctype(doctype) {
    var publicId = doctype.publicId, systemId = doctype.systemId, subset = doctype.internalSubset;
    return '<!DOCTYPE ' + doctype.name + (publicId !== null ? ' PUBLIC "' + publicId + '" "' + systemId + '"' : systemId !== null ? ' SYSTEM "' + systemId + '"' : '') +
        (subset ? ' [\n' + subset + ']' : '') + '>';
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

var unwritable = '//comment()[contains(concat(., "-"), "--")]|//processing-instruction()[contains(., "?>")]';

/** Writes a document. */
exports.save = function (document, path, options) {
    if (path.indexOf('\0') >= 0 || path === '') throw refused(path);
    if (document._cluster.isHtml) return saveHtml(document, path, options);
    if (document._cluster.hasUnwritable && xmlDOMNodeSelectNodes(document._handle, unwritable) !== '4') {
        throw new Error('cannot write ' + path + ': a comment has -- in it or - at its end, or a processing instruction has ?> in it');
    }
    var handle = document._handle;
    var before = document._encoding;
    if (options.encoding) document.encoding = options.encoding;
    var written;
    if (options.format) {
        // What XML allows is indented in a copy, as text: a formatted save would drop declarations.
        var lean = exact.load(xmlOf(document, false), 0);
        var loaded = lean && exact.load(formatted(lean.doc), 1);
        if (loaded) {
            xmlDOMDocSetProperty(loaded.doc, 1, document.encoding || 'UTF-8');
            written = xmlDOMDocSaveXMLFile(loaded.doc, names.writePath(path));
            xmlDOMDocFreeDoc(loaded.doc);
        }
    } else {
        written = xmlDOMDocSaveXMLFile(handle, names.writePath(path));
    }
    if (written === undefined) {
        document.encoding = before || null;
        throw refused(path + (options.encoding ? ' in ' + options.encoding : ''));
    }
};

/** The indented text of a document, which ends here. */
function formatted(doc) {
    var copy = require('./document').documentOf(doc);
    return xmlOf(copy, true);
}

var htmlEncodings = ['UTF-8', 'UTF-16LE', 'UTF-16BE', 'ISO-8859-1', 'ASCII', 'US-ASCII', 'HTML'];

function saveHtml(document, path, options) {
    var encoding = String(options.encoding || document.encoding || 'UTF-8').toUpperCase();
    if (htmlEncodings.indexOf(encoding) < 0) {
        if (options.encoding) throw refused(path + ' in ' + options.encoding);
        encoding = 'UTF-8';
    }
    var written = xmlHTMLDocSaveFormatFile(document._handle, names.bytePath(path), encoding, options.format ? 1 : 0);
    if (written === undefined) throw refused(path);
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
