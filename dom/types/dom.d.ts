// The modules and globals of vtdom beside the functions, for editors and compilers of TypeScript. docs/dom.md
// and docs/scripting.md say what they do. vtdom --types prints this with the functions.

/** Holds a document or a node that hangs nowhere, and frees it when it ends itself. */
declare class LIBXMLLife {
    addInternal(internal: number): this;
    removeInternal(): this;
    release(): void;
}

/** Writes values to standard output, with spaces between them, and a line end. */
declare function print(...values: unknown[]): void;
declare const args: string[];
declare function readFile(path: string): string;
declare function readFile(path: string, kind: 'binary'): Uint8Array;
declare function writeFile(path: string, content: string | ArrayBuffer | ArrayBufferView): void;
declare function rename(from: string, to: string): void;
/** What libxml2 and libxslt have to say while the function runs. */
declare function messagesOf(work: () => unknown): string;
/** Calls the function with the path of a file with this text, and gives what it gives. */
declare function withTemporaryFile<T>(text: string, work: (path: string) => T): T;
/** The UTF-8 bytes of a text as one character each. */
declare function path8(text: string): string;
declare function exit(code?: number): never;
declare function gc(): void;
declare function require(name: 'dom'): typeof import('dom');
declare function require(name: string): any;
declare function setTimeout(work: (...values: any[]) => void, milliseconds?: number, ...values: unknown[]): number;
declare function setInterval(work: (...values: any[]) => void, milliseconds?: number, ...values: unknown[]): number;
declare function clearTimeout(timer?: number): void;
declare function clearInterval(timer?: number): void;
declare function queueMicrotask(work: () => void): void;
declare function structuredClone<T>(value: T): T;
declare const console: Record<
    'log' | 'info' | 'debug' | 'dir' | 'error' | 'warn' | 'trace' | 'assert' | 'table' | 'time' | 'timeLog' | 'timeEnd' |
    'count' | 'group' | 'groupEnd', (...values: unknown[]) => void>;
declare const performance: { now(): number };

declare module 'dom' {
    interface ParseOptions {
        /** false drops text that is only white space between elements. */
        keepBlanks?: boolean;
        /** Where the document is, for its document type. */
        url?: string;
    }
    interface TransformOptions { params?: Record<string, string | number | boolean>; }
    type Prefixes = Record<string, string> | ((prefix: string) => string | null) |
        { lookupNamespaceURI(prefix: string): string | null };
    type Filter = ((node: Node) => number) | { acceptNode(node: Node): number };

    function parseFile(path: string, options?: ParseOptions): Document;
    function parseString(text: string | ArrayBuffer | ArrayBufferView, options?: ParseOptions): Document;
    function parseHTMLFile(path: string, options?: ParseOptions): Document;
    function parseHTMLString(text: string | ArrayBuffer | ArrayBufferView, options?: ParseOptions): Document;
    /** The result of an XSLT stylesheet as text or, with a path, the number of bytes written. */
    function transform(source: string | Document, sheet: string | Document, options?: TransformOptions): string;
    function transform(source: string | Document, sheet: string | Document, path: string, options?: TransformOptions): number;
    function transformToDocument(source: string | Document, sheet: string | Document, options?: TransformOptions): Document;
    const implementation: DOMImplementation;

    class DOMException extends Error {
        readonly code: number;
        static readonly INDEX_SIZE_ERR: 1;
        static readonly DOMSTRING_SIZE_ERR: 2;
        static readonly HIERARCHY_REQUEST_ERR: 3;
        static readonly WRONG_DOCUMENT_ERR: 4;
        static readonly INVALID_CHARACTER_ERR: 5;
        static readonly NO_DATA_ALLOWED_ERR: 6;
        static readonly NO_MODIFICATION_ALLOWED_ERR: 7;
        static readonly NOT_FOUND_ERR: 8;
        static readonly NOT_SUPPORTED_ERR: 9;
        static readonly INUSE_ATTRIBUTE_ERR: 10;
        static readonly INVALID_STATE_ERR: 11;
        static readonly SYNTAX_ERR: 12;
        static readonly INVALID_MODIFICATION_ERR: 13;
        static readonly NAMESPACE_ERR: 14;
        static readonly INVALID_ACCESS_ERR: 15;
    }
    class ParseError extends Error {
        readonly line?: number;
        readonly column?: number;
        readonly url?: string;
    }
    interface Fault { message: string; element?: string; line?: number; }

    class DOMImplementation {
        private constructor();
        hasFeature(feature: string, version?: string | null): boolean;
        createDocumentType(name: string, publicId: string, systemId: string): DocumentType;
        createDocument(uri: string | null, name: string | null, doctype?: DocumentType | null): Document;
    }

