// What every script finds from the start, as far as JavaScript can say it: console, timers, TextEncoder and
// TextDecoder, stacks without the inner places of bundled modules. Gives the helpers of the C++ side.
(function (global, native) {
    'use strict';

    const { defineProperty, getOwnPropertyDescriptor } = Object;

    function define(name, value) {
        defineProperty(global, name, { value, writable: true, configurable: true });
    }

    // ---- Stacks ----

    const stack = getOwnPropertyDescriptor(Error.prototype, 'stack');
    const isInner = line => line.startsWith('    at ') &&
        native.bundled.some(folder => line.includes(folder + '/'));
    defineProperty(Error.prototype, 'stack', {
        ...stack,
        get() {
            const text = Reflect.apply(stack.get, this, []);
            if (typeof text !== 'string') return text;
            return text.split('\n').filter(line => !isInner(line)).join('\n');
        }
    });

    // ---- Parts that not every script needs ----

    const parts = {};
    const part = name => parts[name] ??= native.part(name)(native);
    const inspect = value => part('inspect').inspect(value);

    const { parse } = Reflect;
    delete Reflect.parse;

    // ---- console ----

    const placeholders = {
        s: value => typeof value === 'object' ? inspect(value) : String(value),
        d: value => String(Number(value)),
        i: value => String(Math.trunc(value)),
        f: value => String(Number(value)),
        j: value => JSON.stringify(value),
        o: inspect,
        O: inspect
    };
    function format(values) {
        const rest = [...values];
        if (typeof rest[0] === 'string' && rest.length > 1) {
            const text = rest.shift().replace(/%([%sdifjoO])/g, (all, kind) =>
                kind === '%' ? '%' : rest.length === 0 ? all : placeholders[kind](rest.shift()));
            rest.unshift(text);
        }
        return rest.map(value => typeof value === 'string' ? value : inspect(value)).join(' ');
    }

    let indent = '';
    const write = (toError, text) => native.write(toError, text.replace(/^/gm, indent));
    const out = (...values) => write(false, format(values));
    const err = (...values) => write(true, format(values));

    const timers = new Map(), counts = new Map();
    function elapsed(label, words) {
        if (!timers.has(label)) return err(`there is no timer ${label}`);
        const milliseconds = native.now() - timers.get(label);
        out(`${label}: ${milliseconds.toFixed(3)} ms`, ...words);
    }

    define('console', {
        log: out,
        info: out,
        debug: out,
        error: err,
        warn: err,
        dir(value) { out(inspect(value)); },
        assert(condition, ...words) { if (!condition) err('assertion failed', ...words); },
        trace(...words) {
            err('trace', ...words);
            err(new Error().stack.split('\n').slice(2).join('\n').trimEnd());
        },
        group(...words) {
            if (words.length > 0) out(...words);
            indent += '  ';
        },
        groupEnd() { indent = indent.slice(2); },
        count(label = 'default') {
            counts.set(label, (counts.get(label) ?? 0) + 1);
            out(`${label}: ${counts.get(label)}`);
        },
        countReset(label = 'default') { counts.delete(label); },
        table(data, columns) {
            if (typeof data !== 'object' || data === null) return out(data);
            out(part('inspect').table(data, columns));
        },
        time(label = 'default') { timers.set(label, native.now()); },
        timeLog(label = 'default', ...words) { elapsed(label, words); },
        timeEnd(label = 'default') {
            elapsed(label, []);
            timers.delete(label);
        }
    });

    define('performance', { now: native.now });

    // ---- Timers ----

    function addTimer(callback, milliseconds, repeats, values) {
        if (typeof callback !== 'function') throw new TypeError('a timer needs a function');
        return native.addTimer(() => { callback(...values); }, Number(milliseconds) || 0, repeats);
    }
    define('setTimeout', (callback, milliseconds, ...values) =>
        addTimer(callback, milliseconds, false, values));
    define('setInterval', (callback, milliseconds, ...values) =>
        addTimer(callback, milliseconds, true, values));
    define('clearTimeout', native.removeTimer);
    define('clearInterval', native.removeTimer);
    define('queueMicrotask', callback => {
        if (typeof callback !== 'function') throw new TypeError('a microtask needs a function');
        Promise.resolve().then(() => { callback(); });
    });

    // ---- Text and bytes ----

    define('TextEncoder', class TextEncoder {
        get encoding() { return 'utf-8'; }
        encode(text = '') { return native.encode(String(text)); }
        encodeInto(text, bytes) {
            let read = 0, written = 0;
            for (const character of String(text)) {
                const encoded = native.encode(character);
                if (written + encoded.length > bytes.length) break;
                bytes.set(encoded, written);
                written += encoded.length;
                read += character.length;
            }
            return { read, written };
        }
    });

    const empty = new Uint8Array(0);
    const encodings = {
        'utf-8': /^(utf-?8|unicode-1-1-utf-8)$/i,
        'utf-16le': /^(utf-16(le)?|ucs-2|unicode)$/i,
        'utf-16be': /^utf-16be$/i,
        'iso-8859-1': /^(iso-?8859-?1|latin-?1|l1|us-ascii|ascii)$/i
    };
    define('TextDecoder', class TextDecoder {
        #encoding;
        #fatal;
        #ignoreBOM;
        #left = empty;      // bytes of a character whose rest is to come

        constructor(label = 'utf-8', { fatal = false, ignoreBOM = false } = {}) {
            this.#encoding = Object.keys(encodings)
                .find(name => encodings[name].test(String(label).trim()));
            if (!this.#encoding) throw new RangeError(`unknown encoding: ${label}`);
            this.#fatal = Boolean(fatal);
            this.#ignoreBOM = Boolean(ignoreBOM);
        }
        get encoding() { return this.#encoding; }
        get fatal() { return this.#fatal; }
        get ignoreBOM() { return this.#ignoreBOM; }

        decode(input = empty, { stream = false } = {}) {
            const more = ArrayBuffer.isView(input)
                ? new Uint8Array(input.buffer, input.byteOffset, input.byteLength)
                : new Uint8Array(input);
            let bytes = more;
            if (this.#left.length > 0) {
                bytes = new Uint8Array(this.#left.length + more.length);
                bytes.set(this.#left);
                bytes.set(more, this.#left.length);
            }
            const whole = stream ? native.wholeCharacters(bytes, this.#encoding) : bytes.length;
            this.#left = bytes.slice(whole);
            const text = native.decode(bytes.subarray(0, whole), this.#encoding, this.#fatal);
            return !this.#ignoreBOM && text.startsWith('\uFEFF') ? text.slice(1) : text;
        }
    });

    // ---- For the C++ side ----

    return {
        inspect,
        words: value => value.toString === Object.prototype.toString ? inspect(value) : value,
        awaits: source => /\bawait\s*[(\[`+\-\/]/.test(source) && part('shell').awaits(parse, source),
        asynchronous: source => part('shell').asynchronous(parse, source),
        /** The text of an ES module with the exports of a CommonJS module, which are in import.meta. */
        wrap(exports) {
            const names = exports === null || !/^(object|function)$/.test(typeof exports) ? [] :
                Object.keys(exports)
                    .filter(name => name !== 'default' && /^[\p{L}$_][\p{L}\p{N}$_]*$/u.test(name));
            return 'const m = import.meta.exports; export default m;' +
                names.map((name, i) => `const v${i} = m.${name}; export {v${i} as ${name}};`).join('');
        }
    };
})
