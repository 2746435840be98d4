// How the interactive shell shows a value: a function of the value, made by a function that gets
// what numbers are asked about.
(function (remark) {
    'use strict';
    var LINE = 72, ITEMS = 40, CHARACTERS = 2000, DEPTH = 3, SHORT = 12;

    function quoted(text) {
        var cut = text.length > CHARACTERS;
        return JSON.stringify(cut ? text.slice(0, CHARACTERS) : text) +
            (cut ? '… (' + text.length + ' characters)' : '');
    }

    function named(key) {
        return /^[A-Za-z_$][\w$]*$/.test(key) ? key : JSON.stringify(key);
    }

    function enclosed(open, parts, close, indent) {
        var line = open + parts.join(', ') + close;
        if (line.length + indent.length <= LINE && line.indexOf('\n') < 0) return line;
        return open + '\n' + filled(parts, indent + '  ') + '\n' + indent + close;
    }

    // Short parts side by side, long ones on lines of their own.
    function filled(parts, indent) {
        var lines = [];
        parts.forEach(function (part, i) {
            var last = lines.length - 1, text = part + (i < parts.length - 1 ? ',' : '');
            var fits = last >= 0 && lines[last].length + text.length + 1 <= LINE;
            if (fits && parts[i - 1].length <= SHORT && part.length <= SHORT) lines[last] += ' ' + text;
            else lines.push(indent + text);
        });
        return lines.join('\n');
    }

    function list(items, show) {
        var parts = [];
        for (var i = 0; i < items.length && i < ITEMS; ++i) parts.push(show(items[i]));
        if (items.length > ITEMS) parts.push('… ' + (items.length - ITEMS) + ' more');
        return parts;
    }

    // What an object of a class says of itself; undefined for plain ones.
    function own_words(value) {
        if (value instanceof Error || value instanceof Date || value instanceof RegExp) {
            return String(value);
        }
        var to_string = value.toString;
        if (typeof to_string === 'function' && to_string !== Object.prototype.toString &&
            !Array.isArray(value) && !ArrayBuffer.isView(value)) {
            return String(value).replace(/\n+$/, '');
        }
        return undefined;
    }

    function show_object(value, indent, outer) {
        var words = own_words(value);
        if (words !== undefined) return words;
        var name = value.constructor && value.constructor.name || 'Object';
        if (outer.indexOf(value) >= 0) return '[circle]';
        if (outer.length >= DEPTH) return Array.isArray(value) ? '[…]' : '{…}';
        var around = outer.concat([value]);
        function show(item) { return shown(item, indent + '  ', around); }
        if (Array.isArray(value)) return enclosed('[', list(value, show), ']', indent);
        if (ArrayBuffer.isView(value)) {
            return name + '(' + (value.length === undefined ? value.byteLength : value.length) + ') ' +
                enclosed('[', list(value, String), ']', indent);
        }
        var fields = list(Object.keys(value), function (key) {
            var field;
            try { field = show(value[key]); } catch (e) { field = '[' + e + ']'; }
            return named(key) + ': ' + field;
        });
        return (name === 'Object' ? '' : name + ' ') + enclosed('{', fields, '}', indent);
    }

    function shown(value, indent, outer) {
        switch (typeof value) {
        case 'string': return quoted(value);
        case 'number':
            var words = remark(value);
            return value + (words ? ' ' + words : '');
        case 'function': return '[function ' + (value.name || 'without a name') + ']';
        case 'object': return value === null ? 'null' : show_object(value, indent, outer);
        default: return String(value);
        }
    }

    return function (value) { return shown(value, '', []); };
})
