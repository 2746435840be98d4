// CSS selectors, level 3 and of level 4 what is of use without a browser: querySelector and the like.
//
// A selector is read once into a list of chains. A chain is compounds from right to left, each with the
// combinator that leads to it. XPath finds what may match the last compound; the rest is matched here, and what
// was found out about an element is kept for the search, so that the time is linear in the selector's length.
'use strict';
const { CLUSTER, TYPE, CONTAINER } = require('./fields');
const { extend } = require('./node');
const { Element, collect } = require('./element');
const { Document, DocumentFragment } = require('./document');
const { isWide, handles, literal, XML, XMLNS } = require('./names');
const namespaces = require('./namespaces');
const { stillList } = require('./lists');
const { refuse, need } = require('./exception');

// ---- Reading ------------------------------------------------------------------------------------

const ident = String.raw`-?(?:[A-Za-z_\u0080-\uFFFF]|\\[^\n])(?:[\w\-\u0080-\uFFFF]|\\[0-9A-Fa-f]{1,6}\s?|\\[^\n])*|--[\w\-]*`;
const tokenPattern = new RegExp(
    String.raw`(?<space>[ \t\n\r\f]+)|(?<hash>#(?:[\w\-\u0080-\uFFFF]|\\[^\n])+)|(?<name>${ident})|` +
    String.raw`(?<string>"(?:[^"\\\n]|\\[^])*"|'(?:[^'\\\n]|\\[^])*')|(?<number>[+\-]?\d+)|` +
    String.raw`(?<sign>::|[~|^$*]?=|\|\||[.#[\]():,>+~*|\-])`, 'y');

const unescape = text => text.replace(/\\([0-9A-Fa-f]{1,6})\s?|\\\n|\\([^])/g, (all, hex, other) =>
    hex ? String.fromCodePoint(Math.min(parseInt(hex, 16), 0x10FFFF) || 0xFFFD) : other ?? '');

/** The lower-case name of an attribute or element in HTML. */
const inHtml = (name, isHtml) => isHtml ? name.toLowerCase() : name;

/** What an element has to be. `tests`: functions of an element and a search, which say all; `name` and `xpath`:
    a name and predicates that say the same as some of them, or all when there are as many. */
const newCompound = () => ({ tests: [], name: '*', xpath: [], combinator: null });

class Reader {
    constructor(text, isHtml) {
        this.text = text;
        this.isHtml = isHtml;
        this.tokens = [];
        for (tokenPattern.lastIndex = 0; tokenPattern.lastIndex < text.length;) {
            const at = tokenPattern.lastIndex, match = tokenPattern.exec(text);
            if (!match) {
                tokenPattern.lastIndex = at;
                this.at = this.tokens.push({ at }) - 1;
                this.fail();
            }
            const [kind] = Object.keys(match.groups).filter(name => match.groups[name] !== undefined);
            this.tokens.push({ kind, text: match[0], at });
        }
        this.at = 0;
    }

    fail(reason = 'this is no CSS selector') {
        const place = this.tokens[this.at]?.at ?? this.text.length;
        refuse('SyntaxError', `${reason}: ${this.text.slice(0, place)}\u25B6${this.text.slice(place)}`);
    }
    get next() { return this.tokens[this.at]; }
    isNext(text) { return this.next?.text === text && this.next.kind === 'sign'; }
    take(text) { return this.isNext(text) && Boolean(++this.at); }
    expect(text) { if (!this.take(text)) this.fail(); }
    skipSpace() {
        const start = this.at;
        while (this.next?.kind === 'space') this.at++;
        return this.at > start;
    }
    /** The text of a token of a kind. */
    takeKind(kind) {
        if (this.next?.kind !== kind) this.fail();
        return this.tokens[this.at++].text;
    }
    takeName() { return unescape(this.takeKind('name')); }

