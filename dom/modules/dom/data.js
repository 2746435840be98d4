// Text, CDATA sections, comments and processing instructions.
'use strict';
const { CLUSTER, HANDLE, TYPE, DATA } = require('./fields');
const {
    Node, ChildNode, NonDocumentTypeChildNode, enter, mix, checkWritable
} = require('./node');
const { checkText, isWide, escape, unescape } = require('./names');
const { refuse, need } = require('./exception');
const wide = require('./wide');

const NEXT = 1;

/** The text of a node, which is its own: the value of the function goes on through later siblings. */
function readText(handle) {
    try {
        if (xmlDOMNodeGetRelative(handle, NEXT) === undefined) return xmlDOMNodeGetValue(handle) ?? '';
        return unescape(xmlDOMNodeDumpNode(handle, 0));
    } catch (error) {
        return wide.textOf(handle);
    }
}

const kinds = { 4: 'this CDATA section', 7: 'this processing instruction', 8: 'this comment' };

function readValue(node) {
    if (node[DATA] !== undefined) return node[DATA];
    try {
        return xmlDOMNodeGetValue(node[HANDLE]) ?? '';
    } catch (error) {
        return wide.unreadable(kinds[node[TYPE]]);
    }
}

/** Refuses text that would end its node early in a file. */
function checkEnd(type, text) {
    const fail = reason => refuse('InvalidCharacterError', reason);
    if (type === 8 && (text.includes('--') || text.endsWith('-')))
        fail('a comment has no -- in it and no - at its end');
    if (type === 4 && text.includes(']]>')) fail('a CDATA section has no ]]> in it');
    if (type === 7 && text.includes('?>')) fail('a processing instruction has no ?> in it');
}

/** A new node of a type (3, 4, 7 with its target, 8), which hangs nowhere, with this text. */
function make(cluster, type, text, target = '') {
    checkEnd(type, text);
    if (!isWide(text)) {
        const made = xmlDOMDocCreateNode(cluster.doc, type, type === 7 ? target : text);
        if (type === 7) xmlDOMNodeSetValue(made, text);
        return made;
    }
    const xml = type === 3 ? escape(text)
        : type === 4 ? `<![CDATA[${text}]]>`
        : type === 7 ? `<?${target} ${text}?>`
        : `<!--${text}-->`;
    return wide.make(cluster.doc, type, xml);
}

/** Sets the text of a node. One with characters above U+FFFF is of a new node, which takes the place. */
function write(node, text) {
    checkWritable(node);
    const type = node[TYPE], handle = node[HANDLE], cluster = node[CLUSTER];
    if (isWide(text)) {
        const made = make(cluster, type, text, type === 7 ? node.target : '');
        xmlDOMNodeReplaceNode(handle, made);
        cluster.rebind(handle, made);
        xmlDOMNodeFreeNode(handle);
        cluster.version++;
        if (type !== 3) node[DATA] = text;
    } else {
        if (type !== 3) checkEnd(type, text);
        xmlDOMNodeSetValue(handle, text);
        if (type !== 3 && node[DATA] !== undefined) node[DATA] = undefined;
    }
}

/** What all nodes that are a text and have no children share. */
class Data extends Node {
    /** The text. */
    get data() { return readValue(this); }
    set data(value) { write(this, value === null ? '' : checkText(value)); }
    get nodeValue() { return this.data; }
    set nodeValue(value) { this.data = value; }
    get textContent() { return this.data; }
    set textContent(value) { this.data = value ?? ''; }
    get firstChild() { return null; }
    get lastChild() { return null; }
    hasChildNodes() { return false; }
    normalize() {}
}
mix(Data, ChildNode, NonDocumentTypeChildNode);

/** What text, CDATA sections and comments have in common. */
class CharacterData extends Data {
    /** The number of 16-bit units. */
    get length() { return this.data.length; }
    /** A part of the text: `count` units from `offset` on. */
    substringData(offset, count) {
        const data = this.data;
        checkRange(data, offset, need(count, 'the count'));
        return data.substr(offset, count);
    }
    /** Adds text at the end. */
    appendData(text) { this.data = this.data + checkText(text); }
    /** Adds text at an offset. */
    insertData(offset, text) { this.replaceData(offset, 0, text); }
    /** Takes `count` units out. */
    deleteData(offset, count) { this.replaceData(offset, need(count, 'the count'), ''); }
    /** Puts text in the place of `count` units. */
    replaceData(offset, count, text) {
        checkWritable(this);
        const data = this.data;
        checkRange(data, offset, need(count, 'the count'));
        this.data = data.slice(0, offset) + need(text, 'the text') + data.slice(offset + count);
    }
}

function checkRange(data, offset, count) {
    if (!(need(offset, 'the offset') >= 0 && offset <= data.length && count >= 0))
        refuse('IndexSizeError', 'the offset or count is out of range');
}

/** Text. Neighbours stay apart until normalize(). */
class Text extends CharacterData {
    get data() { return readText(this[HANDLE]); }
    set data(value) { write(this, value === null ? '' : checkText(value)); }
    get nodeName() { return '#text'; }
    /** Cuts the text at an offset; the rest becomes a new text right after it, and is given. */
    splitText(offset) {
        checkWritable(this);
        const data = this.data, document = this.ownerDocument;
        checkRange(data, offset, 0);
        const before = checkText(data.slice(0, offset)), after = data.slice(offset);
        const rest = this[TYPE] === 4 ? document.createCDATASection(after) : document.createTextNode(after);
        this.data = before;
        if (this.parentNode) this.parentNode.insertBefore(rest, this.nextSibling);
        return rest;
    }
}

/** A CDATA section. */
class CDATASection extends Text {
    get data() { return readValue(this); }
    set data(value) { write(this, value === null ? '' : checkText(value)); }
    get nodeName() { return '#cdata-section'; }
}

/** A comment. */
class Comment extends CharacterData {
    get nodeName() { return '#comment'; }
}

/** A processing instruction; its data is what follows the target and the blank after it. */
class ProcessingInstruction extends Data {
    /** The name that it begins with. */
    get target() { return this.nodeName; }
}

enter(3, Text);
enter(4, CDATASection);
enter(7, ProcessingInstruction);
enter(8, Comment);

/** A new node of a document, as `make`. */
function create(cluster, type, text, target) {
    const made = cluster.adopt(make(cluster, type, text, target), type);
    if (type !== 3 && isWide(text)) made[DATA] = text;
    return made;
}

Object.assign(exports, {
    CharacterData, Text, CDATASection, Comment, ProcessingInstruction, readText, make, create
});
