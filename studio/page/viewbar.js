// How the picture is looked at: views, channels, background, wipe, zoom, and what stands there.

import {post} from './api.js';
import {button, chooser, make, say, segmented, toggle} from './dom.js';
import {chooseFile} from './files.js';
import {texts} from './texts.js';
import {VIEWS} from './viewer.js';

const CHANNELS = ['c', 'r', 'g', 'b', 'a', 'l'];
const GAINS = [1, 2, 4, 8, 16, 32, 64];

export class Viewbar {
    #store;
    #viewer;

    #fail;

    constructor({views, below}, store, viewer, fail) {
        this.#fail = fail;
        this.#store = store;
        this.#viewer = viewer;
        this.views = segmented({label: texts.view, choices: Object.keys(VIEWS).map((value) => ({value, label: texts.viewHelp[value], text: texts.views[value]})),
            onChoose: (value) => this.choose(value)});
        views.append(this.views.node);
        this.#below(below);
        store.on('view work shot dragging', () => this.show());
        viewer.onPaint(() => this.#facts());
    }

    #below(node) {
        const viewer = this.#viewer;
        this.channels = segmented({label: texts.channel, class: 'segments tight', onChoose: (channel) => this.channel(channel, false),
            choices: CHANNELS.map((value) => ({value, label: texts.channels[value], text: value.toUpperCase(), keys: value}))});
        const kinds = ['checker', 'black', 'grey', 'white', 'color', 'picture'];
        this.background = chooser({label: texts.over, id: 'background', choices: kinds.map((kind) => [kind, texts.backgrounds[kind]]), onChoose: (kind) => this.#setBackground(kind)});
        this.color = make('input', {type: 'color', id: 'background-color', 'aria-label': texts.backgroundColor,
            on: {input: () => this.#store.look({background: {...this.#store.view.background, color: this.color.value}})}});
        this.gain = chooser({label: texts.gain, id: 'gain', choices: GAINS.map((gain) => [String(gain), `${gain}×`]), onChoose: (gain) => this.#store.look({gain: Number(gain)})});
        this.wipe = toggle({label: texts.wipe, text: texts.wipe, keys: 'w', class: 'quiet', id: 'wipe', onClick: () => this.toggleWipe()});
        this.straight = toggle({label: texts.straightHelp, text: texts.straight, keys: 'p', class: 'quiet', onClick: () => this.togglePremultiplied()});
        this.nearest = toggle({label: texts.nearestHelp, text: texts.nearest, keys: 'n', class: 'quiet', onClick: () => viewer.change({nearest: !viewer.look.nearest})});
        this.zoom = button({label: texts.fit, text: '100 %', keys: 'f', class: 'quiet zoom', id: 'zoom', onClick: () => viewer.toFit()});
        this.tone = button({label: texts.resetLook, text: '', keys: '0', class: 'quiet tone', id: 'tone', onClick: () => viewer.resetLook()});
        this.mark = make('span', {class: 'reduced'});
        this.memory = make('span', {class: 'dim facts', id: 'memory', title: texts.memoryHelp});
        this.state = make('output', {class: 'dim facts', 'aria-label': texts.frameFacts, id: 'facts'});
        node.append(this.channels.node, this.background.node, this.color, this.gain.node, this.wipe, this.straight, this.nearest, this.zoom, this.tone,
            make('span', {class: 'space'}), this.mark, this.memory, this.state);
    }

    async #setBackground(kind) {
        const {background} = this.#store.view;
        if (kind !== 'picture') return this.#store.look({background: {...background, kind}});
        const path = await chooseFile({title: texts.chooseBackground});
        const picture = path && await post('/api/open', {path, tune: false}).catch(this.#fail);
        if (picture) this.#store.look({background: {...background, kind, path, first: picture.first}});
        this.show();
    }

    choose(show) {
        if (show !== 'difference' || this.#store.view.compare) return this.#store.look({show});
        const [first] = this.#store.work.snapshots;
        if (first) this.#store.look({show, compare: first.name});
    }

    /** A channel alone; its key once more shows the colours again. */
    channel(channel, toggles = true) {
        const {look} = this.#viewer;
        this.#viewer.change({channel: toggles && look.channel === channel ? 'c' : channel});
    }

    toggleWipe() {
        const wipe = this.#viewer.look.wipe ? null : {x: 0.5, y: 0.5, angle: 0};
        this.#viewer.change({wipe});
    }

    togglePremultiplied() {
        this.#viewer.change({premultiplied: !this.#viewer.look.premultiplied});
    }

    show() {
        const {view, work} = this.#store;
        if (!work) return;
        this.views.show(view.show);
        this.background.select.value = view.background.kind;
        this.background.node.title = view.background.kind === 'picture' ? view.background.path : '';
        this.color.hidden = view.background.kind !== 'color';
        this.color.value = view.background.color;
        this.gain.node.hidden = view.show !== 'difference';
        this.gain.select.value = String(view.gain);
        const difference = this.views.node.querySelector('[data-value="difference"]');
        difference.disabled = work.snapshots.length === 0;
    }

    /** What stands there, after each picture. */
    #facts() {
        const viewer = this.#viewer, {look} = viewer;
        this.channels.show(look.channel);
        this.wipe.setAttribute('aria-pressed', String(look.wipe !== null));
        this.straight.setAttribute('aria-pressed', String(!look.premultiplied));
        this.nearest.setAttribute('aria-pressed', String(look.nearest));
        const percent = viewer.zoom * 100;
        say(this.zoom, `${percent < 10 ? percent.toFixed(1) : Math.round(percent)} %`);
        const tones = [look.exposure && texts.exposureIs(look.exposure.toFixed(1)), look.gamma !== 1 && texts.gammaIs(look.gamma.toFixed(2))].filter(Boolean);
        say(this.tone, tones.join(' '));
        this.tone.hidden = tones.length === 0;
        const frame = viewer.main.frame;
        const {failed} = viewer.main;
        say(this.mark, look.sourceHeld ? texts.views.source : failed ? texts.refused : frame && frame.scale > 1 ? texts.reduced(frame.scale) : '');
        this.mark.title = failed ? texts.refusedHelp : '';
        const {shot, session} = this.#store;
        say(this.state, frame && shot ? texts.facts(frame.milliseconds.toFixed(1), Math.round(viewer.main.took)) : '');
        this.state.title = texts.factsHelp(frame?.form ?? '');
        say(this.memory, frame && shot ? texts.memory(inBytes(frame.memory), inBytes(session.memoryLimit)) : '');
    }
}

const inBytes = (count) => count < 2 ** 30 ? `${Math.round(count / 2 ** 20)} MB` : `${(count / 2 ** 30).toFixed(1)} GB`;
