// Drawing garbage and core mattes in the picture, and moving what was drawn.

import {draw} from './dom.js';
import {corner, fromSvg, isCurved, keyFor, moveAll, moveHandle, movePoint, nearestOnEdge, pathData,
    pointsAt, removePoint, splitEdge, toSvg} from './shapes.js';
import {texts} from './texts.js';

export const PURPOSES = ['garbage', 'core'];
const NEAR = 9;  // CSS pixels

/** The drawn mattes of the work and the tools that change them. */
export class Pen {
    selected = null;  // {purpose, index}
    #store;
    #stage;
    #layer;
    #path = null;     // what is being drawn: {purpose, points, at}
    #read = {garbage: {text: null, shapes: []}, core: {text: null, shapes: []}};

    constructor(store, stage, viewer) {
        Object.assign(this, {viewer});
        this.#store = store;
        this.#stage = stage;
        this.#layer = stage.layer('shapes');
        for (const purpose of PURPOSES) stage.add(purpose, this.#drawTool(purpose));
        stage.add('edit', this.#editTool());
        viewer.onPaint(() => this.show());
        store.on('tool', () => { this.#path = null; viewer.draw(); });
        store.on('shot', () => { this.selected = null; });
    }

    /** The shapes of a purpose; null where its file holds what cannot be edited here. */
    shapes(purpose) {
        const text = this.#store.work?.inputs[purpose] ?? null;
        const read = this.#read[purpose];
        if (read.text !== text) Object.assign(read, {text, shapes: fromSvg(text)});
        return read.shapes;
    }

    get shape() {
        return this.selected && this.shapes(this.selected.purpose)?.[this.selected.index];
    }

    select(purpose, index) {
        this.selected = purpose ? {purpose, index} : null;
        this.#store.tell('selection');
        this.viewer.draw();
    }

    /** Changes the shapes of a purpose as one step of the work. */
    edit(purpose, change, merge = null) {
        const shapes = structuredClone(this.shapes(purpose) ?? []);
        change(shapes);
        const text = toSvg(shapes, purpose, this.viewer.size);
        this.#store.change((work) => { work.inputs[purpose] = text; }, merge);
    }

    /** Changes the selected shape. */
    editSelected(change, merge = null) {
        const {purpose, index} = this.selected;
        this.edit(purpose, (shapes) => change(shapes[index], shapes), merge);
    }

    add(purpose, points) {
        this.edit(purpose, (shapes) => shapes.push({feather: 0, keys: [{frame: this.#store.frame, points}]}));
        this.#store.setTool('edit');
        this.select(purpose, this.shapes(purpose).length - 1);
    }

    /** A box in the middle of the picture, for those who draw by keys. */
    addBox(purpose) {
        const [width, height] = this.viewer.size;
        const [l, t, r, b] = [width * 0.4, height * 0.4, width * 0.6, height * 0.6].map(Math.round);
        this.add(purpose, [corner(l, t), corner(r, t), corner(r, b), corner(l, b)]);
    }

    remove() {
        if (!this.shape) return;
        const {purpose, index} = this.selected;
        this.edit(purpose, (shapes) => shapes.splice(index, 1));
        this.select(null);
    }

    #near(a, b) {
        return this.#stage.distance(a, b) < NEAR;
    }

    // Drawing

    #drawTool(purpose) {
        return {
            down: (point) => this.#drawPoint(purpose, point),
            hover: (point) => { if (this.#path) { this.#path.at = point; this.viewer.draw(); } },
            double: () => this.#finish(),
            key: (event) => this.#drawKey(event),
        };
    }

    #drawPoint(purpose, point) {
        this.#path ??= {purpose, points: [], at: point};
        const {points} = this.#path;
        if (points.length > 2 && this.#near(point, points[0])) {
            this.#finish();
            return {};
        }
        if (points.length && this.#near(point, points.at(-1))) return {};
        const added = corner(...point);
        points.push(added);
        this.viewer.draw();
        return {move: (to) => {
            if (this.#near(to, added)) return;
            moveHandle(added, 4, to[0], to[1], true);
            this.viewer.draw();
        }};
    }

    #drawKey(event) {
        const pressed = event.key === 'Enter' && event.target.closest('button, summary, select');
        if (pressed && pressed.id !== `tool-${this.#store.tool}`) return;
        if (event.key === 'Escape') {
            if (this.#path) this.#path = null;
            else this.#store.setTool('none');
        } else if (event.key === 'Enter') {
            if (this.#path) this.#finish();
            else this.addBox(this.#store.tool);
        }
        else if (event.key === 'Backspace' && this.#path) this.#path.points.pop();
        else return;
        event.preventDefault();
        this.viewer.draw();
    }

    #finish() {
        const path = this.#path;
        this.#path = null;
        if (path?.points.length > 2) this.add(path.purpose, path.points);
        this.viewer.draw();
    }

    // Editing

    #editTool() {
        return {
            down: (point, event) => this.#grab(point, event),
            double: (point) => this.#addPoint(point),
            key: (event) => {
                if (event.key === 'Escape') this.#store.setTool('none');
                else if (event.key === 'Delete' || event.key === 'Backspace') this.remove();
            },
        };
    }

    #grab(point, event) {
        const own = this.selected ? this.#grabPoint(point, event) : null;
        if (own) return own;
        for (const purpose of PURPOSES)
            for (const [index, shape] of (this.shapes(purpose) ?? []).entries()) {
                const points = pointsAt(shape, this.#store.frame);
                const edge = nearestOnEdge(points, ...point);
                if (!this.#near([edge.x, edge.y], point) && !isInside(points, point)) continue;
                this.select(purpose, index);
                return this.#grabPoint(point, event) ?? this.#dragged((to, key, last) => moveAll(key.points, to[0] - last[0], to[1] - last[1]), point);
            }
        this.select(null);
        return null;
    }

    /** A handle or a point of the selected shape; Alt pulls handles out of a point. */
    #grabPoint(point, event) {
        if (!this.shape) return null;
        const points = pointsAt(this.shape, this.#store.frame);
        for (const [at, each] of points.entries())
            for (const which of [2, 4]) {
                const handle = each.slice(which, which + 2);
                const isOut = handle[0] !== each[0] || handle[1] !== each[1];
                if (isOut && this.#near(handle, point)) return this.#dragged((to, key, last, move) => moveHandle(key.points[at], which, to[0], to[1], !move.altKey), point);
            }
        const at = points.findIndex((each) => this.#near(each, point));
        if (at < 0) return null;
        return this.#dragged((to, key) => {
            if (event.altKey) moveHandle(key.points[at], 4, to[0], to[1], true);
            else movePoint(key.points[at], ...to);
        }, point);
    }

    #dragged(change, from) {
        const merge = `drag ${performance.now()}`;
        let last = from;
        return {
            move: (to, event) => {
                this.#store.setDragging(true);
                this.editSelected((shape) => change(to, keyFor(shape, this.#store.frame), last, event), merge);
                last = to;
            },
            up: () => this.#store.setDragging(false),
        };
    }

    /** On a point, between corner and smooth; on an edge, a point more. */
    #addPoint(point) {
        if (!this.shape) return;
        const points = pointsAt(this.shape, this.#store.frame);
        const at = points.findIndex((each) => this.#near(each, point));
        if (at >= 0) return this.editSelected((shape) => shape.keys.forEach((key) => turnSmooth(key.points, at)));
        const edge = nearestOnEdge(points, ...point);
        if (this.#near([edge.x, edge.y], point)) this.editSelected((shape) => splitEdge(shape, edge.edge, edge.part));
    }

    #pointKey(event, at) {
        const step = event.shiftKey ? 10 : 1;
        const moves = {ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step]};
        const frame = this.#store.frame;
        if (moves[event.key]) this.editSelected((shape) => moveAll([keyFor(shape, frame).points[at]], ...moves[event.key]), `nudge ${at}`);
        else if (event.key === 'Delete' && this.shape.keys[0].points.length > 3) this.editSelected((shape) => removePoint(shape, at));
        else return;
        event.preventDefault();
        event.stopPropagation();
    }

    // Showing

    show() {
        const store = this.#store;
        if (!store.work) return;
        const isEditing = ['edit', ...PURPOSES].includes(store.tool);
        const focused = this.#layer.querySelector(':focus')?.dataset.at;
        const map = (x, y) => this.viewer.toCanvas(x, y);
        const nodes = [];
        for (const purpose of isEditing ? PURPOSES : [])
            for (const [index, shape] of (this.shapes(purpose) ?? []).entries()) {
                const isSelected = this.selected?.purpose === purpose && this.selected.index === index;
                const points = pointsAt(shape, store.frame);
                nodes.push(...outline(pathData(points, isCurved(shape), map), `${purpose}${isSelected ? ' selected' : ''}`));
                if (isSelected) nodes.push(...this.#knobs(points, map));
            }
        if (this.#path) nodes.push(...this.#unfinished(map));
        if (nodes.length || this.#layer.children.length) this.#layer.replaceChildren(...nodes);
        if (focused !== undefined) this.#layer.querySelector(`[data-at="${focused}"]`)?.focus();
    }

    #knobs(points, map) {
        return points.flatMap((point, at) => {
            const [x, y] = map(point[0], point[1]);
            const handles = [2, 4].flatMap((which) => {
                const [hx, hy] = map(point[which], point[which + 1]);
                if (Math.hypot(hx - x, hy - y) < 1) return [];
                return [draw('line', {class: 'stem', x1: x, y1: y, x2: hx, y2: hy}), draw('circle', {class: 'handle', cx: hx, cy: hy, r: 3.5})];
            });
            const label = texts.pointAt(at + 1, Math.round(point[0]), Math.round(point[1]));
            return [...handles, draw('rect', {class: 'point', x: x - 4, y: y - 4, width: 8, height: 8, tabindex: '0',
                role: 'button', 'data-at': at, 'aria-label': label, on: {keydown: (event) => this.#pointKey(event, at)}})];
        });
    }

    #unfinished(map) {
        const {points, at, purpose} = this.#path;
        if (points.length === 0) return [];
        const all = [...points, corner(...at)];
        const data = pathData(all, true, map).replace(/ C [^C]*Z$/, '');
        const dots = points.map(([x, y], i) => {
            const [cx, cy] = map(x, y);
            return draw('circle', {class: i === 0 ? 'point first' : 'point', cx, cy, r: i === 0 ? 5 : 3.5});
        });
        return [...outline(data, `${purpose} open`), ...dots];
    }
}

function outline(d, name) {
    return [draw('path', {d, class: 'casing'}), draw('path', {d, class: `outline ${name}`})];
}

/** Whether a point lies within the straight outline of an outline's points. */
function isInside(points, [x, y]) {
    let inside = false;
    points.forEach(([ax, ay], i) => {
        const [bx, by] = points[(i + 1) % points.length];
        if (ay > y !== by > y && x < (bx - ax) * (y - ay) / (by - ay) + ax) inside = !inside;
    });
    return inside;
}

function turnSmooth(points, at) {
    const point = points[at];
    const [x, y] = point;
    if (point[4] !== x || point[5] !== y) return void points.splice(at, 1, corner(x, y));
    const before = points.at(at - 1), after = points[(at + 1) % points.length];
    const along = [(after[0] - before[0]) / 6, (after[1] - before[1]) / 6];
    points.splice(at, 1, [x, y, x - along[0], y - along[1], x + along[0], y + along[1]]);
}
