// Frames over the whole shot, keyed with the present settings.

import {arrives, requestFor} from './frames.js';
import {later, make} from './dom.js';
import {texts} from './texts.js';
import {VIEWS} from './viewer.js';

const REDUCED = 8;
const QUIET = 350;  // milliseconds without a change before the strip is keyed again
const MOST = 12;

export class Strip {
    #store;
    #cells = [];
    #turn = 0;

    constructor(node, store) {
        this.#store = store;
        this.node = node;
        const again = later(QUIET, () => this.#refresh());
        store.on('shot', () => this.#build());
        store.on('work view', again);
        store.on('frame', () => this.#mark());
        new ResizeObserver(() => this.#build()).observe(node);
    }

    /** As many frames as fit, evenly over the shot, the first and the last among them. */
    #build() {
        const {shot} = this.#store;
        if (!shot) return;
        const aspect = shot.width / shot.height;
        const fits = Math.floor(this.node.clientWidth / (this.node.clientHeight * aspect + 4));
        const count = Math.max(Math.min(fits, shot.count, MOST), 1);
        const numbers = Array.from({length: count}, (_, i) =>
            shot.first + Math.round(count === 1 ? 0 : i * (shot.count - 1) / (count - 1)));
        this.node.hidden = shot.count === 1;
        if (numbers.join() === this.#cells.map((cell) => cell.frame).join() && this.#cells[0]?.shot === shot.path) return;
        this.#cells = numbers.map((frame) => this.#cell(frame, aspect, shot.path));
        this.node.replaceChildren(...this.#cells.map((cell) => cell.node));
        this.#mark();
        this.#refresh();
    }

    #cell(frame, aspect, shot) {
        const canvas = make('canvas', {width: '1', height: '1', 'aria-hidden': 'true'});
        const node = make('button', {type: 'button', class: 'cell', 'aria-label': texts.frameNumber(frame), title: texts.frameNumber(frame),
            style: {'aspect-ratio': String(aspect)}, on: {click: () => this.#store.goTo(frame)}}, canvas, make('span', {}, String(frame)));
        return {frame, canvas, node, shot};
    }

    #mark() {
        const {frame} = this.#store;
        const best = this.#cells.reduce((near, cell) =>
            Math.abs(cell.frame - frame) < Math.abs((near ?? cell).frame - frame) ? cell : near ?? cell, null);
        for (const cell of this.#cells) {
            cell.node.classList.toggle('near', cell === best);
            cell.node.classList.toggle('here', cell.frame === frame);
        }
    }

    /** Keys one frame after the other, and leaves off when something changes. */
    async #refresh() {
        const turn = ++this.#turn;
        const store = this.#store;
        if (!store.work || store.shot.count === 1) return;
        const show = VIEWS[store.view.show] ?? VIEWS.result;
        for (const cell of this.#cells) {
            if (store.dragging || turn !== this.#turn) return;
            const frame = await arrives(requestFor(store, show.frame, {scale: REDUCED, frame: cell.frame}), 'strip');
            if (turn !== this.#turn) return;
            if (frame) paint(cell.canvas, frame, show.look);
        }
    }
}

/** Paints a frame of 16 bits as it is looked at, over a checker where that shows through. */
function paint(canvas, {width, height, pixels}, look) {
    canvas.width = width;
    canvas.height = height;
    const context = canvas.getContext('2d');
    const image = context.createImageData(width, height);
    const {data} = image;
    for (let i = 0, x = 0, y = 0; i < pixels.length; i += 4) {
        const alpha = pixels[i + 3] / 65535;
        const behind = (x >> 3 ^ y >> 3) & 1 ? 74 : 92;
        for (let c = 0; c < 3; ++c) {
            const value = look === 2 ? pixels[i + 3] / 257 : pixels[i + c] / 257;
            data[i + c] = look === 0 || look === 2 ? value : value * alpha + behind * (1 - alpha);
        }
        data[i + 3] = 255;
        if (++x === width) { x = 0; ++y; }
    }
    context.putImageData(image, 0, 0);
}