    /** Chains, up to a closing bracket or the end; `isRelative`: each may begin with a combinator. */
    list(isRelative = false) {
        const chains = [];
        do {
            this.skipSpace();
            chains.push(this.chain(isRelative));
        } while (this.take(','));
        return chains;
    }
    /** Compounds from right to left; `combinator` of each leads to the one that comes after it here. */
    chain(isRelative) {
        const compounds = [];
        let combinator = isRelative ? this.combinator() || ' ' : null;
        if (isRelative) compounds.push({ ...newCompound(), tests: [isAnchor] });
        for (;;) {
            const compound = this.compound();
            if (compounds.length > 0) compound.combinator = combinator;
            compounds.push(compound);
            combinator = this.combinator();
            if (!combinator) return compounds.reverse();
        }
    }
    combinator() {
        const hasSpace = this.skipSpace();
        for (const sign of ['>', '+', '~']) {
            if (!this.take(sign)) continue;
            this.skipSpace();
            return sign;
        }
        const isEnd = !this.next || this.isNext(',') || this.isNext(')');
        return hasSpace && !isEnd ? ' ' : null;
    }
    compound() {
        const compound = newCompound(), start = this.at;
        this.type(compound);
        for (; this.next; ) {
            if (this.next.kind === 'hash') attributeTest(compound, 'id', '=', unescape(this.takeKind('hash').slice(1)));
            else if (this.take('.')) attributeTest(compound, 'class', '~=', this.takeName());
            else if (this.take('[')) this.attribute(compound);
            else if (this.take('::')) this.fail('there are no pseudo-elements');
            else if (this.take(':')) compound.tests.push(this.pseudoClass());
            else break;
        }
        if (this.at === start) this.fail();
        return compound;
    }
    type(compound) {
        const isName = () => this.next?.kind === 'name' || this.isNext('*');
        let prefix;
        if (this.isNext('|') || (isName() && this.tokens[this.at + 1]?.text === '|' &&
                                 ['name', 'sign'].includes(this.tokens[this.at + 2]?.kind))) {
            prefix = this.take('|') ? '' : this.prefix();
        }
        if (!isName()) return prefix === undefined || this.fail();
        if (prefix === '') compound.tests.push(element => element.namespaceURI === null);
        if (this.take('*')) return undefined;
        const name = inHtml(this.takeName(), this.isHtml);
        compound.name = name;
        compound.tests.push(element => (element.localName ?? element.nodeName) === name);
        return undefined;
    }
    prefix() {
        if (!this.take('*')) this.fail('only * and nothing are known as prefixes');
        this.expect('|');
        return '*';
    }
    attribute(compound) {
        this.skipSpace();
        let isAny = false;
        if (this.take('*')) {
            this.expect('|');
            isAny = true;
        } else {
            this.take('|');
        }
        const name = inHtml(this.takeName(), this.isHtml);
        this.skipSpace();
        let operator = '', value = '', ignoresCase = false;
        if (this.next?.text.endsWith('=')) {
            operator = this.tokens[this.at++].text;
            this.skipSpace();
            value = this.next?.kind === 'string' ? unescape(this.takeKind('string').slice(1, -1)) : this.takeName();
            this.skipSpace();
            if (this.next?.kind === 'name') {
                const flag = this.takeName().toLowerCase();
                if (flag !== 'i' && flag !== 's') this.fail();
                ignoresCase = flag === 'i';
                this.skipSpace();
            }
        }
        this.expect(']');
        attributeTest(compound, name, operator, value, ignoresCase, isAny);
    }
    pseudoClass() {
        const at = this.at, name = this.takeName().toLowerCase();
        if (!this.take('(')) {
            if (Object.hasOwn(simple, name)) return simple[name];
            this.at = at;
            return this.fail('there is no such pseudo-class');
        }
        this.skipSpace();
        if (!Object.hasOwn(functional, name)) {
            this.at = at;
            this.fail('there is no such pseudo-class');
        }
        const test = functional[name](this);
        this.skipSpace();
        this.expect(')');
        return test;
    }
    /** a and b of an+b. */
    formula() {
        let text = '';
        while (this.next && ['name', 'number', 'space', 'sign'].includes(this.next.kind) && !this.isNext(')')) {
            if (/^of$/i.test(this.next.text)) break;
            text += this.tokens[this.at++].text;
        }
        const compact = text.trim().toLowerCase();
        if (compact === 'odd') return [2, 1];
        if (compact === 'even') return [2, 0];
        const match = /^([+\-]?\d*)n(?:\s*([+\-])\s*(\d+))?$/.exec(compact);
        if (match) {
            const a = /\d/.test(match[1]) ? Number(match[1]) : Number(`${match[1]}1`);
            return [a, match[3] ? Number(match[2] + match[3]) : 0];
        }
        if (!/^[+\-]?\d+$/.test(compact)) this.fail('this is no an+b');
        return [0, Number(compact)];
    }
}