    interface List<T> extends Iterable<T> {
        readonly length: number;
        readonly [index: number]: T;
        item(index: number): T | null;
        toArray(): T[];
        forEach(work: (item: T, index: number, list: this) => void): void;
        map<R>(work: (item: T, index: number) => R): R[];
    }
    interface NodeList<T extends Node = Node> extends List<T> {}
    interface HTMLCollection extends List<Element> { namedItem(name: string): Element | null; }
    interface NamedNodeMap<T extends Node = Node> extends List<T> {
        getNamedItem(name: string): T | null;
        getNamedItemNS(uri: string | null, name: string): T | null;
        setNamedItem(node: T): T | null;
        setNamedItemNS(node: T): T | null;
        removeNamedItem(name: string): T;
        removeNamedItemNS(uri: string | null, name: string): T;
    }
    interface DOMTokenList extends Iterable<string> {
        value: string;
        readonly length: number;
        item(index: number): string | null;
        contains(token: string): boolean;
        add(...tokens: string[]): void;
        remove(...tokens: string[]): void;
        toggle(token: string, force?: boolean): boolean;
        replace(token: string, other: string): boolean;
        forEach(work: (token: string, index: number) => void): void;
    }

    interface NodeConstants {
        readonly ELEMENT_NODE: 1;
        readonly ATTRIBUTE_NODE: 2;
        readonly TEXT_NODE: 3;
        readonly CDATA_SECTION_NODE: 4;
        readonly ENTITY_REFERENCE_NODE: 5;
        readonly ENTITY_NODE: 6;
        readonly PROCESSING_INSTRUCTION_NODE: 7;
        readonly COMMENT_NODE: 8;
        readonly DOCUMENT_NODE: 9;
        readonly DOCUMENT_TYPE_NODE: 10;
        readonly DOCUMENT_FRAGMENT_NODE: 11;
        readonly NOTATION_NODE: 12;
        readonly DOCUMENT_POSITION_DISCONNECTED: 1;
        readonly DOCUMENT_POSITION_PRECEDING: 2;
        readonly DOCUMENT_POSITION_FOLLOWING: 4;
        readonly DOCUMENT_POSITION_CONTAINS: 8;
        readonly DOCUMENT_POSITION_CONTAINED_BY: 16;
        readonly DOCUMENT_POSITION_IMPLEMENTATION_SPECIFIC: 32;
    }
    interface Node extends NodeConstants {
        readonly nodeType: number;
        readonly nodeName: string;
        nodeValue: string | null;
        textContent: string | null;
        readonly ownerDocument: Document | null;
        readonly parentNode: Node | null;
        readonly parentElement: Element | null;
        readonly firstChild: Node | null;
        readonly lastChild: Node | null;
        readonly nextSibling: Node | null;
        readonly previousSibling: Node | null;
        readonly childNodes: NodeList;
        readonly attributes: NamedNodeMap<Attr> | null;
        readonly namespaceURI: string | null;
        prefix: string | null;
        readonly localName: string | null;
        readonly isConnected: boolean;
        readonly baseURI: string | null;
        hasChildNodes(): boolean;
        hasAttributes(): boolean;
        insertBefore<T extends Node>(node: T, next: Node | null): T;
        appendChild<T extends Node>(node: T): T;
        replaceChild<T extends Node>(node: Node, old: T): T;
        removeChild<T extends Node>(node: T): T;
        cloneNode(deep?: boolean): this;
        normalize(): void;
        isSupported(feature: string, version?: string | null): boolean;
        contains(node: Node | null): boolean;
        getRootNode(): Node;
        isSameNode(node: Node | null): boolean;
        isEqualNode(node: Node | null): boolean;
        compareDocumentPosition(node: Node): number;
        lookupNamespaceURI(prefix: string | null): string | null;
        lookupPrefix(uri: string | null): string | null;
        isDefaultNamespace(uri: string | null): boolean;
        /** The nodes that an XPath 1.0 expression selects, in document order. */
        selectNodes(xpath: string, uris?: Prefixes): Node[];
        selectSingleNode(xpath: string, uris?: Prefixes): Node | null;
        /** What an XPath expression of any type gives. */
        xpath(expression: string, uris?: Prefixes): number | string | boolean | Node[];
        toString(options?: { format?: boolean }): string;
    }
    const Node: NodeConstants & { prototype: Node; [Symbol.hasInstance](value: unknown): value is Node };

