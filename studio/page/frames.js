// Frames from the server: the newest wish wins, what was seen lately is kept.

import {Refusal, fetchFrame} from './api.js';
import {applyChanges} from './changes.js';

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
        return [...this.#frames.values()].map((frame) => frame.request).filter((each) => JSON.stringify({...each, frame: null}) === like)
            .map((each) => each.frame);
    }
}

export const cache = new Cache();

/** What is asked of the server for a view; a source depends on no setting. */
export function requestFor(store, view, {settings, scale = 1, frame = store.frame} = {}) {
    const request = {shot: store.shot.path, frame, view, scale};
    if (view === 'source') return {...request, settings: {}, inputs: {}};
    return {...request, settings: settings ?? store.work.settings, inputs: store.work.inputs};
}

/** Whether frames are of the same picture, so that one may be told by what differs from the other. */
const isAlike = (a, b) => ['shot', 'frame', 'view', 'scale'].every((part) => a[part] === b[part]);

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
    #follows;
    #held = new Map();  // by scale, the last frame that came: the server tells what differs from it

    /**
     * `show(frame)` is called with each frame that arrives, `fail(refusal)` where none does. Where
     * the slot `follows` a slider, only what changes is sent and put into the memory of the frame
     * before, which is kept elsewhere when another picture takes its place.
     */
    constructor(purpose, show, fail, {follows = false} = {}) {
        this.#purpose = purpose;
        this.#show = show;
        this.#fail = fail;
        this.#follows = follows;
    }

    want(request) {
        const key = request && JSON.stringify(request);
        if (key === this.wanted) return;
        this.wanted = key;
        this.failed = false;
        this.#next = null;
        if (!request) return this.#empty();
        const kept = [...this.#held.values()].find((frame) => frame.key === key) ?? cache.get(key);
        if (kept) return this.#take(kept);
        this.#next = {request, key};
        if (!this.#busy) this.#work();
    }

    get isCurrent() {
        return this.frame?.key === this.wanted;
    }

    #empty() {
        this.frame = null;
        for (const frame of this.#held.values()) keep(frame);
        this.#held.clear();
    }

    #take(frame) {
        this.frame = frame;
        this.#show(frame);
    }

    async #work() {
        this.#busy = true;
        while (this.#next) {
            const {request, key} = this.#next;
            this.#next = null;
            const began = performance.now();
            try {
                const frame = await (this.#follows ? this.#followed(request, key) : this.#fetched(request, key));
                this.took = performance.now() - began;
                // A later wish that the cache could serve stands already.
                if (key === this.wanted || this.#next) this.#take(frame);
            } catch (refusal) {
                if (key !== this.wanted) continue;
                this.failed = true;
                this.#fail(refusal);
            }
        }
        this.#busy = false;
    }

    async #fetched(request, key) {
        const frame = {...await fetchFrame(request, this.#purpose), request, key};
        keep(frame);
        return frame;
    }

    /** The frame, made from the one before where that is of the same picture. */
    async #followed(request, key) {
        const before = this.#held.get(request.scale);
        const base = before && isAlike(before.request, request) ? before : null;
        const {changes, ...came} = await fetchFrame(request, this.#purpose, base?.generation ?? 0);
        const frame = {...came, request, key};
        if (changes) {
            frame.pixels = base.isKept ? base.pixels.slice() : base.pixels;
            frame.changed = {since: base.generation, boxes: applyChanges(changes, frame)};
            if (!frame.changed.boxes) throw new Refusal('', 0);
        } else if (before) {
            keep(before);
        }
        this.#held.set(request.scale, frame);
        return frame;
    }
}

/** The frame, or null where it does not come. */
export function arrives(request, purpose) {
    return new Promise((done) => new Slot(purpose, done, () => done(null)).want(request));
}

/** From now on the frame's pixels stay as they are. */
function keep(frame) {
    frame.isKept = true;
    cache.put(frame.key, frame);
}

/** By how much frames are reduced during a drag, from what the last exact one took. */
export function scaleForDrag(exactMilliseconds) {
    if (exactMilliseconds <= SLOW) return 1;
    return exactMilliseconds <= 4 * SLOW ? 2 : 4;
}