const operators = {
    '': () => true,
    '=': (found, value) => found === value,
    '~=': (found, value) => value !== '' && !/\s/.test(value) && found.split(/[\t\n\f\r ]+/).includes(value),
    '|=': (found, value) => found === value || found.startsWith(`${value}-`),
    '^=': (found, value) => value !== '' && found.startsWith(value),
    '$=': (found, value) => value !== '' && found.endsWith(value),
    '*=': (found, value) => value !== '' && found.includes(value)
};

/** Adds the test of an attribute to a compound. */
function attributeTest(compound, name, operator, value, ignoresCase = false, isAny = false) {
    const holds = operators[operator];
    if (!holds) refuse('SyntaxError', `there is no operator ${operator} of attributes`);
    const wanted = ignoresCase ? value.toLowerCase() : value;
    const isRight = found => found !== null && holds(ignoresCase ? found.toLowerCase() : found, wanted);
    if (isAny) {
        compound.tests.push(element => element.attributes.toArray().some(attribute =>
            attribute.namespaceURI !== XMLNS && (attribute.localName ?? attribute.name) === name &&
            isRight(attribute.value)));
        return;
    }
    compound.tests.push(element => isRight(element.getAttribute(name)));
    if (/^[A-Za-z_][\w.\-]*$/.test(name) && !isWide(value) && !ignoresCase)
        compound.xpath.push(inXPath(`@${name}`, operator, value));
}

function inXPath(attribute, operator, value) {
    const text = literal(value);
    const words = `concat(" ",translate(${attribute},"\t\n\r","   ")," ")`;
    if (operator === '') return attribute;
    if (operator === '=') return `${attribute}=${text}`;
    if (operator === '|=') return `${attribute}=${text} or starts-with(${attribute},${literal(`${value}-`)})`;
    if (value === '' || (operator === '~=' && /\s/.test(value))) return 'false()';
    if (operator === '~=') return `contains(${words},${literal(` ${value} `)})`;
    if (operator === '^=') return `starts-with(${attribute},${text})`;
    if (operator === '*=') return `contains(${attribute},${text})`;
    return `substring(${attribute},string-length(${attribute})-${value.length - 1})=${text}`;
}

// ---- Pseudo-classes -----------------------------------------------------------------------------

const isAnchor = (element, search) => element === search.anchor;
const parentOf = element => element.parentNode;
const sameType = (element, other) =>
    element.nodeName === other.nodeName && element.namespaceURI === other.namespaceURI;
const attributeOf = name => element => element.hasAttribute(name);
const disabled = element => /^(button|input|select|textarea|optgroup|option|fieldset)$/i.test(element.localName ??
    element.nodeName) && element.hasAttribute('disabled');

const simple = {
    root: element => parentOf(element)?.[TYPE] === 9,
    scope: (element, search) => search.scope ? element === search.scope : simple.root(element),
    empty: element => !element.childNodes.toArray().some(child =>
        child[TYPE] === 1 || child[TYPE] === 5 || ((child[TYPE] === 3 || child[TYPE] === 4) && child.data !== '')),
    'first-child': (element, search) => place(element, search, 'first') === 1,
    'last-child': (element, search) => place(element, search, 'last') === 1,
    'only-child': (element, search) => simple['first-child'](element, search) && simple['last-child'](element, search),
    'first-of-type': (element, search) => place(element, search, 'first', 'type') === 1,
    'last-of-type': (element, search) => place(element, search, 'last', 'type') === 1,
    'only-of-type': (element, search) =>
        simple['first-of-type'](element, search) && simple['last-of-type'](element, search),
    link: element => /^(a|area)$/i.test(element.localName ?? element.nodeName) && element.hasAttribute('href'),
    disabled,
    enabled: element => !disabled(element) &&
        /^(button|input|select|textarea|optgroup|option|fieldset)$/i.test(element.localName ?? element.nodeName),
    checked: element => element.hasAttribute('checked') || element.hasAttribute('selected'),
    required: attributeOf('required')
};
simple['any-link'] = simple.link;