    interface ParentNode {
        readonly children: HTMLCollection;
        readonly firstElementChild: Element | null;
        readonly lastElementChild: Element | null;
        readonly childElementCount: number;
        append(...nodes: (Node | string)[]): void;
        prepend(...nodes: (Node | string)[]): void;
        replaceChildren(...nodes: (Node | string)[]): void;
        querySelector(css: string): Element | null;
        querySelectorAll(css: string): NodeList<Element>;
    }
    interface ChildNode {
        before(...nodes: (Node | string)[]): void;
        after(...nodes: (Node | string)[]): void;
        replaceWith(...nodes: (Node | string)[]): void;
        remove(): void;
    }

    interface Document extends Node, ParentNode {
        readonly ownerDocument: null;
        readonly documentElement: Element | null;
        readonly doctype: DocumentType | null;
        readonly implementation: DOMImplementation;
        encoding: string | null;
        readonly url: string | null;
        readonly documentURI: string | null;
        readonly URL: string;
        readonly characterSet: string;
        readonly inputEncoding: string;
        readonly contentType: string;
        readonly xmlVersion: string | null;
        readonly xmlEncoding: string | null;
        readonly xmlStandalone: boolean;
        readonly head: Element | null;
        readonly body: Element | null;
        readonly title: string;
        readonly lastMessage: string | null;
        createElement(name: string): Element;
        createElementNS(uri: string | null, name: string): Element;
        createDocumentFragment(): DocumentFragment;
        createTextNode(data: string): Text;
        createComment(data: string): Comment;
        createCDATASection(data: string): CDATASection;
        createProcessingInstruction(target: string, data: string): ProcessingInstruction;
        createAttribute(name: string): Attr;
        createAttributeNS(uri: string | null, name: string): Attr;
        createEntityReference(name: string): EntityReference;
        importNode<T extends Node>(node: T, deep?: boolean): T;
        adoptNode<T extends Node>(node: T): T;
        renameNode<T extends Element | Attr>(node: T, uri: string | null, name: string): T;
        getElementsByTagName(name: string): HTMLCollection;
        getElementsByTagNameNS(uri: string | null, name: string): HTMLCollection;
        getElementsByClassName(names: string): HTMLCollection;
        getElementById(id: string): Element | null;
        createNodeIterator(root: Node, whatToShow?: number, filter?: Filter | null): NodeIterator;
        createTreeWalker(root: Node, whatToShow?: number, filter?: Filter | null): TreeWalker;
        createExpression(expression: string, uris?: Prefixes | null): XPathExpression;
        createNSResolver(node: Node): { lookupNamespaceURI(prefix: string): string | null };
        evaluate(expression: string, node: Node, uris?: Prefixes | null, type?: number): XPathResult;
        /** Writes the file completely, or throws and leaves it as it was. */
        save(path: string, options?: { encoding?: string; format?: boolean }): void;
        validate(): { valid: boolean; report: string; errors: Fault[] };
    }
    interface DocumentFragment extends Node, ParentNode { innerHTML: string; }
    interface DocumentType extends Node, ChildNode {
        readonly name: string;
        readonly publicId: string | null;
        readonly systemId: string | null;
        readonly internalSubset: string | null;
        readonly entities: NamedNodeMap<Entity>;
        readonly notations: NamedNodeMap<Notation>;
    }
    interface Entity extends Node {
        readonly publicId: string | null;
        readonly systemId: string | null;
        readonly notationName: string | null;
    }
    interface Notation extends Node {
        readonly publicId: string | null;
        readonly systemId: string | null;
    }
    interface EntityReference extends Node, ChildNode {}

