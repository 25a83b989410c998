// Frames from the server: the newest wish wins, what was seen lately is kept.

import {fetchFrame} from './api.js';

const KEPT_BYTES = 384 << 20;
const SLOW = 40;  // milliseconds a frame may take before dragging shows reduced ones

/** Frames by what they were asked with, the least recently used leave first. */
class Cache {
    #frames = new Map();
    bytes = 0;

    get(key) {
        const frame = this.#frames.get(key);
        if (!frame) return undefined;
        this.#frames.delete(key);
        this.#frames.set(key, frame);
        return frame;
    }

    put(key, frame) {
        if (this.#frames.has(key)) return;
        this.#frames.set(key, frame);
        this.bytes += frame.pixels.byteLength;
        for (const [oldest, old] of this.#frames) {
            if (this.bytes <= KEPT_BYTES || oldest === key) break;
            this.#frames.delete(oldest);
            this.bytes -= old.pixels.byteLength;
        }
    }

    /** The numbers of the frames that are kept of what is asked in the same way. */
    framesLike(request) {
        const like = JSON.stringify({...request, frame: null});
        return [...this.#frames.values()].filter((frame) => frame.like === like).map((frame) => frame.request.frame);
    }
}

export const cache = new Cache();

/** What is asked of the server for a view; a source depends on no setting. */
export function requestFor(store, view, {settings, scale = 1, frame = store.frame} = {}) {
    const request = {shot: store.shot.path, frame, view, scale};
    if (view === 'source') return {...request, settings: {}, inputs: {}};
    return {...request, settings: settings ?? store.work.settings, inputs: store.work.inputs};
}

/**
 * One place that shows a frame. While one is under way, only the newest of the wishes that come in
 * is kept, so that a drag is followed as fast as frames come and ends at its last value.
 */
export class Slot {
    frame = null;     // what is there
    wanted = null;    // the key of what should be
    took = 0;         // milliseconds from wish to pixels
    failed = false;   // whether what is wanted was refused
    #purpose;
    #show;
    #fail;
    #busy = false;
    #next = null;

    /** `show(frame)` is called with each frame that arrives, `fail(refusal)` where none does. */
    constructor(purpose, show, fail) {
        this.#purpose = purpose;
        this.#show = show;
        this.#fail = fail;
    }

    want(request) {
        const key = request && JSON.stringify(request);
        if (key === this.wanted) return;
        this.wanted = key;
        this.failed = false;
        this.#next = null;
        if (!request) return void (this.frame = null);
        const kept = cache.get(key);
        if (kept) return this.#take(kept, key);
        this.#next = {request, key};
        if (!this.#busy) this.#work();
    }

    get isCurrent() {
        return this.frame?.key === this.wanted;
    }

    #take(frame, key) {
        this.frame = {...frame, key};
        this.#show(this.frame);
    }

    async #work() {
        this.#busy = true;
        while (this.#next) {
            const {request, key} = this.#next;
            this.#next = null;
            const began = performance.now();
            try {
                const frame = {...await fetchFrame(request, this.#purpose), request, like: JSON.stringify({...request, frame: null})};
                this.took = performance.now() - began;
                cache.put(key, frame);
                // A later wish that the cache could serve stands already.
                if (key === this.wanted || this.#next) this.#take(frame, key);
            } catch (refusal) {
                if (key !== this.wanted) continue;
                this.failed = true;
                this.#fail(refusal);
            }
        }
        this.#busy = false;
    }
}

/** By how much frames are reduced during a drag, from what the last exact one took. */
export function scaleForDrag(exactMilliseconds) {
    if (exactMilliseconds <= SLOW) return 1;
    return exactMilliseconds <= 4 * SLOW ? 2 : 4;
}
