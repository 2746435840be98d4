// What the shell reads, and programs whose `await` stands outside of functions, on the tree that the engine's
// parser makes of them.
(() => {
    /** `import a, {b as c} from 'x'` as an assignment. */
    function importing({ specifiers, moduleRequest: { source } }, names) {
        const module = `await import(${JSON.stringify(source.value)})`;
        if (specifiers.length === 0) return module;
        let all = null;
        const parts = [];
        for (const { type, id, name } of specifiers) {
            names.push(name.name);
            if (type === 'ImportNamespaceSpecifier') all = name.name;
            else parts.push(`${JSON.stringify(id.name ?? id.value)}: ${name.name}`);
        }
        const named = parts.length > 0 ? `({${parts.join(', ')}} = ${all ?? module})` : '';
        return all ? `${all} = ${module}; ${named}` : `void 0, ${named}`;
    }

    return {
        /** Whether a plain script calls `await (...)` outside of asynchronous functions, which only a module can mean. */
        awaits(parse, source) {
            const isAwait = node => typeof node === 'object' && node !== null &&
                (node.type === 'Identifier' && node.name === 'await' ||
                    Object.values(node).some(isAwait));
            return isAwait(parse(source, { loc: false }).body);
        },

        /** An input that has `await` or `import` outside of functions as a script that gives a promise of its value.
            What it declares becomes global, so that it stays for the next input. Null for other input. */
        asynchronous(parse, source) {
            let body;
            try {
                body = parse(source, { target: 'module' }).body;
            } catch {
                return null;
            }
            const starts = [0];
            for (const end of source.matchAll(/\n/g)) starts.push(end.index + 1);
            const offset = ({ line, column }) => starts[line - 1] + column;

            const names = [], edits = [];
            const replace = (from, to, text) => edits.push({ from, to, text });
            function bind(pattern) {
                if (!pattern) return;
                switch (pattern.type) {
                    case 'Identifier': names.push(pattern.name); break;
                    case 'ObjectPattern': pattern.properties.forEach(each => bind(each.value ?? each)); break;
                    case 'ArrayPattern': pattern.elements.forEach(bind); break;
                    case 'AssignmentExpression': bind(pattern.left); break;
                    case 'SpreadExpression': bind(pattern.expression ?? pattern.argument); break;
                }
            }

            let hoisted = '';
            body.forEach((statement, index) => {
                const start = offset(statement.loc.start);
                switch (statement.type) {
                    case 'VariableDeclaration':
                        statement.declarations.forEach(({ id }) => bind(id));
                        replace(start, start + statement.kind.length, 'void 0,');
                        break;
                    case 'FunctionDeclaration':
                        names.push(statement.id.name);
                        hoisted += `globalThis.${statement.id.name} = ${statement.id.name};`;
                        break;
                    case 'ClassStatement':
                        names.push(statement.id.name);
                        replace(start, start, `${statement.id.name} = `);
                        break;
                    case 'ImportDeclaration':
                        replace(start, offset(statement.loc.end), importing(statement, names));
                        break;
                    case 'ExpressionStatement': {
                        if (index < body.length - 1) break;
                        // The tree leaves parentheses out.
                        const before = /[\s(]*$/.exec(source.slice(0, start))[0];
                        const open = before.indexOf('(');
                        const at = open < 0 ? start : start - before.length + open;
                        replace(at, at, 'return ');
                        break;
                    }
                }
            });
            let text = source;
            edits.sort((a, b) => b.from - a.from);
            for (const { from, to, text: by } of edits) text = text.slice(0, from) + by + text.slice(to);
            const functions = new Set(body.filter(each => each.type === 'FunctionDeclaration')
                .map(each => each.id.name));
            const variables = names.filter(name => !functions.has(name));
            return (variables.length > 0 ? `var ${variables.join(', ')};` : '') +
                `(async () => {${hoisted}${text}\n})()`;
        }
    };
})