    interface Element extends Node, ParentNode, ChildNode {
        readonly tagName: string;
        readonly attributes: NamedNodeMap<Attr>;
        readonly nextElementSibling: Element | null;
        readonly previousElementSibling: Element | null;
        id: string;
        className: string;
        readonly classList: DOMTokenList;
        readonly dataset: Record<string, string | undefined>;
        innerHTML: string;
        outerHTML: string;
        getAttribute(name: string): string | null;
        setAttribute(name: string, value: string): void;
        removeAttribute(name: string): void;
        hasAttribute(name: string): boolean;
        toggleAttribute(name: string, force?: boolean): boolean;
        getAttributeNames(): string[];
        getAttributeNode(name: string): Attr | null;
        setAttributeNode(attr: Attr): Attr | null;
        removeAttributeNode(attr: Attr): Attr;
        getAttributeNS(uri: string | null, name: string): string | null;
        setAttributeNS(uri: string | null, name: string, value: string): void;
        removeAttributeNS(uri: string | null, name: string): void;
        hasAttributeNS(uri: string | null, name: string): boolean;
        getAttributeNodeNS(uri: string | null, name: string): Attr | null;
        setAttributeNodeNS(attr: Attr): Attr | null;
        getElementsByTagName(name: string): HTMLCollection;
        getElementsByTagNameNS(uri: string | null, name: string): HTMLCollection;
        getElementsByClassName(names: string): HTMLCollection;
        matches(css: string): boolean;
        closest(css: string): Element | null;
        insertAdjacentElement(where: InsertPosition, element: Element): Element | null;
        insertAdjacentText(where: InsertPosition, text: string): void;
        insertAdjacentHTML(where: InsertPosition, markup: string): void;
    }
    type InsertPosition = 'beforebegin' | 'afterbegin' | 'beforeend' | 'afterend';
    interface Attr extends Node {
        readonly name: string;
        readonly specified: boolean;
        value: string;
        readonly ownerElement: Element | null;
    }
    interface CharacterData extends Node, ChildNode {
        data: string;
        readonly length: number;
        readonly nextElementSibling: Element | null;
        readonly previousElementSibling: Element | null;
        substringData(from: number, count: number): string;
        appendData(text: string): void;
        insertData(from: number, text: string): void;
        deleteData(from: number, count: number): void;
        replaceData(from: number, count: number, text: string): void;
    }
    interface Text extends CharacterData {
        readonly wholeText: string;
        splitText(at: number): Text;
    }
    interface CDATASection extends Text {}
    interface Comment extends CharacterData {}
    interface ProcessingInstruction extends Node, ChildNode {
        readonly target: string;
        data: string;
    }

    interface XPathResult {
        readonly resultType: number;
        readonly numberValue: number;
        readonly stringValue: string;
        readonly booleanValue: boolean;
        readonly singleNodeValue: Node | null;
        readonly snapshotLength: number;
        readonly invalidIteratorState: boolean;
        snapshotItem(index: number): Node | null;
        iterateNext(): Node | null;
    }
    const XPathResult: {
        readonly ANY_TYPE: 0;
        readonly NUMBER_TYPE: 1;
        readonly STRING_TYPE: 2;
        readonly BOOLEAN_TYPE: 3;
        readonly UNORDERED_NODE_ITERATOR_TYPE: 4;
        readonly ORDERED_NODE_ITERATOR_TYPE: 5;
        readonly UNORDERED_NODE_SNAPSHOT_TYPE: 6;
        readonly ORDERED_NODE_SNAPSHOT_TYPE: 7;
        readonly ANY_UNORDERED_NODE_TYPE: 8;
        readonly FIRST_ORDERED_NODE_TYPE: 9;
    };
    interface XPathExpression { evaluate(node: Node, type?: number): XPathResult; }
    class XPathEvaluator {
        createExpression(expression: string, uris?: Prefixes | null): XPathExpression;
        createNSResolver(node: Node): { lookupNamespaceURI(prefix: string): string | null };
        evaluate(expression: string, node: Node, uris?: Prefixes | null, type?: number): XPathResult;
    }

    const NodeFilter: {
        readonly FILTER_ACCEPT: 1;
        readonly FILTER_REJECT: 2;
        readonly FILTER_SKIP: 3;
        readonly SHOW_ALL: number;
        readonly SHOW_ELEMENT: 1;
        readonly SHOW_ATTRIBUTE: 2;
        readonly SHOW_TEXT: 4;
        readonly SHOW_CDATA_SECTION: 8;
        readonly SHOW_ENTITY_REFERENCE: 16;
        readonly SHOW_PROCESSING_INSTRUCTION: 64;
        readonly SHOW_COMMENT: 128;
        readonly SHOW_DOCUMENT: 256;
        readonly SHOW_DOCUMENT_TYPE: 512;
        readonly SHOW_DOCUMENT_FRAGMENT: 1024;
    };
    interface NodeIterator {
        readonly root: Node;
        readonly whatToShow: number;
        readonly filter: Filter | null;
        readonly referenceNode: Node;
        readonly pointerBeforeReferenceNode: boolean;
        nextNode(): Node | null;
        previousNode(): Node | null;
        detach(): void;
    }
    interface TreeWalker {
        readonly root: Node;
        readonly whatToShow: number;
        readonly filter: Filter | null;
        currentNode: Node;
        parentNode(): Node | null;
        firstChild(): Node | null;
        lastChild(): Node | null;
        nextSibling(): Node | null;
        previousSibling(): Node | null;
        nextNode(): Node | null;
        previousNode(): Node | null;
    }

    class DOMParser { parseFromString(text: string, type: string): Document; }
    class XMLSerializer { serializeToString(node: Node): string; }
}
