// What pixels hold, in 16-bit integers, floats and hex: source, plate, matte and result together.

import {post} from './api.js';
import {asFloat, asHex, cssColor} from './color.js';
import {button, draw, later, make, say} from './dom.js';
import {texts} from './texts.js';
import {VIEWS} from './viewer.js';

const ROWS = ['source', 'plate', 'matte', 'result'];

/** A pixel of a frame that is held, or null where it is not or is another's. */
function pixelIn(slot, [x, y]) {
    const frame = slot.isCurrent ? slot.frame : null;
    if (!frame || frame.scale !== 1 || x >= frame.width || y >= frame.height) return null;
    const at = (y * frame.width + x) * 4;
    return Array.from(frame.pixels.subarray(at, at + 4));
}

const single = (value) => value && {mean: value, least: value, greatest: value};

export class Probe {
    #store;
    #viewer;
    #stage;
    #rows = new Map();
    #marks;
    #answer = {key: '', values: {}};
    #pixel = null;
    #pinned = new Map();

    constructor(node, store, viewer, stage) {
        Object.assign(this, {node});
        this.#store = store;
        this.#viewer = viewer;
        this.#stage = stage;
        this.#marks = stage.layer('pins');
        this.#build();
        this.#ask = later(60, () => this.#fetch());
        stage.onPointer((pixel) => this.#look(pixel));
        stage.add('region', this.#regionTool());
        viewer.onPaint(() => { this.#show(); this.#showMarks(); });
        store.on('work frame view shot', later(120, () => this.#fetchPins()));
    }

    #ask;

    #build() {
        this.place = make('span', {class: 'dim place'});
        const table = make('div', {class: 'readout', role: 'table', 'aria-label': texts.probe});
        for (const name of ROWS) {
            const parts = {swatch: make('span', {class: 'swatch'}), whole: make('span', {class: 'whole', role: 'cell'}),
                float: make('span', {class: 'dim', role: 'cell'}), hex: make('span', {class: 'dim hex', role: 'cell'})};
            table.append(make('div', {role: 'row', class: 'sample', 'data-of': name}, parts.swatch,
                make('span', {role: 'rowheader', class: 'name'}, texts.samples[name]), parts.whole, parts.float, parts.hex));
            this.#rows.set(name, parts);
        }
        this.pins = make('div', {class: 'pinlist'});
        this.node.append(make('div', {class: 'heading'}, make('h2', {}, texts.probe), this.place,
            button({label: texts.pinRegion, text: texts.pin, keys: 'x', class: 'quiet', id: 'pin', onClick: () => this.#store.setTool('region')})),
            table, this.pins);
    }

    /** Leaves the last pixel standing when the hand leaves the picture. */
    #look(pixel) {
        if (!pixel) return;
        this.#pixel = pixel;
        this.#show();
        this.#ask();
    }

    get #key() {
        const {shot, frame, work} = this.#store;
        return JSON.stringify([shot?.path, frame, this.#pixel, work?.settings, work?.inputs]);
    }

    #body(box) {
        const {shot, frame, work} = this.#store;
        return {shot: shot.path, frame, settings: work.settings, inputs: work.inputs, ...box};
    }

    /** Asks for what this page does not hold: the plate always, the rest as the view needs it. */
    async #fetch() {
        const key = this.#key;
        if (!this.#pixel || !this.#store.shot || this.#store.dragging || key === this.#answer.key) return;
        const [x, y] = this.#pixel;
        const values = await post('/api/probe', this.#body({x, y, width: 1, height: 1})).catch(() => null);
        if (!values) return;
        this.#answer = {key, values};
        this.#show();
    }

    #show() {
        if (!this.#pixel || !this.#store.shot) return;
        say(this.place, `${this.#pixel[0]}, ${this.#pixel[1]}`);
        const known = this.#answer.key === this.#key ? this.#answer.values : {};
        if (known !== this.#answer.values) this.#ask();
        const isResult = VIEWS[this.#store.view.show]?.frame === 'result';
        const result = single(isResult ? pixelIn(this.#viewer.shown, this.#pixel) : null) ?? known.result;
        this.#fill('source', single(pixelIn(this.#viewer.source, this.#pixel)) ?? known.source);
        this.#fill('plate', known.plate);
        this.#fill('result', result);
        this.#fill('matte', result ? single([result.mean[3], result.mean[3], result.mean[3]]) : known.matte, true);
    }

    #fill(name, sample, isGrey = false) {
        const {swatch, whole, float, hex} = this.#rows.get(name);
        if (!sample) {
            for (const part of [whole, float, hex]) part.textContent = part === whole ? '…' : '';
            return;
        }
        const count = isGrey ? 1 : name === 'result' ? 4 : 3;
        const values = sample.mean.slice(0, count);
        swatch.style.background = cssColor(sample.mean.slice(0, 3));
        say(whole, values.map((value) => String(Math.round(value)).padStart(5, '\u2007')).join(' '));
        say(float, values.map(asFloat).join(' '));
        say(hex, values.map(asHex).join(' '));
    }

    // Pinned pixels and regions

    #regionTool() {
        return {keyboard: true, down: (point) => {
            const from = this.#stage.pixelOf(point);
            if (!from) return null;
            const frame = draw('rect', {class: 'marquee'});
            this.#marks.append(frame);
            let box = {x: from[0], y: from[1], width: 1, height: 1};
            return {move: (to) => { box = this.#viewer.boxBetween(from, to); this.#viewer.placeBox(frame, box); },
                up: () => { frame.remove(); this.#add(box); this.#store.setTool('none'); }};
        }};
    }

    /** Pins the pixel that is looked at, or a box. */
    pinHere() {
        if (this.#pixel) this.#add({x: this.#pixel[0], y: this.#pixel[1], width: 1, height: 1});
    }

    #add(box) {
        this.#store.look({pins: [...this.#store.view.pins, box]});
        this.#fetchPins();
    }

    async #fetchPins() {
        const {view, shot} = this.#store;
        if (!shot) return;
        if (this.#store.dragging) return;
        for (const pin of view.pins) {
            const values = await post('/api/probe', this.#body(pin)).catch(() => null);
            if (values) this.#pinned.set(JSON.stringify(pin), values);
        }
        this.#showPins();
    }

    #showPins() {
        const {pins} = this.#store.view;
        const remove = (at) => this.#store.look({pins: pins.filter((_, i) => i !== at)});
        this.pins.replaceChildren(...pins.map((pin, i) => {
            const values = this.#pinned.get(JSON.stringify(pin));
            return make('div', {class: 'pinrow'}, make('b', {}, String(i + 1)),
                make('div', {}, ...(values ? pinLines(pin, values) : [texts.waiting])),
                button({label: texts.removePin(i + 1), symbol: 'close', class: 'quiet', onClick: () => remove(i)}));
        }));
    }

    #showMarks() {
        const {pins} = this.#store.view;
        if (!this.#store.shot || pins.length + this.#marks.children.length === 0) return;
        const boxes = pins.map((pin, i) => {
            const rect = draw('rect', {class: 'pin'});
            this.#viewer.placeBox(rect, pin);
            const [x, y] = this.#viewer.toCanvas(pin.x + pin.width, pin.y);
            return draw('g', {}, rect, draw('text', {x: x + 4, y: y + 4}, String(i + 1)));
        });
        this.#marks.replaceChildren(...this.#marks.querySelectorAll('.marquee'), ...boxes);
    }
}

const whole = (values) => values.map((value) => Math.round(value)).join(' ');

/** A pixel's values, or a region's mean with its least and greatest. */
function pinLines(pin, values) {
    const isRegion = pin.width * pin.height > 1;
    const line = (name, count) => {
        const part = values[name];
        const range = isRegion ? ` (${whole(part.least.slice(0, count))} – ${whole(part.greatest.slice(0, count))})` : '';
        return make('div', {}, make('span', {class: 'dim'}, `${texts.samples[name]} `), whole(part.mean.slice(0, count)), make('span', {class: 'dim'}, range));
    };
    return ROWS.map((name) => line(name, name === 'matte' ? 1 : name === 'result' ? 4 : 3));
}
