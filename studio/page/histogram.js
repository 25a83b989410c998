// How often each level of the matte occurs, counted logarithmically, with the shares at its ends.

import {post} from './api.js';
import {later, make} from './dom.js';
import {texts} from './texts.js';

const BINS = 128;

export class Histogram {
    #store;
    #last = null;

    constructor(node, store) {
        this.#store = store;
        this.node = node;
        this.canvas = make('canvas', {width: String(BINS * 2), height: '96', role: 'img', 'aria-label': texts.histogram});
        this.zeros = make('span', {class: 'end'});
        this.ones = make('span', {class: 'end right'});
        node.append(make('div', {class: 'heading'}, make('h2', {}, texts.histogram)), this.canvas,
            make('div', {class: 'ends'}, this.zeros, this.ones));
        store.on('shot work frame dragging', later(150, () => this.#refresh()));
        matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.#paint());
    }

    async #refresh() {
        const {shot, frame, work, dragging} = this.#store;
        if (!shot || dragging || !this.node.offsetParent) return;
        const body = {shot: shot.path, frame, settings: work.settings, inputs: work.inputs, bins: BINS};
        const answer = await post('/api/histogram', body).catch(() => null);
        if (!answer || this.#store.frame !== frame || this.#store.work !== work) return;
        this.#last = answer;
        this.zeros.textContent = texts.shareOfZero(percent(answer.zeros));
        this.ones.textContent = texts.shareOfOne(percent(answer.ones));
        this.canvas.setAttribute('aria-label', `${texts.histogram}: ${this.zeros.textContent}, ${this.ones.textContent}`);
        this.#paint();
    }

    #paint() {
        if (!this.#last) return;
        const context = this.canvas.getContext('2d'), {width, height} = this.canvas;
        const most = Math.log1p(Math.max(...this.#last.counts, 1));
        context.clearRect(0, 0, width, height);
        context.fillStyle = getComputedStyle(this.canvas).color;
        this.#last.counts.forEach((count, i) => {
            const tall = Math.log1p(count) / most * height;
            context.fillRect(i * width / BINS, height - tall, width / BINS - 0.5, tall);
        });
    }
}

function percent(share) {
    const value = share * 100;
    return `${value > 0 && value < 0.1 ? '<0.1' : value > 99.9 && value < 100 ? '>99.9' : value.toFixed(1)} %`;
}
