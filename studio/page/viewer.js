// The picture: which frames it needs, and how they are shown.

import {Painter} from './painter.js';
import {Slot, arrives, requestFor, scaleForDrag} from './frames.js';
import {parseColor} from './color.js';

/** What each view is made of: the frame asked for, and how the shader looks at it. */
export const VIEWS = {
    result: {frame: 'result', look: 1},
    matte: {frame: 'result', look: 2},
    source: {frame: 'source', look: 0},
    'clean-plate': {frame: 'clean-plate', look: 0},
    status: {frame: 'status', look: 0},
    foreground: {frame: 'result', look: 0},
    spill: {frame: 'spill', look: 0},
    difference: {frame: 'result', look: 3},
};

const LUMA = [0.2126, 0.7152, 0.0722, 0];

/** Rows that make what is shown from red, green, blue and alpha. */
const CHANNELS = {r: [1, 0, 0, 0], g: [0, 1, 0, 0], b: [0, 0, 1, 0], a: [0, 0, 0, 1], l: LUMA};
const CHECKER = 12;

/** How the picture is seen, beyond what is saved with the work. */
const neutral = () => ({channel: 'c', premultiplied: true, nearest: false, exposure: 0, gamma: 1,
    wipe: null, sourceHeld: false});

export class Viewer {
    /** Zoom and origin are in device pixels; `fit` follows the window's size. */
    zoom = 1;
    origin = [0, 0];
    fit = true;
    look = neutral();
    shown;
    source;
    exactTook = 0;  // milliseconds that the last exact frame took
    #store;
    #painter;
    #listeners = [];
    #drawing = false;
    #playScale = 0;
    #waiting = [];