const functional = {
    not(reader) {
        const chains = reader.list();
        return (element, search) => !matchesAny(chains, element, search);
    },
    is(reader) {
        const chains = reader.list();
        return (element, search) => matchesAny(chains, element, search);
    },
    has(reader) {
        const chains = reader.list(true);
        return (element, search) => chains.some(chain => hasRelative(chain, element, search));
    },
    lang(reader) {
        const wanted = [];
        do {
            reader.skipSpace();
            wanted.push((reader.next?.kind === 'string' ? unescape(reader.takeKind('string').slice(1, -1))
                : reader.takeName()).toLowerCase());
            reader.skipSpace();
        } while (reader.take(','));
        return element => {
            const language = languageOf(element)?.toLowerCase();
            return wanted.some(each => language === each || language?.startsWith(`${each}-`));
        };
    },
    'nth-child': reader => nth(reader, 'first'),
    'nth-last-child': reader => nth(reader, 'last'),
    'nth-of-type': reader => nth(reader, 'first', 'type'),
    'nth-last-of-type': reader => nth(reader, 'last', 'type')
};
functional.where = functional.is;

function nth(reader, from, kind) {
    const [a, b] = reader.formula();
    let chains = kind;
    if (!kind && /^of$/i.test(reader.next?.text ?? '')) {
        reader.takeName();
        chains = reader.list();
    }
    return (element, search) => {
        if (chains instanceof Array && !matchesAny(chains, element, search)) return false;
        const steps = place(element, search, from, chains) - b;
        return a === 0 ? steps === 0 : steps % a === 0 && steps / a >= 0;
    };
}

/** The number of an element among its siblings, from 1 on; of its type or those that match `kind`, when that is
    given. All siblings are counted at once, for the whole search. */
function place(element, search, from, kind) {
    const parent = parentOf(element);
    if (!parent) return 1;
    const tables = search.places.get(parent) ?? new Map();
    search.places.set(parent, tables);
    const key = from + (kind === 'type' ? element.nodeName + '\n' + element.namespaceURI : ''), all = kind ?? '';
    const byKind = tables.get(all) ?? new Map();
    tables.set(all, byKind);
    if (!byKind.has(key)) {
        let siblings = parent.children.toArray();
        if (kind === 'type') siblings = siblings.filter(other => sameType(element, other));
        else if (kind) siblings = siblings.filter(other => matchesAny(kind, other, search));
        if (from === 'last') siblings.reverse();
        byKind.set(key, new Map(siblings.map((each, i) => [each, i + 1])));
    }
    return byKind.get(key).get(element);
}

function languageOf(element) {
    for (; element; element = element.parentElement) {
        const language = element.getAttributeNS(XML, 'lang') ??
            (element[CLUSTER].isHtml ? element.getAttribute('lang') : null);
        if (language !== null) return language;
    }
    return null;
}

// ---- Matching -----------------------------------------------------------------------------------

/** What one search knows: results by compound and element, places among siblings, the element of :scope. */
const newSearch = (scope, anchor = null) => ({ scope, anchor, known: new Map(), places: new Map() });

function matchesAny(chains, element, search) {
    return chains.some(chain => matches(chain, 0, element, search));
}

/** Whether an element matches a chain from one of its compounds on. */
function matches(chain, at, element, search) {
    const compound = chain[at];
    for (const test of compound.tests) if (!test(element, search)) return false;
    if (at + 1 === chain.length) return true;
    switch (compound.combinator) {
        case '>': {
            const parent = element.parentElement;
            return parent !== null && matches(chain, at + 1, parent, search);
        }
        case '+': {
            const before = element.previousElementSibling;
            return before !== null && matches(chain, at + 1, before, search);
        }
        case ' ': return anyMatches(chain, at + 1, element, 'parentElement', search);
        default: return anyMatches(chain, at + 1, element, 'previousElementSibling', search);
    }
}

/** Whether any of what a step leads to matches. What is found out is kept for all that was passed. */
function anyMatches(chain, at, element, step, search) {
    const byElement = search.known.get(chain[at]) ?? new Map();
    search.known.set(chain[at], byElement);
    const passed = [];
    let found = false;
    for (let other = element; ;) {
        const known = byElement.get(other);
        if (known !== undefined) {
            found = known;
            break;
        }
        passed.push(other);
        other = other[step];
        if (!other) break;
        if (matches(chain, at, other, search)) {
            found = true;
            break;
        }
    }
    for (const each of passed) byElement.set(each, found);
    return found;
}

/** Whether an element has what a chain of :has() describes. */
function hasRelative(chain, element, search) {
    const inner = newSearch(search.scope, element), first = chain.at(-2).combinator;
    const isBeside = first === '+' || first === '~';
    const root = isBeside ? element.parentNode : element;
    if (!root) return false;
    return candidates(root, chain.slice(0, 1)).toArray().some(each => matches(chain, 0, each, inner));
}

