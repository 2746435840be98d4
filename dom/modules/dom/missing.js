// Names that look like the DOM's. A misspelt property would give undefined, or take a value that nobody reads
// again: both are errors here. What browsers have and this DOM has not can be asked for, but not set.
'use strict';
const { Node } = require('./node');
const { refuse } = require('./exception');

const unsupported = ['innerText', 'outerText', 'style', 'hidden', 'tabIndex', 'contentEditable', 'dir', 'onclick',
                     'onload', 'onchange', 'oninput', 'shadowRoot', 'scrollTop', 'cookie', 'designMode'];

/** Guards the classes of nodes against misspelt names of their properties. */
exports.guard = function guard(Types) {
    const spelt = new Set();
    for (const { prototype } of Types)
        for (const name of Object.getOwnPropertyNames(prototype)) if (/[A-Z]/.test(name) && /[a-z]/.test(name)) spelt.add(name);
    const wrong = new Map();
    for (const name of spelt)
        for (const other of [name.toLowerCase(), name.replace(/HTML|URI|NS$|XML/, part => part[0] + part.slice(1).toLowerCase())])
            if (other !== name && !Types.some(({ prototype }) => other in prototype)) wrong.set(other, name);
    for (const [other, name] of wrong) {
        const fail = () => { throw new TypeError(`there is no ${other}: it is ${name}`); };
        Object.defineProperty(Node.prototype, other, { get: fail, set: fail, configurable: true });
    }
    for (const name of unsupported) {
        Object.defineProperty(Node.prototype, name, {
            get() { return undefined; },
            set() { refuse('NotSupportedError', `${name} is not supported`); },
            configurable: true
        });
    }
};
