// DOM objects for scripts: W3C DOM Level 2 Core, and what people know from newer DOMs, on the
// functions and LIBXMLLife. var dom = require('dom'); docs/dom.md is the reference.
var exception = require('./dom/exception');
var node = require('./dom/node');
var data = require('./dom/data');
var element = require('./dom/element');
var doctype = require('./dom/doctype');
var document = require('./dom/document');
var lists = require('./dom/lists');
var names = require('./dom/names');
var exact = require('./dom/exact');
var html = require('./dom/html');

/** A document that `load` gives, or an Error with the parser's words. */
function parse(what, load) {
    xmlDOMDocSetLastMsg(0, '');
    var loaded = load();
    if (!loaded) throw new Error(what + ' cannot be parsed' + words(xmlDOMDocGetLastMsg(0)));
    return loaded;
}

function words(message) { return message ? ':\n' + message : ''; }

function blanks(options) { return options && options.keepBlanks === false ? 0 : 1; }

/** Parses an XML file. `options.keepBlanks` false drops text that is only white space between
    elements. */
exports.parseFile = function (path, options) {
    path = String(path);
    return parse(path, function () {
        var handle =
            path.indexOf('\0') < 0 && xmlDOMDocLoadXMLFile(names.bytePath(path), blanks(options));
        return handle && document.documentOf(handle);
    });
};

/** Parses XML text, whatever encoding it declares. */
exports.parseString = function (text, options) {
    text = String(text);
    return parse('the text', function () {
        var loaded = exact.load(text, blanks(options));
        if (!loaded) return null;
        var made = document.documentOf(loaded.doc, text);
        made._encoding = loaded.encoding;
        return made;
    });
};

/** Parses an HTML file; libxml2 finds out the encoding and mends what is not right. */
exports.parseHTMLFile = function (path, options) {
    path = String(path);
    return parse(path, function () {
        var handle =
            path.indexOf('\0') < 0 && xmlHTMLDocLoadFile(names.bytePath(path), blanks(options));
        return handle && document.documentOf(handle);
    });
};

/** Parses HTML text, whatever encoding it declares. */
exports.parseHTMLString = function (text, options) {
    text = String(text);
    return parse('the text', function () {
        var handle = html.load(text, blanks(options));
        return handle && document.documentOf(handle);
    });
};

/** Applies the stylesheet of one file to another and writes the result to a third; gives the
    number of bytes written. */
exports.transform = function (xml, xsl, out) {
    var written = xmlXSLTransformFile(names.readPath(String(xml)), names.readPath(String(xsl)),
                                      names.writePath(String(out)));
    if (written === undefined)
        throw new Error('cannot transform ' + xml + ' with ' + xsl + ' to ' + out);
    return written;
};

exports.implementation = document.implementation;
exports.DOMException = exception.DOMException;
exports.DOMImplementation = document.DOMImplementation;
exports.Node = node.Node;
exports.NodeList = lists.NodeList;
exports.NamedNodeMap = lists.NamedNodeMap;
exports.Document = document.Document;
exports.DocumentFragment = document.DocumentFragment;
exports.DocumentType = doctype.DocumentType;
exports.Entity = doctype.Entity;
exports.Notation = doctype.Notation;
exports.EntityReference = doctype.EntityReference;
exports.Element = element.Element;
exports.Attr = element.Attr;
exports.CharacterData = data.CharacterData;
exports.Text = data.Text;
exports.CDATASection = data.CDATASection;
exports.Comment = data.Comment;
exports.ProcessingInstruction = data.ProcessingInstruction;
