// The hand on the picture: moving it, its keys that are held, and the tools.

import {draw, takesText} from './dom.js';
import {texts} from './texts.js';

const REACH = 9;  // CSS pixels from which an edge can be grabbed

/**
 * Tools are {down, hover, double, key, keyboard, usesShift}: `down(point, event)` answers with
 * {move, up} to go on with a drag, or nothing. With `keyboard`, arrows move the place that is looked
 * at and Enter acts there.
 */
export class Stage {
    pointer = null;  // the picture pixel under the hand
    isOver = false;
    #held = null;    // 'e' or 'y'
    #tools = new Map();
    #always = [];
    #watchers = [];

    constructor(node, overlay, viewer, store) {
        Object.assign(this, {node, overlay, viewer, store});
        node.addEventListener('pointerdown', (event) => this.#down(event));
        node.addEventListener('pointermove', (event) => this.#hover(event));
        node.addEventListener('pointerleave', () => this.#leave());
        node.addEventListener('dblclick', (event) => this.#double(event));
        node.addEventListener('wheel', (event) => this.#wheel(event), {passive: false});
        node.addEventListener('contextmenu', (event) => event.preventDefault());
        addEventListener('keydown', (event) => this.#keyDown(event));
        addEventListener('keyup', (event) => this.#keyUp(event));
        addEventListener('blur', () => this.#release());
        store.on('tool', () => { node.dataset.tool = store.tool; });
        this.#always.push(this.#wipeTool());
        viewer.onPaint(() => this.#showWipe());
    }

    add(name, tool) {
        this.#tools.set(name, tool);
    }

    /** A tool that is there whichever is chosen. */
    addAlways(tool) {
        this.#always.unshift(tool);
    }

    /** Calls `watcher(pixel or null)` when the hand has moved over the picture. */
    onPointer(watcher) {
        this.#watchers.push(watcher);
    }

    /** A layer of the drawing that lies over the picture. */
    layer(name) {
        const layer = draw('g', {class: `layer ${name}`});
        this.overlay.append(layer);
        return layer;
    }

    at(event) {
        const box = this.node.getBoundingClientRect();
        return this.viewer.toPicture(event.clientX - box.left, event.clientY - box.top);
    }

    /** The pixel that holds a point, or null outside the picture. */
    pixelOf([x, y]) {
        const [width, height] = this.viewer.size;
        const inside = x >= 0 && y >= 0 && x < width && y < height;
        return inside && this.store.shot ? [Math.floor(x), Math.floor(y)] : null;
    }

    /** CSS pixels between two points of the picture. */
    distance(a, b) {
        return Math.hypot(a[0] - b[0], a[1] - b[1]) * this.viewer.zoom / devicePixelRatio;
    }

    get #tool() {
        return this.#tools.get(this.store.tool);
    }

    #down(event) {
        if (!this.store.shot || event.target.closest?.('button')) return;
        const point = this.at(event);
        this.node.focus({preventScroll: true});
        const grabs = event.button === 0 && !event.altKey && this.#held ? [this.#lookTool(this.#held)]
            : event.button === 0 ? [...this.#always, this.#tool] : [];
        let drag = null;
        for (const tool of grabs) if (!drag) drag = tool?.down?.(point, event) ?? null;
        drag ??= this.#panning();
        event.preventDefault();
        this.#follow(drag, event);
    }

    #follow(drag, event) {
        this.node.setPointerCapture(event.pointerId);
        let [x, y] = [event.clientX, event.clientY];
        const move = (next) => {
            drag.move?.(this.at(next), next, [next.clientX - x, next.clientY - y]);
            [x, y] = [next.clientX, next.clientY];
        };
        this.node.addEventListener('pointermove', move);
        this.node.addEventListener('lostpointercapture', (last) => {
            this.node.removeEventListener('pointermove', move);
            drag.up?.(this.at(last), last);
        }, {once: true});
    }

    #panning() {
        return {move: (point, event, [dx, dy]) => this.viewer.pan(dx, dy)};
    }

    #hover(event) {
        const point = this.at(event);
        this.isOver = true;
        this.#tool?.hover?.(point, event);
        this.point(this.pixelOf(point));
    }

    /** Says which pixel is looked at, be it by the hand or by keys. */
    point(pixel) {
        this.pointer = pixel;
        this.#showCross();
        for (const watcher of this.#watchers) watcher(pixel);
    }

    #showCross() {
        this.cross ??= this.layer('cross').appendChild(draw('path', {class: 'cross'}));
        const shown = this.pointer && this.#tool?.keyboard && document.activeElement === this.node;
        this.cross.toggleAttribute('hidden', !shown);
        if (!shown) return;
        const [x, y] = this.viewer.toCanvas(this.pointer[0] + 0.5, this.pointer[1] + 0.5);
        this.cross.setAttribute('d', `M ${x - 14} ${y} h 10 m 8 0 h 10 M ${x} ${y - 14} v 10 m 0 8 v 10`);
    }

    #leave() {
        this.isOver = false;
        this.point(null);
    }

    #double(event) {
        if (this.#held === 'e') return this.viewer.change({exposure: 0});
        if (this.#held === 'y') return this.viewer.change({gamma: 1});
        this.#tool?.double?.(this.at(event), event);
    }

    #wheel(event) {
        if (!this.store.shot) return;
        event.preventDefault();
        const box = this.node.getBoundingClientRect();
        this.viewer.zoomTo(this.viewer.zoom * 2 ** (-event.deltaY / 240), [event.clientX - box.left, event.clientY - box.top]);
    }

    #keyDown(event) {
        if (takesText(event.target) || document.querySelector('dialog[open]')) return;
        if (event.key === 'Shift' && !event.ctrlKey && !this.#busy) this.viewer.change({sourceHeld: true});
        else if ('ey'.includes(event.key) && !event.ctrlKey) this.#held = event.key;
        else return this.#toolKey(event);
        this.node.dataset.held = this.#held ?? '';
    }

    #toolKey(event) {
        const tool = this.#tool;
        if (event.key === 'Escape' && tool && !tool.key) return this.store.setTool('none');
        const step = event.shiftKey ? 10 : 1;
        const moves = {ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step]}[event.key];
        if (!tool?.keyboard || document.activeElement !== this.node) return tool?.key?.(event);
        const [width, height] = this.viewer.size;
        const [x, y] = this.pointer ?? [width >> 1, height >> 1];
        if (moves) this.point([Math.min(Math.max(x + moves[0], 0), width - 1), Math.min(Math.max(y + moves[1], 0), height - 1)]);
        else if (event.key === 'Enter') tool.down([x + 0.5, y + 0.5], event)?.up?.([x, y], event);
        else return;
        event.preventDefault();
        event.stopImmediatePropagation();
    }

    /** Shift means something else to a slider that is dragged and to a tool. */
    get #busy() {
        return this.store.dragging || document.activeElement?.type === 'range' || this.#tool?.usesShift;
    }

    #keyUp(event) {
        if (event.key === 'Shift') this.viewer.change({sourceHeld: false});
        if (event.key === this.#held) this.#release();
    }

    #release() {
        this.#held = null;
        this.node.dataset.held = '';
        if (this.viewer.look.sourceHeld) this.viewer.change({sourceHeld: false});
    }

