// Text, CDATA sections, comments and processing instructions.
var node = require('./node');
var names = require('./names');
var exact = require('./exact');
var refuseIf = require('./exception').refuseIf;

var Node = node.Node;

/** The text of a node, which is its own: the value of the function goes on through later
    siblings. */
function readText(handle) {
    var dump;
    try {
        dump = xmlDOMNodeDumpNode(handle, 0);
    } catch (e) {
        return exact.textOf(handle);
    }
    return dump.indexOf('&') < 0 ? dump : exact.unescapeText(dump);
}
exports.readText = readText;

function readValue(handle) {
    try {
        return xmlDOMNodeGetValue(handle) || '';
    } catch (e) {
        return exact.valueOf(handle);
    }
}

/** Sets the text of a node. One with characters above U+FFFF is of a new node, which takes the
    place. */
function write(self, text) {
    node.checkWritable(self);
    noteUnwritable(self._cluster, self._type, text);
    var handle = self._handle;
    if (!names.isWide(text)) {
        xmlDOMNodeSetValue(handle, text);
    } else {
        var made =
            exports.make(self._cluster, self._type, text, self._type === 7 ? self.target : '');
        xmlDOMNodeReplaceNode(handle, made);
        self._cluster.rebind(handle, made);
        xmlDOMNodeFreeNode(handle);
        self._cluster.version++;
    }
}

/** Notes text that would end its node early in a file, so that saves look for such nodes. */
function noteUnwritable(cluster, type, text) {
    if (type === 8 && (text.indexOf('--') >= 0 || text.charAt(text.length - 1) === '-'))
        cluster.hasUnwritable = true;
    if (type === 7 && text.indexOf('?>') >= 0) cluster.hasUnwritable = true;
}

/** A new node of a type (3, 4, 7 with its target, 8), which hangs nowhere, with this text. */
exports.make = function (cluster, type, text, target) {
    noteUnwritable(cluster, type, text);
    if (!names.isWide(text + target)) {
        var made = xmlDOMDocCreateNode(cluster.doc, type, type === 7 ? target : text);
        if (type === 7) xmlDOMNodeSetValue(made, text);
        return made;
    }
    var xml = type === 3 ? names.escape(text)
            : type === 4 ? '<![CDATA[' + text + ']]>'
            : type === 7 ? '<?' + target + ' ' + text + '?>'
            : '<!--' + text + '-->';
    return exact.make(cluster.doc, '<r>' + xml + '</r>', function (root) {
        var first = xmlDOMNodeGetRelative(root, 3);
        refuseIf(xmlDOMNodeGetType(first) !== type || xmlDOMNodeGetRelative(first, 1),
                 'INVALID_CHARACTER_ERR', 'libxml2 cannot hold this text in such a node');
        return first;
    });
};

/** What all nodes that are a text and have no children share. */
var dataMembers = {
    /** The text. */
    get data() { return readValue(this._handle); },
    set data(value) { write(this, names.checkText(value)); },
    get nodeValue() { return this.data; },
    set nodeValue(value) { this.data = value; },
    get textContent() { return this.data; },
    set textContent(value) { this.data = value === null || value === undefined ? '' : value; },
    hasChildNodes: function () { return false; }
};

/** What text, CDATA sections and comments have in common. */
function CharacterData() {}
Node.extend(CharacterData, Node, 0, {
    /** The number of 16-bit units. */
    get length() { return this.data.length; },
    /** A part of the text: `count` units from `offset` on. */
    substringData: function (offset, count) {
        var data = this.data;
        checkRange(data, offset, count);
        return data.substr(offset, count);
    },
    /** Adds text at the end. */
    appendData: function (text) { this.data = this.data + text; },
    /** Adds text at an offset. */
    insertData: function (offset, text) { this.replaceData(offset, 0, text); },
    /** Takes `count` units out. */
    deleteData: function (offset, count) { this.replaceData(offset, count, ''); },
    /** Puts text in the place of `count` units. */
    replaceData: function (offset, count, text) {
        node.checkWritable(this);
        var data = this.data;
        checkRange(data, offset, count);
        this.data = data.slice(0, offset) + text + data.slice(offset + count);
    }
});
Node.define(CharacterData, dataMembers);
Node.define(CharacterData, node.siblingMembers);

function checkRange(data, offset, count) {
    refuseIf(!(offset >= 0 && offset <= data.length && count >= 0), 'INDEX_SIZE_ERR',
             'the offset or count is out of range');
}

/** Text. Neighbours stay apart until normalize(). */
function Text(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Text, CharacterData, 3, {
    get data() { return readText(this._handle); },
    set data(value) { write(this, names.checkText(value)); },
    get nodeName() { return '#text'; },
    /** Cuts the text at an offset; the rest becomes a new text right after it, and is given. */
    splitText: function (offset) {
        node.checkWritable(this);
        var data = this.data;
        checkRange(data, offset, 0);
        var rest = this._sibling(names.checkText(data.slice(offset)));
        this.data = data.slice(0, offset);
        var parent = this.parentNode;
        if (parent) parent.insertBefore(rest, this.nextSibling);
        return rest;
    },
    _sibling: function (text) { return this.ownerDocument.createTextNode(text); }
});

/** A CDATA section. */
function CDATASection(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(CDATASection, Text, 4, {
    get data() { return readValue(this._handle); },
    set data(value) { write(this, names.checkText(value)); },
    get nodeName() { return '#cdata-section'; },
    _sibling: function (text) { return this.ownerDocument.createCDATASection(text); }
});

/** A comment. */
function Comment(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Comment, CharacterData, 8, {
    get nodeName() { return '#comment'; }
});

/** A processing instruction; its data is what follows the target and the blank after it. */
function ProcessingInstruction(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(ProcessingInstruction, Node, 7, {
    /** The name that it begins with. */
    get target() { return this.nodeName; }
});
Node.define(ProcessingInstruction, dataMembers);
Node.define(ProcessingInstruction, node.siblingMembers);

exports.CharacterData = CharacterData;
exports.Text = Text;
exports.CDATASection = CDATASection;
exports.Comment = Comment;
exports.ProcessingInstruction = ProcessingInstruction;
