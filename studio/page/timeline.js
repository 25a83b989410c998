// Time: scrubbing, stepping, playing, the range, and a strip of frames over the whole shot.

import {button, later, make} from './dom.js';
import {cache, requestFor} from './frames.js';
import {texts} from './texts.js';

const WINDOW = 500;  // milliseconds over which the rate is measured

export class Timeline {
    /** -1, 0 or 1, times how many frames a step takes. */
    speed = 0;
    rate = 0;
    #store;
    #viewer;
    #stamps = [];
    #due = 0;

    constructor(node, store, viewer) {
        this.#store = store;
        this.#viewer = viewer;
        this.node = node;
        this.#build();
        store.on('shot work frame', () => this.show());
        viewer.onPaint(later(150, () => this.#showKept()));
    }

    #build() {
        const step = (by) => () => this.step(by);
        this.play = button({label: texts.play, symbol: 'play', keys: texts.keys.space, class: 'quiet', id: 'play', onClick: () => this.toggle()});
        this.track = make('div', {class: 'timetrack', role: 'slider', tabindex: '0', id: 'scrub', 'aria-label': texts.frame},
            this.kept = make('canvas', {class: 'kept', height: '2'}),
            this.range = make('div', {class: 'range'}), this.keys = make('div', {class: 'keymarks'}),
            this.head = make('div', {class: 'head'}));
        this.number = make('input', {type: 'text', inputmode: 'numeric', class: 'number frame', 'aria-label': texts.frame, id: 'frame'});
        this.of = make('span', {class: 'dim'});
        this.fps = make('output', {class: 'dim fps', 'aria-label': texts.rate});
        this.node.append(
            make('div', {class: 'transport'},
                button({label: texts.first, symbol: 'first', keys: 'Home', class: 'quiet', onClick: () => this.toEnd(0)}),
                button({label: texts.previous, symbol: 'previous', keys: '←', class: 'quiet', onClick: step(-1)}),
                this.play,
                button({label: texts.next, symbol: 'next', keys: '→', class: 'quiet', onClick: step(1)}),
                button({label: texts.last, symbol: 'last', keys: 'End', class: 'quiet', onClick: () => this.toEnd(1)})),
            this.track, make('div', {class: 'count'}, this.number, this.of, this.fps));
        this.track.addEventListener('pointerdown', (event) => this.#scrub(event));
        this.track.addEventListener('keydown', (event) => this.#key(event));
        this.number.addEventListener('change', () => this.#typed());
    }

    get #ends() {
        const {first, count} = this.#store.shot;
        return [first, first + count - 1];
    }

    #share(frame) {
        const [first, last] = this.#ends;
        return last === first ? 0 : (frame - first) / (last - first);
    }

    show() {
        const {shot, frame, work} = this.#store;
        if (!shot || !work) return;
        const [first, last] = this.#ends;
        this.node.classList.toggle('still', shot.count === 1);
        const percent = (part) => `${part * 100}%`;
        this.head.style.left = percent(this.#share(frame));
        this.range.style.left = percent(this.#share(work.range[0]));
        this.range.style.right = percent(1 - this.#share(work.range[1]));
        const values = {'aria-valuemin': first, 'aria-valuemax': last, 'aria-valuenow': frame,
            'aria-valuetext': texts.frameOf(frame, last)};
        for (const [name, value] of Object.entries(values)) this.track.setAttribute(name, value);
        if (document.activeElement !== this.number) this.number.value = frame;
        this.of.textContent = texts.ofFrames(last);
    }

    /** Marks frames that hold keyframes of a drawn matte. */
    markKeys(frames) {
        this.keys.replaceChildren(...frames.map((frame) => make('i', {style: {left: `${this.#share(frame) * 100}%`}})));
    }

    #showKept() {
        const store = this.#store;
        if (!store.shot || store.shot.count === 1 || this.speed) return;
        const {count, first} = store.shot;
        const {kept} = this;
        if (kept.width !== count) kept.width = Math.min(count, 4096);
        const context = kept.getContext('2d');
        context.clearRect(0, 0, kept.width, 2);
        context.fillStyle = getComputedStyle(this.head).backgroundColor;
        for (const frame of cache.framesLike(requestFor(store, this.#viewer.frameName)))
            context.fillRect(Math.floor((frame - first) / count * kept.width), 0, Math.max(1, kept.width / count), 2);
    }

    #scrub(event) {
        if (!this.#store.shot) return;
        event.preventDefault();
        this.track.focus({preventScroll: true});
        this.stop();
        const box = this.track.getBoundingClientRect();
        const [first, last] = this.#ends;
        const go = (at) => this.#store.goTo(first + (at.clientX - box.left) / box.width * (last - first));
        go(event);
        this.#store.setDragging(true);
        this.track.setPointerCapture(event.pointerId);
        this.track.addEventListener('pointermove', go);
        this.track.addEventListener('lostpointercapture', () => {
            this.track.removeEventListener('pointermove', go);
            this.#store.setDragging(false);
        }, {once: true});
    }

    #key(event) {
        const moves = {ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1, PageUp: 10, PageDown: -10};
        if (event.key in moves) this.step(moves[event.key]);
        else return;
        event.preventDefault();
        event.stopPropagation();
    }

    #typed() {
        const frame = Number(this.number.value), [first, last] = this.#ends;
        if (Number.isInteger(frame) && frame >= first && frame <= last) this.#store.goTo(frame);
        this.number.value = this.#store.frame;
    }

    step(by) {
        this.stop();
        if (this.#store.shot) this.#store.goTo(this.#store.frame + by);
    }

    toEnd(which) {
        this.stop();
        if (this.#store.shot) this.#store.goTo(this.#store.work.range[which]);
    }

    mark(which) {
        const {frame} = this.#store;
        this.#store.change(({range}) => {
            range[which] = frame;
            if (range[0] > range[1]) range[1 - which] = frame;
        });
    }

    toggle() {
        if (this.speed) this.stop();
        else this.shuttle(1);
    }

    /** Plays in a direction; once more in the same one is twice as fast. */
    shuttle(direction) {
        if (!this.#store.shot || this.#store.shot.count === 1) return;
        const began = this.speed === 0;
        const goesOn = Math.sign(this.speed) === direction;
        this.speed = goesOn ? Math.max(-8, Math.min(8, this.speed * 2)) : direction;
        this.play.replaceChildren(...button({label: texts.pause, symbol: 'pause'}).childNodes);
        this.play.setAttribute('aria-label', texts.pause);
        if (began) this.#run();
    }

    stop() {
        if (!this.speed) return;
        this.speed = 0;
        this.play.replaceChildren(...button({label: texts.play, symbol: 'play'}).childNodes);
        this.play.setAttribute('aria-label', texts.play);
        this.fps.textContent = '';
        this.#viewer.playAt(0);
        this.#viewer.refresh();
    }

    /** Shows a frame after the other, none faster than the shot's rate and none left out. */
    async #run() {
        const {num, den} = this.#store.shot.rate ?? {num: 24, den: 1};
        const pace = 1000 * den / num;
        this.#stamps = [];
        this.#due = performance.now();
        this.#viewer.playAt(1);
        while (this.speed) {
            this.#store.goTo(this.#next);
            // While this frame is painted, the next one is keyed.
            const ahead = this.#viewer.expect(this.#next);
            await this.#viewer.stands();
            if (!this.speed) return;
            this.#count();
            this.#due = Math.max(this.#due + pace, performance.now() - pace);
            const wait = this.#due - performance.now();
            await new Promise((done) => setTimeout(done, Math.max(wait, 0)));
            await ahead;
        }
    }

    /** The frame to play after the present one. */
    get #next() {
        const [low, high] = this.#store.work.range, next = this.#store.frame + this.speed;
        return next > high ? low : next < low ? high : next;
    }

    #count() {
        const now = performance.now();
        this.#stamps.push(now);
        while (this.#stamps[0] < now - 2 * WINDOW) this.#stamps.shift();
        const spent = now - this.#stamps[0];
        if (spent < WINDOW) return;
        this.rate = (this.#stamps.length - 1) * 1000 / spent;
        this.fps.textContent = texts.fps(this.rate.toFixed(1));
        const {num, den} = this.#store.shot.rate ?? {num: 24, den: 1};
        if (this.rate < 0.9 * num / den) this.#viewer.playAt(2);
    }
}
