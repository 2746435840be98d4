// The object of each handle: open addressing on the handle's bits. Neighbours in a tree are neighbours in memory
// mostly, and so are they in here: where there are many nodes this is several times as fast as a Map.
'use strict';

const smallest = 64;        // a power of two

/** Where to begin looking for a handle. Addresses differ in all but their lowest four bits, slots in their lowest
    ones: either way neighbours get places of their own. */
const place = handle => handle ^ (handle >>> 4);

class HandleTable {
    constructor() { this.#clear(smallest); }

    /** The object of a handle; undefined for none. */
    get(handle) {
        const keys = this.#keys, mask = keys.length - 1;
        for (let i = place(handle) & mask; ; i = (i + 1) & mask) {
            const key = keys[i];
            if (key === handle) return this.#objects[i];
            if (key === 0) return undefined;
        }
    }
    has(handle) { return this.get(handle) !== undefined; }

    set(handle, object) {
        const keys = this.#keys, mask = keys.length - 1;
        let i = place(handle) & mask;
        while (keys[i] !== 0 && keys[i] !== handle) i = (i + 1) & mask;
        if (keys[i] === 0) ++this.#size;
        keys[i] = handle;
        this.#objects[i] = object;
        if (this.#size * 2 > keys.length) this.#grow();
    }
    /** Forgets a handle; its place stays taken until the table grows. */
    delete(handle) {
        const keys = this.#keys, mask = keys.length - 1;
        for (let i = place(handle) & mask; keys[i] !== 0; i = (i + 1) & mask)
            if (keys[i] === handle) this.#objects[i] = undefined;
    }

    #keys;
    #objects;
    #size;

    #clear(length) {
        this.#keys = new Uint32Array(length);
        this.#objects = new Array(length).fill(undefined);
        this.#size = 0;
    }
    #grow() {
        const keys = this.#keys, objects = this.#objects;
        this.#clear(keys.length * 2);
        for (let i = 0; i < keys.length; ++i) if (objects[i] !== undefined) this.set(keys[i], objects[i]);
    }
}

exports.HandleTable = HandleTable;
