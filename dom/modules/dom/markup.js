// Markup in and out of nodes: innerHTML, outerHTML, insertAdjacentHTML. In XML documents it is XML, in HTML
// documents HTML.
'use strict';
const { CLUSTER, TYPE } = require('./fields');
const { clear, checkWritable, extend } = require('./node');
const { Element } = require('./element');
const { DocumentFragment, documentOf } = require('./document');
const { escape, checkText } = require('./names');
const namespaces = require('./namespaces');
const wide = require('./wide');
const html = require('./html');
const { refuse, need } = require('./exception');
const { failed } = require('./failure');

// ---- Out ----------------------------------------------------------------------------------------

const empty = /^(area|base|basefont|bgsound|br|col|embed|frame|hr|img|input|keygen|link|meta|param|source|track|wbr)$/;
const raw = /^(style|script|xmp|iframe|noembed|noframes|plaintext)$/;

/** The HTML of a node. */
function htmlOf(node) {
    switch (node[TYPE]) {
        case 1: {
            const name = node.nodeName;
            const tag = `<${name}${node.attributes.map(({ name, value }) => ` ${name}="${escapeHtml(value, true)}"`).join('')}>`;
            return empty.test(name) ? tag : `${tag}${inside(node)}</${name}>`;
        }
        case 3: case 4: {
            const isRaw = node[TYPE] === 4 || (node.parentNode && raw.test(node.parentNode.nodeName));
            return isRaw ? node.data : escapeHtml(node.data);
        }
        case 7: return `<?${node.target} ${node.data}>`;
        case 8: return `<!--${node.data}-->`;
        case 10: return `<!DOCTYPE ${node.name}>`;
        default: return node.toString();
    }
}

const references = { '&': '&amp;', '\u00A0': '&nbsp;', '"': '&quot;', '<': '&lt;', '>': '&gt;' };
const escapeHtml = (text, inAttribute = false) =>
    text.replace(inAttribute ? /[&\u00A0"]/g : /[&\u00A0<>]/g, character => references[character]);

const markupOf = node => node[CLUSTER].isHtml ? htmlOf(node) : node.toString();
const inside = node => node.childNodes.map(markupOf).join('');

// ---- In -----------------------------------------------------------------------------------------

/** The nodes that markup stands for at an element, in a fragment of its document. */
function parse(element, source) {
    const text = source === null ? '' : checkText(source), cluster = element[CLUSTER], { document } = cluster;
    const made = cluster.isHtml ? parseHtml(text) : parseXml(element, text);
    const fragment = document.createDocumentFragment();
    for (const child of made) fragment.appendChild(document.importNode(child, true));
    return fragment;
}

function parseXml(element, text) {
    if (/<!DOCTYPE/.test(text)) refuse('SyntaxError', 'a document type cannot be in an element');
    let tag = '<r';
    for (const [prefix, uri] of namespaces.scopeOf(element))
        if (prefix || uri) tag += ` xmlns${prefix && ':'}${prefix}="${escape(uri, true)}"`;
    xmlDOMDocSetLastMsg(0, '');
    const whole = `${tag}>${text}</r>`, loaded = wide.load(whole, 1);
    if (!loaded) throw failed('the markup', { text: whole, skipped: tag.length + 1 });
    return documentOf(loaded.doc, whole).documentElement.childNodes;
}

function parseHtml(text) {
    xmlDOMDocSetLastMsg(0, '');
    const loaded = html.load(`<html><body>${text}</body></html>`, 1);
    if (!loaded.doc) throw failed('the markup');
    const document = documentOf(loaded.doc);
    for (const [handle, data] of loaded.wide) wide.keep(document[CLUSTER], handle, data);
    return document.getElementsByTagName('body')[0]?.childNodes ?? [];
}

/** Puts what markup stands for in the place of all children. */
function setInside(node, source) {
    checkWritable(node);
    const made = parse(node[TYPE] === 1 ? node : node[CLUSTER].document.documentElement, source);
    clear(node);
    node.appendChild(made);
}

const places = {
    beforebegin: (element, node) => parentFor(element).insertBefore(node, element),
    afterbegin: (element, node) => element.insertBefore(node, element.firstChild),
    beforeend: (element, node) => element.appendChild(node),
    afterend: (element, node) => parentFor(element).insertBefore(node, element.nextSibling)
};

function parentFor(element) {
    return element.parentNode ?? refuse('NoModificationAllowedError', 'the element has no parent');
}

function placeOf(position) {
    const name = String(need(position, 'the position')).toLowerCase();
    if (!Object.hasOwn(places, name))
        refuse('SyntaxError', `this is no position: ${name}; known are ${Object.keys(places).join(', ')}`);
    return places[name];
}

extend([Element], {
    /** The markup of what is in the element; setting it parses and puts that there. */
    get innerHTML() { return inside(this); },
    set innerHTML(value) { setInside(this, value); },
    /** The markup of the element; setting it parses and puts that in its place. */
    get outerHTML() { return markupOf(this); },
    set outerHTML(value) {
        const parent = this.parentNode;
        if (!parent) return;
        if (parent[TYPE] === 9) refuse('NoModificationAllowedError', 'the root element cannot be replaced by markup');
        const made = parse(parent[TYPE] === 1 ? parent : this, value);
        parent.replaceChild(made, this);
    },
    /** Places what markup stands for: 'beforebegin', 'afterbegin', 'beforeend' or 'afterend'. */
    insertAdjacentHTML(position, markup) {
        const place = placeOf(position), text = need(markup, 'the markup');
        const isBeside = place === places.beforebegin || place === places.afterend;
        const around = isBeside ? parentFor(this) : this;
        place(this, parse(around[TYPE] === 1 ? around : this, text));
    },
    /** Places an element in the same way and gives it; null where there is no parent. */
    insertAdjacentElement(position, element) {
        const place = placeOf(position);
        if (!(need(element, 'the element') instanceof Element)) throw new TypeError('this is no element');
        if (!this.parentNode && (place === places.beforebegin || place === places.afterend)) return null;
        return place(this, element);
    },
    /** Places a text in the same way. */
    insertAdjacentText(position, text) {
        const place = placeOf(position), made = this.ownerDocument.createTextNode(text);
        if (!this.parentNode && (place === places.beforebegin || place === places.afterend)) return;
        place(this, made);
    }
});
extend([DocumentFragment], {
    get innerHTML() { return inside(this); },
    set innerHTML(value) { setInside(this, value); }
});

Object.assign(exports, { htmlOf });
