// The screen's colour: found, picked in the source, or typed.

import {post} from './api.js';
import {cssColor, parseColor} from './color.js';
import {button, chooser, draw, make, toggle} from './dom.js';
import {texts} from './texts.js';

export class ScreenSection {
    #store;
    #viewer;
    #stage;
    #messages;

    constructor(node, store, viewer, stage, messages) {
        this.#store = store;
        this.#viewer = viewer;
        this.#stage = stage;
        this.#messages = messages;
        this.#marks = stage.layer('pick');
        this.#build(node);
        stage.add('pick', {keyboard: true, usesShift: true, down: (point) => this.#drag(point)});
        stage.onPointer((pixel) => this.#preview(pixel));
        store.on('work shot', () => this.#show());
        store.on('shot', () => this.#find(store.shot));
        store.on('tool', () => {
            this.pick.setAttribute('aria-pressed', String(store.tool === 'pick'));
            this.#show();
        });
    }

    #marks;

    #build(node) {
        this.swatch = make('span', {class: 'swatch large'});
        this.text = make('input', {type: 'text', id: 'key-color', class: 'hex', spellcheck: 'false', autocomplete: 'off', 'aria-label': texts.keyColor,
            on: {change: () => this.#typed()}});
        this.pick = toggle({label: texts.pickHelp, text: texts.pick, symbol: 'dropper', keys: 's', id: 'pick', onClick: () => this.#store.setTool('pick')});
        this.auto = toggle({label: texts.autoHelp, text: texts.auto, id: 'auto', onClick: () => this.#choose('auto', null)});
        this.note = make('p', {class: 'dim note', 'aria-live': 'polite'});
        const choices = [['', texts.screenFound], ['green', texts.screens.green], ['blue', texts.screens.blue]];
        this.screen = chooser({label: texts.screen, choices, id: 'screen', onChoose: (value) => this.#setScreen(value)});
        node.append(make('div', {class: 'keycolor'}, this.swatch, this.text, this.pick, this.auto), this.note, this.screen.node);
    }

    #show() {
        const {work, shot} = this.#store;
        if (!work) return;
        const color = work.settings['key-color'];
        const isAuto = color === 'auto';
        const found = isAuto ? shot.auto?.['key-color'] : color;
        const parsed = parseColor(found);
        this.swatch.style.background = parsed ? cssColor(parsed) : 'none';
        if (document.activeElement !== this.text) this.text.value = parsed ? cssColor(parsed) : '';
        this.auto.setAttribute('aria-pressed', String(isAuto));
        this.screen.select.value = work.settings.screen ?? '';
        if (this.#store.tool === 'pick') this.note.textContent = texts.pickHint;
        else if (isAuto) this.note.textContent = shot.auto ? texts.foundScreen(texts.screens[shot.auto.screen]) : '';
        else if (this.picked?.hex !== color) this.note.textContent = texts.chosenColor;
        else this.note.textContent = this.picked.text;
    }

    /** Asks what would be found, which "auto" stands for. */
    async #find(shot) {
        const found = await post('/api/pick', {shot: shot.path, frame: shot.first}).catch(() => null);
        shot.auto = found?.settings ?? null;
        if (shot === this.#store.shot) this.#show();
    }

    #choose(color, screen) {
        this.#store.change((work) => {
            work.settings['key-color'] = color;
            if (screen) work.settings.screen = screen;
            else delete work.settings.screen;
        });
    }

    #setScreen(value) {
        this.#store.change((work) => {
            if (value) work.settings.screen = value;
            else delete work.settings.screen;
        });
    }

    #typed() {
        const typed = this.text.value.trim();
        const color = typed.startsWith('#') ? typed : `#${typed}`;
        if (parseColor(color)) this.#choose(color.toLowerCase(), null);
        else this.#messages.fail({status: 400, message: texts.noColor(this.text.value)});
        this.#show();
    }

    /** The eyedropper always looks at the source, whatever view is shown. */
    #preview(pixel) {
        const {frame} = this.#viewer.source;
        if (this.#store.tool !== 'pick' || !pixel || !frame || frame.scale !== 1) return;
        const at = (pixel[1] * frame.width + pixel[0]) * 4;
        this.swatch.style.background = cssColor(frame.pixels.subarray(at, at + 3));
    }

    #drag(point) {
        const from = this.#stage.pixelOf(point);
        if (!from) return null;
        const frame = draw('rect', {class: 'marquee'});
        this.#marks.append(frame);
        let box = {x: from[0], y: from[1], width: 1, height: 1};
        return {
            move: (to) => {
                box = this.#viewer.boxBetween(from, to);
                this.#viewer.placeBox(frame, box);
            },
            up: () => {
                frame.remove();
                this.#pickIn(box);
            },
        };
    }

    async #pickIn(box) {
        const {shot, frame} = this.#store;
        try {
            const found = await post('/api/pick', {shot: shot.path, frame, ...box});
            this.picked = {hex: found.settings['key-color'], text: pickedText(found)};
            this.#store.change((work) => Object.assign(work.settings, found.settings));
            this.#show();
        } catch (refusal) {
            this.#messages.fail(refusal);
        }
    }
}

/** The mean of what was picked with how far it scatters. */
function pickedText({color, spread}) {
    const whole = (values) => values.map((value) => Math.round(value)).join(' ');
    return spread.some((value) => value > 0) ? texts.pickedArea(whole(color), whole(spread)) : texts.pickedSpot(whole(color));
}
