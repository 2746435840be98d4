// XML of nodes, saving and validating.
'use strict';
const { CLUSTER, HANDLE, TYPE, SET } = require('./fields');
const { Node } = require('./node');
const { Document, documentOf } = require('./document');
const { escape, checkPath, writePath, bytePath } = require('./names');
const namespaces = require('./namespaces');
const wide = require('./wide');
const { heard } = require('./failure');
const { optionsOf } = require('./exception');

const UP = 0;

/** The XML of a node with all below it, and with the declarations that it needs; `format`: as it is
    indented. */
function xmlOf(node, format = 0) {
    const type = node[TYPE];
    if (type === 6 || type === 12) return '';
    if (type === 11) return node.childNodes.map(child => xmlOf(child, format)).join('');
    if (type === 2 || type === 5) return spell(node);
    let handle = node[HANDLE];
    try {
        if (type === 1) handle = standAlone(handle);
        const dump = xmlDOMNodeDumpNode(handle, format);
        return type === 9 && !node.encoding ? dump.replace(' encoding="UTF-8"', '') : dump;
    } catch (error) {
        return spell(node, format ? 0 : undefined);     // characters above U+FFFF
    } finally {
        if (handle !== node[HANDLE]) xmlDOMDocFreeDoc(xmlDOMNodeGetRelative(handle, UP));
    }
}

/** A copy of an element as the root of a document of its own, with all declarations. */
function standAlone(element) {
    const doc = xmlDOMDocCreateDoc('1.0'), copy = xmlDOMNodeCloneNode(element, 1);
    xmlDOMDocSetProperty(doc, 1, 'UTF-8');
    xmlDOMNodeAddChild(0, doc, copy);
    return copy;
}

/** The same written here, where it has characters above U+FFFF; `level`: how far it is indented. */
function spell(node, level) {
    switch (node[TYPE]) {
        case 1: return spellElement(node, new Map([['', '']]), namespaces.scopeOf(node), level);
        case 2: return `${node.nodeName}="${escape(node.value, true)}"`;
        case 3: return escape(node.data);
        case 4: return `<![CDATA[${node.data}]]>`;
        case 5: return `&${node.nodeName};`;
        case 7: return `<?${node.target}${node.data ? ' ' + node.data : ''}?>`;
        case 8: return `<!--${node.data}-->`;
        case 9: return `<?xml version="${xmlDOMDocGetProperty(node[HANDLE], 0) || '1.0'}"` +
            (node.encoding ? ` encoding="${node.encoding}"` : '') + '?>\n' +
            node.childNodes.map(child => spell(child, level) + '\n').join('');
        case 10: return spellDoctype(node);
        default: return '';
    }
}

const line = level => level === undefined ? '' : '\n' + '  '.repeat(level);

function spellElement(element, scope, declared, level) {
    let tag = '<' + element.nodeName;
    const inner = new Map(scope), children = element.childNodes.toArray();
    for (const [prefix, uri] of declared) {
        if (inner.get(prefix) === uri) continue;
        inner.set(prefix, uri);
        tag += ` xmlns${prefix && ':' + prefix}="${escape(uri, true)}"`;
    }
    for (const attribute of element.attributes) {
        if (attribute[SET] !== undefined || !attribute.specified) continue;
        // The prefix in libxml2's tree may be another one than the object's.
        tag += ` ${xmlDOMNodeGetName(attribute[HANDLE])}="${escape(attribute.value, true)}"`;
    }
    // As libxml2: what has text in it is not indented, nor is anything in that.
    if (children.some(child => child[TYPE] >= 3 && child[TYPE] <= 5)) level = undefined;
    const inside = level === undefined ? undefined : level + 1;
    const content = children.map(child => line(inside) + (child[TYPE] === 1
        ? spellElement(child, inner, namespaces.bindingsOf(child), inside) : spell(child))).join('');
    return content ? `${tag}>${content}${line(level)}</${element.nodeName}>` : `${tag}/>`;
}

function spellDoctype({ name, publicId, systemId, internalSubset }) {
    const quote = text => text.includes('"') ? `'${text}'` : `"${text}"`;
    const id = publicId !== null ? ` PUBLIC ${quote(publicId)} ${quote(systemId ?? '')}`
        : systemId !== null ? ` SYSTEM ${quote(systemId)}` : '';
    return `<!DOCTYPE ${name}${id}${internalSubset ? ` [\n${internalSubset}]` : ''}>`;
}

// ---- Indentation --------------------------------------------------------------------------------

/** The indented XML of a node. White space that is there is arranged anew: in a copy, made of the XML, as a
    formatted save of libxml2 would drop declarations. */
function formatted(node) {
    const type = node[TYPE];
    if (type === 11) return node.childNodes.map(formatted).join('\n');
    const text = xmlOf(node);
    const loaded = type === 1 || type === 9 ? wide.load(text, 0) : undefined;
    if (!loaded) return text;
    const copy = documentOf(loaded.doc, text);
    if (type === 1) return indented(copy.documentElement);
    copy.encoding = node.encoding;
    return xmlOf(copy, 1);
}

