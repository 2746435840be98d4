// What the DOM throws.
'use strict';

// Name, code and name of the code, as the standard has them.
const kinds = [
    ['IndexSizeError', 1, 'INDEX_SIZE_ERR'],
    ['DOMStringSizeError', 2, 'DOMSTRING_SIZE_ERR'],
    ['HierarchyRequestError', 3, 'HIERARCHY_REQUEST_ERR'],
    ['WrongDocumentError', 4, 'WRONG_DOCUMENT_ERR'],
    ['InvalidCharacterError', 5, 'INVALID_CHARACTER_ERR'],
    ['NoDataAllowedError', 6, 'NO_DATA_ALLOWED_ERR'],
    ['NoModificationAllowedError', 7, 'NO_MODIFICATION_ALLOWED_ERR'],
    ['NotFoundError', 8, 'NOT_FOUND_ERR'],
    ['NotSupportedError', 9, 'NOT_SUPPORTED_ERR'],
    ['InUseAttributeError', 10, 'INUSE_ATTRIBUTE_ERR'],
    ['InvalidStateError', 11, 'INVALID_STATE_ERR'],
    ['SyntaxError', 12, 'SYNTAX_ERR'],
    ['InvalidModificationError', 13, 'INVALID_MODIFICATION_ERR'],
    ['NamespaceError', 14, 'NAMESPACE_ERR'],
    ['InvalidAccessError', 15, 'INVALID_ACCESS_ERR']
];

/** An error of the DOM: `name` ('NotFoundError'), `code` (DOMException.NOT_FOUND_ERR) and `message`, the
    reason. */
class DOMException extends Error {
    constructor(message = '', name = 'Error') {
        super(message);
        Object.defineProperties(this, {
            name: { value: String(name), configurable: true },
            code: { value: kinds.find(kind => kind[0] === name)?.[1] ?? 0, configurable: true }
        });
    }
}
for (const [, value, name] of kinds) {
    Object.defineProperty(DOMException, name, { value, enumerable: true });
    Object.defineProperty(DOMException.prototype, name, { value, enumerable: true });
}

/** Throws a DOMException of a name. */
function refuse(name, message) { throw new DOMException(message, name); }

/** Refuses an argument that is not there. */
function need(value, what) {
    if (value === undefined) throw new TypeError(`${what} is missing`);
    return value;
}

/** The options of a method: an object of known names, of which each may be left out. */
function optionsOf(options, ...known) {
    if (options === undefined || options === null) return {};
    if (typeof options !== 'object') throw new TypeError('options are an object');
    const unknown = Object.keys(options).find(name => !known.includes(name));
    if (unknown !== undefined)
        throw new TypeError(`there is no option ${unknown}: known are ${known.join(', ')}`);
    return options;
}

Object.assign(exports, { DOMException, refuse, need, optionsOf });