    constructor(canvas, store, fail) {
        this.canvas = canvas;
        this.#store = store;
        this.#painter = new Painter(canvas, () => this.draw());
        const slot = (purpose, texture, options) => new Slot(purpose, (frame) => this.#arrived(texture, frame), (refusal) => { fail(refusal); this.#refreshSource(); this.draw(); }, options);
        this.shown = slot('main', 'uShown', {follows: true});
        this.source = slot('source', 'uSource');
        this.other = slot('snapshot', 'uOther');
        this.backdrop = slot('backdrop', 'uBackdrop');
        store.on('shot', () => this.#begin());
        store.on('work view frame dragging', () => this.refresh());
        new ResizeObserver(() => this.#resize()).observe(canvas.parentElement);
    }

    /** Calls `listener` after each frame that has come on screen and each move of the picture. */
    onPaint(listener) {
        this.#listeners.push(listener);
    }

    get size() {
        const {shot} = this.#store;
        return shot ? [shot.width, shot.height] : [1, 1];
    }

    #begin() {
        this.#painter.clear();
        for (const slot of [this.shown, this.source, this.other, this.backdrop]) slot.want(null);
        this.fit = true;
        this.look.wipe = null;
        this.#resize();
    }

    /** Asks for the frames that are now to be seen. */
    refresh() {
        const store = this.#store;
        if (!store.work) return;
        const show = VIEWS[store.view.show] ?? VIEWS.result;
        const scale = this.#playScale || (store.dragging ? scaleForDrag(this.exactTook) : 1);
        if (show.frame !== 'source') this.shown.want(requestFor(store, show.frame, {scale}));
        this.#refreshSource();
        const snapshot = store.snapshot(store.view.compare);
        this.other.want(snapshot ? requestFor(store, show.frame === 'source' ? 'result' : show.frame, {settings: snapshot.settings, scale}) : null);
        const {kind, path, first} = store.view.background;
        this.backdrop.want(kind === 'picture' && path ? sourceRequest(path, first) : null);
        this.draw();
    }

    /** The source waits for what is looked at, unless it is looked at itself, and is left out of play. */
    #refreshSource() {
        const isSeen = this.frameName === 'source' || this.look.wipe || this.look.sourceHeld;
        if (isSeen || !this.#playScale && (this.shown.isCurrent || this.shown.failed))
            this.source.want(requestFor(this.#store, 'source', {scale: this.#playScale || 1}));
    }

    /** Asks for a frame that will be looked at next; waits until it is there or will not come. */
    expect(frame) {
        return arrives(requestFor(this.#store, this.frameName, {scale: this.#playScale || 1, frame}), 'ahead');
    }

    /** Asks again for all that is missing, once the server is back. */
    retry() {
        for (const slot of [this.shown, this.source, this.other, this.backdrop]) if (!slot.isCurrent) slot.wanted = null;
        this.refresh();
    }

    /** What is asked of the server for the present view. */
    get frameName() {
        return (VIEWS[this.#store.view.show] ?? VIEWS.result).frame;
    }

    /** The slot whose frame the present view is made of. */
    get main() {
        return this.frameName === 'source' ? this.source : this.shown;
    }

    /** Waits until the frame that is asked for is on screen, or will not come. */
    stands() {
        this.draw();
        return new Promise((done) => this.#waiting.push(done));
    }

    /** While frames are played, they are reduced by so much; 0 ends that. */
    playAt(scale) {
        this.#playScale = scale;
    }

    #arrived(texture, frame) {
        if (texture === 'uShown' && frame.scale === 1 && !this.#playScale) this.exactTook = this.shown.took;
        this.#painter.hold(texture, frame);
        // At once, since the next refresh of the screen may be long in coming.
        if (texture !== 'uShown') return this.draw();
        this.paint();
        this.#refreshSource();
    }

    #resize() {
        const ratio = devicePixelRatio;
        const {clientWidth, clientHeight} = this.canvas.parentElement;
        const width = Math.max(1, Math.round(clientWidth * ratio)), height = Math.max(1, Math.round(clientHeight * ratio));
        if (this.canvas.width !== width || this.canvas.height !== height) {
            // What is in the middle stays there.
            this.origin = [this.origin[0] + Math.round((width - this.canvas.width) / 2), this.origin[1] + Math.round((height - this.canvas.height) / 2)];
            this.canvas.width = width;
            this.canvas.height = height;
        }
        if (this.fit) this.#fitNow();
        this.paint();
    }

    #fitNow() {
        const [width, height] = this.size, {canvas} = this;
        const margin = 12 * devicePixelRatio;
        this.zoom = Math.min((canvas.width - 2 * margin) / width, (canvas.height - 2 * margin) / height);
        if (this.zoom > 1) this.zoom = Math.max(1, Math.floor(this.zoom));
        this.origin = [Math.round((canvas.width - width * this.zoom) / 2), Math.round((canvas.height - height * this.zoom) / 2)];
    }

    toFit() {
        this.fit = true;
        this.#fitNow();
        this.draw();
    }

    /** Zooms about a point of the canvas in CSS pixels, or its middle. */
    zoomTo(zoom, point = null) {
        const ratio = devicePixelRatio;
        const [x, y] = point ? point.map((part) => part * ratio) : [this.canvas.width / 2, this.canvas.height / 2];
        const next = Math.min(Math.max(zoom, 0.02), 64);
        const factor = next / this.zoom;
        this.origin = [x - (x - this.origin[0]) * factor, y - (y - this.origin[1]) * factor];
        if (Number.isInteger(next)) this.origin = this.origin.map(Math.round);
        this.zoom = next;
        this.fit = false;
        this.draw();
    }

    pan(dx, dy) {
        this.origin = [this.origin[0] + dx * devicePixelRatio, this.origin[1] + dy * devicePixelRatio];
        this.fit = false;
        this.draw();
    }

    /** From CSS pixels of the canvas to picture pixels, and back. */
    toPicture(x, y) {
        const ratio = devicePixelRatio;
        return [(x * ratio - this.origin[0]) / this.zoom, (y * ratio - this.origin[1]) / this.zoom];
    }

    toCanvas(x, y) {
        const ratio = devicePixelRatio;
        return [(x * this.zoom + this.origin[0]) / ratio, (y * this.zoom + this.origin[1]) / ratio];
    }

    /** The box of whole pixels between two points, as far as it lies in the picture. */
    boxBetween(from, to) {
        const [width, height] = this.size;
        const inside = ([x, y]) => [Math.min(Math.max(Math.floor(x), 0), width - 1), Math.min(Math.max(Math.floor(y), 0), height - 1)];
        const [a, b] = [inside(from), inside(to)];
        return {x: Math.min(a[0], b[0]), y: Math.min(a[1], b[1]),
            width: Math.abs(a[0] - b[0]) + 1, height: Math.abs(a[1] - b[1]) + 1};
    }

    /** Puts a rectangle of the drawing where a box of the picture lies. */
    placeBox(node, box) {
        const [x, y] = this.toCanvas(box.x, box.y);
        const [right, bottom] = this.toCanvas(box.x + box.width, box.y + box.height);
        for (const [name, value] of Object.entries({x, y, width: right - x, height: bottom - y})) node.setAttribute(name, value);
    }

    change(changes) {
        Object.assign(this.look, changes);
        if (this.#store.work) this.#refreshSource();
        this.draw();
    }

    resetLook() {
        this.look = {...neutral(), wipe: this.look.wipe};
        this.draw();
    }

    /** Paints before the next screen refresh. */
    draw() {
        if (this.#drawing) return;
        this.#drawing = true;
        requestAnimationFrame(() => {
            this.#drawing = false;
            this.paint();
        });
    }

    paint() {
        if (this.#store.shot && this.main.frame) this.#paintFrame();
        for (const listener of this.#listeners) listener();
        if (this.main.isCurrent || this.main.failed) for (const done of this.#waiting.splice(0)) done();
    }

    #paintFrame() {
        const [width, height] = this.size, [x, y] = this.origin;
        const constants = this.#constants();
        const reach = constants.TAPS === 1 ? this.zoom * width / this.main.frame.width : 0;
        this.#painter.paint(constants, this.#uniforms(), [x, y, x + width * this.zoom, y + height * this.zoom], reach + 0.01);
    }

    #constants() {
        const {view} = this.#store, {look} = this;
        const show = VIEWS[view.show] ?? VIEWS.result;
        const other = this.other.frame !== null;
        const isSource = look.sourceHeld || show.frame === 'source';
        const keyed = show.look === 1 && !look.premultiplied ? 0 : show.look === 3 && !other ? 1 : show.look;
        const kinds = {picture: this.backdrop.frame ? 2 : 0, checker: 1};
        return {LOOK: isSource ? 4 : keyed, BEYOND: !look.wipe ? 0 : other && show.look !== 3 ? 2 : 1,
            BACKDROP: kinds[view.background.kind] ?? 0, TAPS: this.#taps(),
            TONED: Number(look.channel !== 'c' || look.exposure !== 0 || look.gamma !== 1)};
    }

    /** How pixels are smoothed; a picture that is shown smaller is averaged over what a dot covers. */
    #taps() {
        const covered = this.main.frame.width / this.size[0] / this.zoom;
        if (covered > 1) return Math.min(Math.ceil(covered), 4);
        return this.look.nearest || this.zoom === 1 && covered === 1 ? 0 : 1;
    }

    #uniforms() {
        const {view} = this.#store, {look} = this;
        const row = CHANNELS[look.channel];
        return {
            uSize: this.size, uOrigin: this.origin, uDot: 1 / this.zoom,
            uWipe: look.wipe ? this.wipeLine() : [1, 0, 0],
            uChannel: row ? [...row, ...row, ...row, 0, 0, 0, 1] : [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1],
            uBackdropColor: backdropColor(view.background), uSquare: CHECKER * devicePixelRatio,
            uGain: view.gain, uExposure: 2 ** look.exposure, uGamma: 1 / look.gamma,
        };
    }

    /** The wipe's edge: its normal, and how far along that it lies. */
    wipeLine() {
        const {x, y, angle} = this.look.wipe, [width, height] = this.size;
        const normal = [Math.cos(angle), Math.sin(angle)];
        return [...normal, normal[0] * x * width + normal[1] * y * height];
    }
}

/** A picture as it is. */
function sourceRequest(path, frame) {
    return {shot: path, frame, view: 'source', scale: 1, settings: {}, inputs: {}};
}

function backdropColor({kind, color}) {
    const greys = {black: [0, 0, 0], white: [1, 1, 1], grey: [0.5, 0.5, 0.5]};
    return greys[kind] ?? parseColor(color)?.map((part) => part / 65535) ?? [0, 0, 0];
}