/** The indented XML of a root element. */
function indented(root) {
    try {
        return xmlDOMNodeDumpNode(root[HANDLE], 1);
    } catch (error) {
        return spell(root, 0);
    }
}

Object.defineProperty(Node.prototype, 'toString', {
    /** The XML of the node; indented with {format: true}. */
    value(options) { return optionsOf(options, 'format').format ? formatted(this) : xmlOf(this); },
    writable: true, configurable: true
});

// ---- Saving -------------------------------------------------------------------------------------

/** Writes a document. */
function save(document, path, options) {
    const file = checkPath(path), { encoding, format } = optionsOf(options, 'encoding', 'format');
    const refused = words =>
        new Error(`cannot write ${file}` + (encoding ? ` in ${encoding}` : '') + (words ? `:\n${words}` : ''));
    if (document[CLUSTER].isHtml) return saveHtml(document, file, encoding, format, refused);
    const before = document.encoding;
    if (encoding) document.encoding = encoding;
    const copy = format ? wide.load(formatted(document), 1) : undefined;
    if (copy) xmlDOMDocSetProperty(copy.doc, 1, document.encoding ?? 'UTF-8');
    const { given: written, words } = heard(() =>
        xmlDOMDocSaveXMLFile(copy ? copy.doc : document[HANDLE], writePath(file)));
    if (copy) xmlDOMDocFreeDoc(copy.doc);
    if (written !== undefined) return;
    document.encoding = before;
    throw refused(words);
}

const htmlEncodings =
    ['UTF-8', 'UTF-16LE', 'UTF-16BE', 'ISO-8859-1', 'ASCII', 'US-ASCII', 'HTML'];

function saveHtml(document, file, wanted, format, refused) {
    let encoding = String(wanted ?? document.encoding ?? 'UTF-8').toUpperCase();
    if (!htmlEncodings.includes(encoding)) {
        if (wanted) throw refused();
        encoding = 'UTF-8';
    }
    const { given, words } = heard(() =>
        xmlHTMLDocSaveFormatFile(document[HANDLE], bytePath(file), encoding, format ? 1 : 0));
    if (given === undefined) throw refused(words);
}

// ---- Validating ---------------------------------------------------------------------------------

/** Validates a document. An empty report means a valid document, a document type that is not found, or too
    many faults: with one sure fault more only a valid document gets a report. */
function validate(document) {
    const handle = document[HANDLE], root = document.documentElement;
    const invalid = report => ({ valid: false, report, errors: faultsOf(report) });
    const report = atHome(document, () => xmlDOMDocValidateDTD(handle));
    if (report) return invalid(report);
    if (report === undefined || !root) return invalid('the document cannot be validated\n');
    const fault = xmlDOMDocCreateNode(handle, 2, 'not-in-any-document-type');
    xmlDOMElementSetAttributeNode(root[HANDLE], fault);
    const second = atHome(document, () => xmlDOMDocValidateDTD(handle));
    xmlDOMElementRemoveAttributeNode(root[HANDLE], fault);
    xmlDOMNodeFreeNode(fault);
    if (second) return { valid: true, report: '', errors: [] };
    return invalid('the document type is not found, or there are too many faults to list\n');
}

/** The faults of a report: {message, element, line}; the latter two undefined where libxml2 does not say. */
function faultsOf(report) {
    return Array.from(report.matchAll(/^(?:[^\n]*?:(\d+): )?(?:element ([^\s:]+(?::[^\s:]+)?): )?(?:validity error : )?([^\n]+)$/gm),
                      ([, line, element, message]) => ({ message, element, line: line && Number(line) }));
}

/** Does something while a relative system identifier says where the document type is from the document's own
    folder, which the library looks in for a plain name only. */
function atHome(document, work) {
    const doctype = document.doctype, id = doctype?.systemId, folder = document.url?.match(/^.*\//)?.[0];
    if (!id || !folder || !id.includes('/') || /^(\/|[A-Za-z][\w+.\-]*:)/.test(id)) return work();
    xmlDOMDoctypeSetProperty(doctype[HANDLE], 1, folder + id.replace(/^(\.\/)+/, ''));
    try {
        return work();
    } finally {
        xmlDOMDoctypeSetProperty(doctype[HANDLE], 1, id);
    }
}

Object.defineProperties(Document.prototype, {
    /** Writes the document to a file. `encoding`: in this encoding, which the document then has; else in its
        own, else UTF-8. `format`: indented. */
    save: { value(path, options) { save(this, path, options); }, writable: true, configurable: true },
    /** Validates against the document type: {valid: true or false, report: what is wrong, errors: the same as an
        array of {message, element, line}}. */
    validate: { value() { return validate(this); }, writable: true, configurable: true }
});
