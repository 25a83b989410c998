// What is worked on: the shot, the settings with their history, and how they are looked at.

const MOST_STEPS = 500;
const MERGE_WITHIN = 1200;  // milliseconds between changes of one slider that are one step

/** How a shot is looked at when it is opened for the first time. */
export function freshView() {
    return {show: 'result', background: {kind: 'checker', color: '#5a7088', path: ''}, pins: [],
        compare: '', gain: 8, frame: null};
}

export const noInputs = {garbage: null, core: null, garbageFile: null, coreFile: null,
    cleanPlate: null, matchPlate: false};

const same = (a, b) => JSON.stringify(a) === JSON.stringify(b);

/**
 * Tells those who listen of each change by its topic: 'shot', 'work' (settings, inputs, range or
 * snapshots), 'view', 'frame', 'dragging' and 'tool'.
 */
export class Store {
    session = null;
    shot = null;
    work = null;
    view = freshView();
    frame = 0;
    dragging = false;
    tool = 'none';
    #listeners = new Map();
    #undo = [];
    #redo = [];
    #merge = {name: null, at: 0};

    on(topics, listener) {
        for (const topic of topics.split(' ')) {
            if (!this.#listeners.has(topic)) this.#listeners.set(topic, []);
            this.#listeners.get(topic).push(listener);
        }
    }

    tell(topic) {
        for (const listener of this.#listeners.get(topic) ?? []) listener();
    }

    /** Begins work on a shot that the server has opened. */
    open(shot) {
        this.shot = shot;
        const saved = shot.work;
        const {view, ...settings} = shot.preset ?? saved?.settings ?? shot.tuned ?? this.defaults();
        const last = shot.first + shot.count - 1;
        this.work = {settings, inputs: {...noInputs, ...saved?.inputs},
            range: saved?.range ?? [shot.first, last], snapshots: saved?.snapshots ?? []};
        this.view = {...freshView(), ...saved?.view};
        this.frame = Math.min(Math.max(this.view.frame ?? shot.first, shot.first), last);
        this.#undo = [];
        this.#redo = [];
        this.tell('shot');
        this.tell('frame');
        this.tell('view');
        this.tell('work');
    }

    /** The table's defaults, with the screen's colour to be found. */
    defaults() {
        const settings = {};
        for (const row of this.session.parameters)
            if (row.name && row.name !== 'view' && row.name !== 'screen') settings[row.name] = row.default;
        settings['key-color'] = 'auto';
        return settings;
    }

    /** The settings that the shot was opened with: found for it, or else the defaults. */
    tuned() {
        const {view, ...settings} = this.shot?.tuned ?? this.defaults();
        return settings;
    }

    /** Whether the shot's screen is blue, as the settings say or as it was found. */
    get isBlue() {
        return (this.work?.settings.screen ?? this.shot?.auto?.screen) === 'blue';
    }

    /**
     * Changes the work as one step that can be undone: `edit` changes a copy. Changes under one
     * `merge` name that follow each other quickly are one step.
     */
    change(edit, merge = null) {
        const before = this.work;
        const next = structuredClone(before);
        edit(next);
        if (same(before, next)) return;
        const now = performance.now();
        const goesOn = merge !== null && merge === this.#merge.name && now - this.#merge.at < MERGE_WITHIN;
        if (!goesOn) this.#undo.push(before);
        if (this.#undo.length > MOST_STEPS) this.#undo.shift();
        this.#merge = {name: merge, at: now};
        this.#redo = [];
        this.work = next;
        this.tell('work');
    }

    set(name, value, merge = `setting ${name}`) {
        this.change((work) => { work.settings[name] = value; }, merge);
    }

    /** Ends a step, so that the next change of the same slider is one of its own. */
    settle() {
        this.#merge = {name: null, at: 0};
    }

    get canUndo() { return this.#undo.length > 0; }
    get canRedo() { return this.#redo.length > 0; }

    undo() { this.#step(this.#undo, this.#redo); }
    redo() { this.#step(this.#redo, this.#undo); }

    #step(from, to) {
        if (from.length === 0) return;
        to.push(this.work);
        this.work = from.pop();
        this.settle();
        this.tell('work');
    }

    look(changes) {
        this.view = {...this.view, ...changes};
        this.tell('view');
    }

    goTo(frame) {
        const {first, count} = this.shot;
        const next = Math.min(Math.max(Math.round(frame), first), first + count - 1);
        if (next === this.frame) return;
        this.frame = next;
        this.tell('frame');
    }

    setDragging(dragging) {
        if (dragging === this.dragging) return;
        this.dragging = dragging;
        if (!dragging) this.settle();
        this.tell('dragging');
    }

    setTool(tool) {
        this.tool = tool === this.tool ? 'none' : tool;
        this.tell('tool');
    }

    snapshot(name) {
        return this.work?.snapshots.find((entry) => entry.name === name);
    }
}
