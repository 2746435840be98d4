// How a value is shown to people, by console.log and by the interactive shell.
(native => {
    'use strict';
    const LINE = 72, ITEMS = 40, CHARACTERS = 2000, DEPTH = 3, SHORT = 12;

    function quoted(text) {
        const cut = text.length > CHARACTERS;
        return JSON.stringify(cut ? text.slice(0, CHARACTERS) : text) +
            (cut ? `… (${text.length} characters)` : '');
    }

    const named = key => typeof key === 'symbol' ? `[${String(key)}]` :
        /^[\p{L}_$][\p{L}\p{N}_$]*$/u.test(key) ? key : JSON.stringify(key);

    function enclosed(open, parts, close, indent) {
        const line = open + parts.join(', ') + close;
        if (line.length + indent.length <= LINE && !line.includes('\n')) return line;
        return `${open}\n${filled(parts, indent + '  ')}\n${indent}${close}`;
    }

    // Short parts side by side, long ones on lines of their own.
    function filled(parts, indent) {
        const lines = [];
        parts.forEach((part, i) => {
            const last = lines.length - 1, text = part + (i < parts.length - 1 ? ',' : '');
            const fits = last >= 0 && lines[last].length + text.length + 1 <= LINE;
            if (fits && parts[i - 1].length <= SHORT && part.length <= SHORT) lines[last] += ' ' + text;
            else lines.push(indent + text);
        });
        return lines.join('\n');
    }

    /** What `show` makes of the first items; of the others how many they are. */
    function list(items, size, show) {
        const parts = [];
        for (const item of items) {
            if (parts.length === ITEMS) break;
            parts.push(show(item));
        }
        if (size > ITEMS) parts.push(`… ${size - ITEMS} more`);
        return parts;
    }

    // What an object of a class says of itself; undefined for plain ones.
    function ownWords(value) {
        if (value instanceof Error) return (value.stack || String(value)).trimEnd();
        const { toString } = value;
        const isOwn = typeof toString === 'function' && toString !== Object.prototype.toString &&
            !Array.isArray(value) && !ArrayBuffer.isView(value);
        return isOwn ? String(value).replace(/\n+$/, '') : undefined;
    }

    function showObject(value, indent, outer) {
        const words = ownWords(value);
        if (words !== undefined) return words;
        const name = value.constructor?.name || value[Symbol.toStringTag] || 'Object';
        if (outer.includes(value)) return '[circle]';
        if (outer.length >= DEPTH) return Array.isArray(value) ? '[…]' : '{…}';
        const around = [...outer, value];
        const show = item => shown(item, indent + '  ', around);
        if (Array.isArray(value)) return enclosed('[', list(value, value.length, show), ']', indent);
        if (ArrayBuffer.isView(value)) {
            const size = value.length ?? value.byteLength;
            const items = value.length === undefined ? [] : value;
            return `${name}(${size}) ${enclosed('[', list(items, items.length, String), ']', indent)}`;
        }
        if (value instanceof Map) {
            const entry = ([key, item]) => `${show(key)} => ${show(item)}`;
            return `Map(${value.size}) ${enclosed('{', list(value, value.size, entry), '}', indent)}`;
        }
        if (value instanceof Set) {
            return `Set(${value.size}) ${enclosed('{', list(value, value.size, show), '}', indent)}`;
        }
        if (typeof value[Symbol.iterator] === 'function' && typeof value.item === 'function') {
            return `${name}(${value.length}) ${enclosed('[', list(value, value.length, show), ']', indent)}`;
        }
        const keys = Reflect.ownKeys(value)
            .filter(key => Object.prototype.propertyIsEnumerable.call(value, key));
        const fields = list(keys, keys.length, key => {
            let field;
            try { field = show(value[key]); } catch (e) { field = `[${e}]`; }
            return `${named(key)}: ${field}`;
        });
        return (name === 'Object' ? '' : name + ' ') + enclosed('{', fields, '}', indent);
    }

    function shown(value, indent, outer) {
        switch (typeof value) {
            case 'string': return quoted(value);
            case 'number': {
                const words = native.remark(value);
                return (Object.is(value, -0) ? '-0' : String(value)) + (words && ' ' + words);
            }
            case 'bigint': return `${value}n`;
            case 'function': {
                const kind = /^class\b/.test(Function.prototype.toString.call(value)) ? 'class' : 'function';
                return `[${kind} ${value.name || 'without a name'}]`;
            }
            case 'object': return value === null ? 'null' : showObject(value, indent, outer);
            default: return String(value);
        }
    }

    const inspect = value => shown(value, '', []);

    /** Rows of what is in an array, a map or an object, with a column for each property. */
    function table(data, wanted) {
        const rows = data instanceof Map || typeof data.entries === 'function'
            ? [...data.entries()] : Object.entries(data);
        const isRow = row => typeof row === 'object' && row !== null;
        const columns = wanted ??
            [...new Set(rows.flatMap(([, row]) => isRow(row) ? Object.keys(row) : []))];
        const hasValues = !wanted && rows.some(([, row]) => !isRow(row));
        const cell = value => typeof value === 'string' ? value : inspect(value).replace(/\s+/g, ' ');
        const lines = [['', ...columns, ...hasValues ? ['value'] : []]];
        for (const [key, row] of rows) {
            const cells = columns.map(name => isRow(row) && name in row ? cell(row[name]) : '');
            if (hasValues) cells.push(isRow(row) ? '' : cell(row));
            lines.push([String(key), ...cells]);
        }
        const widths = lines[0].map((_, i) => Math.max(...lines.map(line => [...line[i]].length)));
        const written = line =>
            line.map((text, i) => text + ' '.repeat(widths[i] - [...text].length)).join('  ').trimEnd();
        return [written(lines[0]), widths.map(width => '─'.repeat(width)).join('──'),
                ...lines.slice(1).map(written)].join('\n');
    }

    return { inspect, table };
})
