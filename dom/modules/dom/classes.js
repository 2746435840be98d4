// Attributes under the names that scripts use most: id, class, data-*; and elements by class.
'use strict';
const { listOf, extend } = require('./node');
const { Element, collect } = require('./element');
const { Document } = require('./document');
const { literal, checkText, checkName } = require('./names');
const { refuse, need } = require('./exception');

const OWNER = Symbol('owner'), NAME = Symbol('name');

/** The words of an attribute, live, each once: element.classList. */
class DOMTokenList {
    constructor(element, name) {
        this[OWNER] = element;
        this[NAME] = name;
    }
    get value() { return this[OWNER].getAttribute(this[NAME]) ?? ''; }
    set value(text) { this[OWNER].setAttribute(this[NAME], text); }
    get length() { return wordsOf(this).length; }
    item(index) { return wordsOf(this)[need(index, 'an index') >>> 0] ?? null; }
    contains(word) { return wordsOf(this).includes(String(need(word, 'a word'))); }
    add(...words) { write(this, [...wordsOf(this), ...words.map(checkWord)]); }
    remove(...words) {
        const gone = words.map(checkWord);
        write(this, wordsOf(this).filter(word => !gone.includes(word)));
    }
    /** Adds a word that is not there and removes one that is; with `force` does the one or the other. Gives
        whether it is there now. */
    toggle(word, force) {
        const isWanted = force === undefined ? !this.contains(checkWord(word)) : Boolean(force);
        if (isWanted) this.add(word);
        else this.remove(word);
        return isWanted;
    }
    /** Puts a word in the place of another; gives whether that was there. */
    replace(word, other) {
        const [old, made] = [checkWord(word), checkWord(other)], words = wordsOf(this);
        if (!words.includes(old)) return false;
        write(this, words.map(each => each === old ? made : each));
        return true;
    }
    forEach(callback, self) { wordsOf(this).forEach((word, i) => callback.call(self, word, i, this)); }
    *[Symbol.iterator]() { yield* wordsOf(this); }
    *keys() { yield* wordsOf(this).keys(); }
    *values() { yield* wordsOf(this); }
    *entries() { yield* wordsOf(this).entries(); }
    toString() { return this.value; }
}

const split = text => [...new Set(text.split(/[\t\n\f\r ]+/).filter(Boolean))];
const wordsOf = list => split(list.value);

function checkWord(value) {
    const word = checkText(value);
    if (word === '') refuse('SyntaxError', 'a class is no empty text');
    if (/[\t\n\f\r ]/.test(word)) refuse('InvalidCharacterError', `a class has no white space in it: ${word}`);
    return word;
}

function write(list, words) {
    const text = [...new Set(words)].join(' ');
    if (text !== '' || list[OWNER].hasAttribute(list[NAME])) list.value = text;
}

/** The data-* attributes of an element as properties: data-page-no is dataset.pageNo. */
function datasetOf(element) {
    const nameOf = key => 'data-' + key.replace(/[A-Z]/g, letter => '-' + letter.toLowerCase());
    const keyOf = name => name.slice(5).replace(/-([a-z])/g, (all, letter) => letter.toUpperCase());
    const has = key => typeof key === 'string' && element.hasAttribute(nameOf(key));
    return new Proxy({}, {
        get: (target, key) => has(key) ? element.getAttribute(nameOf(key)) : Reflect.get(target, key),
        has: (target, key) => has(key) || Reflect.has(target, key),
        set(target, key, value) {
            if (/-[a-z]/.test(key)) refuse('SyntaxError', `no attribute data-* has this property: ${key}`);
            element.setAttribute(checkName(nameOf(String(key))), String(value));
            return true;
        },
        deleteProperty(target, key) {
            if (has(key)) element.removeAttribute(nameOf(key));
            return true;
        },
        ownKeys: () => element.getAttributeNames().filter(name => /^data-[^A-Z]*$/.test(name)).map(keyOf),
        getOwnPropertyDescriptor: (target, key) => has(key) ? {
            value: element.getAttribute(nameOf(key)), writable: true, enumerable: true, configurable: true
        } : undefined
    });
}

extend([Element], {
    /** The attribute id; '' without it. */
    get id() { return this.getAttribute('id') ?? ''; },
    set id(value) { this.setAttribute('id', value); },
    /** The attribute class; '' without it. */
    get className() { return this.getAttribute('class') ?? ''; },
    set className(value) { this.setAttribute('class', value); },
    /** The words of the attribute class. */
    get classList() { return listOf(this, 'classList', () => new DOMTokenList(this, 'class')); },
    set classList(value) { this.className = value; },
    get dataset() { return listOf(this, 'dataset', () => datasetOf(this)); },
    /** The names of all attributes, as an array. */
    getAttributeNames() { return this.attributes.map(attribute => attribute.name); },
    /** Adds an attribute (with the value '') that is not there and removes one that is; with `force` does the
        one or the other. Gives whether it is there now. */
    toggleAttribute(name, force) {
        const checked = checkName(name), isThere = this.hasAttribute(checked);
        const isWanted = force === undefined ? !isThere : Boolean(force);
        if (isWanted && !isThere) this.setAttribute(checked, '');
        if (!isWanted && isThere) this.removeAttribute(checked);
        return isWanted;
    }
});

extend([Element, Document], {
    /** The elements below that have all of these classes, a live list in document order. */
    getElementsByClassName(names) {
        const wanted = split(String(need(names, 'the names of the classes')));
        const test = word => `[contains(concat(" ",translate(@class,"\t\n\r","   ")," "),${literal(` ${word} `)})]`;
        const matches = element => wanted.length > 0 && wanted.every(word => element.classList.contains(word));
        const xpath = wanted.length === 0 ? 'self::node()[false()]' : 'descendant::*' + wanted.map(test).join('');
        return collect(this, xpath, matches);
    }
});

exports.DOMTokenList = DOMTokenList;