/** The elements below a node that may match a chain, as a list in document order. */
function candidates(root, chain) {
    return collect(root, `descendant::${testOf(root, chain, 0)}`, () => true);
}

/** An XPath test that says what a chain does, or less. */
function testOf(root, chain, ancestors) {
    const [{ name, xpath, combinator }] = chain;
    const plain = /^[A-Za-z_][\w.\-]*$/.test(name) && !namespaces.hasNamespaces(root[CLUSTER]);
    let test = name === '*' || plain ? name : `*[local-name()=${literal(name)}]`;
    if (!hasDefaults(root)) test += xpath.map(each => `[${each}]`).join('');
    if (chain.length === 1) return test;
    if (combinator === '>') return `${test}[parent::${testOf(root, chain.slice(1), ancestors)}]`;
    if (combinator === '+')
        return `${test}[preceding-sibling::*[1]/self::${testOf(root, chain.slice(1), ancestors)}]`;
    // More than one of these takes a time that grows with the power of the depth.
    return combinator === ' ' && ancestors === 0
        ? `${test}[ancestor::${testOf(root, chain.slice(1), 1)}]` : test;
}

/** Whether testOf says all that a chain does. */
function isExact(root, chain) {
    return !root[CLUSTER].hasReferences && !hasDefaults(root) &&
        chain.every(({ tests, name, xpath }) => tests.length === xpath.length + (name === '*' ? 0 : 1)) &&
        chain.filter(({ combinator }) => combinator === ' ').length < 2 &&
        chain.every(({ combinator }) => combinator !== '~');
}

/** Whether attributes may be there that are not in libxml2's tree: those that the document type gives. */
function hasDefaults(root) { return Boolean((root.ownerDocument ?? root).doctype?.internalSubset); }

// ---- Selectors in use ---------------------------------------------------------------------------

const lately = new Map();
const mostKept = 200;

function read(selector, isHtml) {
    const text = String(need(selector, 'the selector')), key = (isHtml ? 'h' : 'x') + text;
    let chains = lately.get(key);
    if (chains) return chains;
    const reader = new Reader(text, isHtml);
    chains = reader.list();
    if (reader.next) reader.fail();
    if (lately.size >= mostKept) lately.clear();
    lately.set(key, chains);
    return chains;
}

/** The elements below a node that match, in document order, as a list or an array. */
function* select(root, chains) {
    const search = newSearch(root[TYPE] === 1 ? root : null);
    const all = chains.length === 1 ? candidates(root, chains[0]) : candidates(root, [newCompound()]);
    for (const element of all) if (matchesAny(chains, element, search)) yield element;
}

/** The XPath of selectors, where that says all; else null. */
function exactly(root, chains) {
    const xpath = chains.map(chain => isExact(root, chain) ? `descendant::${testOf(root, chain, 0)}` : null);
    return xpath.includes(null) || isWide(xpath.join('')) ? null : xpath.join('|');
}

extend([Element, Document, DocumentFragment], {
    /** The first element below that matches a CSS selector; null for none. */
    querySelector(selector) {
        const chains = read(selector, this[CLUSTER].isHtml), xpath = exactly(this, chains);
        if (!xpath) return select(this, chains).next().value ?? null;
        return this[CLUSTER].node(handles(xmlDOMNodeSelectNodes(this[CONTAINER](), `(${xpath})[1]`))[0], undefined, 1);
    },
    /** The elements below that match a CSS selector, in document order: a list that stays as it is. */
    querySelectorAll(selector) {
        const chains = read(selector, this[CLUSTER].isHtml), xpath = exactly(this, chains);
        if (!xpath) return stillList([...select(this, chains)]);
        const found = handles(xmlDOMNodeSelectNodes(this[CONTAINER](), xpath));
        return stillList(found.map(handle => this[CLUSTER].node(handle, undefined, 1)));
    }
});
extend([Element], {
    /** Whether this element matches a CSS selector. */
    matches(selector) {
        return matchesAny(read(selector, this[CLUSTER].isHtml), this, newSearch(this));
    },
    /** The nearest of this element and those above it that matches a CSS selector; null for none. */
    closest(selector) {
        const chains = read(selector, this[CLUSTER].isHtml), search = newSearch(this);
        for (let element = this; element; element = element.parentElement)
            if (matchesAny(chains, element, search)) return element;
        return null;
    }
});
