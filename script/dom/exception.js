// What the DOM throws.

/** Codes of DOMException, as the recommendation numbers them. */
var codes = {
    INDEX_SIZE_ERR: 1, DOMSTRING_SIZE_ERR: 2, HIERARCHY_REQUEST_ERR: 3, WRONG_DOCUMENT_ERR: 4,
    INVALID_CHARACTER_ERR: 5, NO_DATA_ALLOWED_ERR: 6, NO_MODIFICATION_ALLOWED_ERR: 7,
    NOT_FOUND_ERR: 8, NOT_SUPPORTED_ERR: 9, INUSE_ATTRIBUTE_ERR: 10, INVALID_STATE_ERR: 11,
    SYNTAX_ERR: 12, INVALID_MODIFICATION_ERR: 13, NAMESPACE_ERR: 14, INVALID_ACCESS_ERR: 15
};

/** An error of the DOM: `code` is its number, `name` the name of the number, `message` the
    reason. */
function DOMException(name, message) {
    this.name = name;
    this.code = codes[name];
    this.message = message;
}
DOMException.prototype = Object.create(Error.prototype, {
    constructor: { value: DOMException, writable: true, configurable: true }
});
Object.keys(codes).forEach(function (name) {
    DOMException[name] = DOMException.prototype[name] = codes[name];
});

exports.DOMException = DOMException;

/** Throws a DOMException when the condition holds. */
exports.refuseIf = function (condition, name, message) {
    if (condition) throw new DOMException(name, message);
};
