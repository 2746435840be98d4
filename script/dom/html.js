// HTML from text.

/** Loads HTML text; undefined for an empty one. */
exports.load = function (text, keepBlanks) { return xmlHTMLDocLoadString(text, keepBlanks); };