    #lookTool(key) {
        const {viewer} = this;
        return {down: () => ({move: (point, event, [dx]) => {
            const {exposure, gamma} = viewer.look;
            if (key === 'e') viewer.change({exposure: Math.min(Math.max(exposure + dx / 100, -12), 12)});
            else viewer.change({gamma: Math.min(Math.max(gamma * 2 ** (dx / 200), 0.1), 10)});
        }})};
    }

    /** The wipe's edge is moved where it is grabbed, and turned by its knob. */
    #wipeTool() {
        const {viewer} = this;
        const moved = (point) => {
            const [width, height] = viewer.size;
            const limit = (part) => Math.min(Math.max(part, 0), 1);
            viewer.change({wipe: {...viewer.look.wipe, x: limit(point[0] / width), y: limit(point[1] / height)}});
        };
        const turned = (point) => {
            const [x, y] = this.#wipeMiddle();
            viewer.change({wipe: {...viewer.look.wipe, angle: Math.atan2(point[1] - y, point[0] - x) + Math.PI / 2}});
        };
        return {down: (point) => {
            if (!viewer.look.wipe) return null;
            if (this.distance(point, this.#wipeKnob()) < REACH + 3) return {move: turned};
            const [nx, ny, along] = viewer.wipeLine();
            const away = Math.abs(nx * point[0] + ny * point[1] - along) * viewer.zoom / devicePixelRatio;
            return away < REACH ? {move: moved} : null;
        }};
    }

    #wipeMiddle() {
        const {x, y} = this.viewer.look.wipe, [width, height] = this.viewer.size;
        return [x * width, y * height];
    }

    #wipeKnob() {
        const {angle} = this.viewer.look.wipe, [x, y] = this.#wipeMiddle();
        const reach = 90 * devicePixelRatio / this.viewer.zoom;
        return [x + Math.sin(angle) * reach, y - Math.cos(angle) * reach];
    }

    #showWipe() {
        this.wipeLayer ??= this.#makeWipe();
        const {wipe} = this.viewer.look;
        this.wipeLayer.node.toggleAttribute('hidden', !wipe);
        if (!wipe) return;
        const [x, y] = this.viewer.toCanvas(...this.#wipeMiddle());
        const [kx, ky] = this.viewer.toCanvas(...this.#wipeKnob());
        const far = [Math.sin(wipe.angle) * 9000, -Math.cos(wipe.angle) * 9000];
        const ends = {x1: x - far[0], y1: y - far[1], x2: x + far[0], y2: y + far[1]};
        const set = (node, values) => Object.entries(values).forEach(([name, value]) => node.setAttribute(name, value));
        for (const line of this.wipeLayer.lines) set(line, ends);
        set(this.wipeLayer.middle, {cx: x, cy: y, 'aria-valuenow': Math.round(wipe.x * 100), 'aria-valuetext': `${Math.round(wipe.x * 100)} %`});
        set(this.wipeLayer.knob, {cx: kx, cy: ky});
    }

    #makeWipe() {
        const lines = [draw('line', {class: 'shade'}), draw('line', {class: 'edge'})];
        const middle = draw('circle', {class: 'handle', r: 6, tabindex: '0', role: 'slider', 'aria-label': texts.wipeEdge,
            'aria-valuemin': '0', 'aria-valuemax': '100', on: {keydown: (event) => this.#wipeKey(event)}});
        const knob = draw('circle', {class: 'knob', r: 4});
        const node = this.layer('wipe');
        node.append(...lines, middle, knob);
        return {node, lines, middle, knob};
    }

    #wipeKey(event) {
        const {wipe} = this.viewer.look;
        const step = {ArrowLeft: -0.01, ArrowDown: -0.01, ArrowRight: 0.01, ArrowUp: 0.01, Home: -1, End: 1}[event.key];
        if (!step) return;
        this.viewer.change({wipe: {...wipe, x: Math.min(Math.max(wipe.x + step, 0), 1)}});
        event.preventDefault();
        event.stopPropagation();
    }
}
