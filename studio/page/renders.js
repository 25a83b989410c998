// Rendering: what is asked for, the queue, and looking at what is done.

import {get, post} from './api.js';
import {button, chooser, make} from './dom.js';
import {chooseFile, dialog} from './files.js';
import {texts} from './texts.js';

const OVER = new Set(['queued', 'running']);

export class Renders {
    #store;
    #messages;
    #list = new Map();
    #shown = new Set();

    /** `badge` is the button of the bar that tells of renders; `look(path)` opens one. */
    constructor(store, messages, badge, look) {
        this.#store = store;
        this.#messages = messages;
        Object.assign(this, {badge, look});
    }

    async load() {
        const answer = await get('/api/renders').catch(() => null);
        for (const render of answer?.renders ?? []) this.#list.set(render.id, render);
        this.#show();
    }

    told(render) {
        const before = this.#list.get(render.id)?.state;
        this.#list.set(render.id, {...this.#list.get(render.id), ...render});
        if (before && before !== render.state) {
            if (render.state === 'done') this.#messages.say(texts.renderDone(this.#list.get(render.id).output));
            if (render.state === 'failed') this.#messages.fail({status: 500, message: render.message});
        }
        this.#show();
    }

    #show() {
        const busy = [...this.#list.values()].filter((render) => OVER.has(render.state));
        const [now] = busy.filter((render) => render.state === 'running');
        this.badge.textContent = now ? texts.renderingShare(share(now)) : texts.render;
        this.badge.style.setProperty('--share', now ? `${share(now)}%` : '0%');
        for (const node of this.#shown) {
            if (node.isConnected) node.replaceChildren(...this.#rows());
            else this.#shown.delete(node);
        }
    }

    /** The dialog: a new render above, the queue below. */
    open() {
        return dialog(texts.render, (close) => {
            const queue = make('div', {class: 'queue', 'aria-live': 'polite'});
            this.#shown.add(queue);
            queue.append(...this.#rows());
            return [this.#form(), make('h2', {}, texts.queue), queue];
        }, {wide: true});
    }

    /** The formats that a shot of this kind can have; a still is one picture. */
    get #formats() {
        const {shot, session} = this.#store;
        return session.formats.filter((format) => (shot.kind === 'still') === (format.kind === 'still'));
    }

    #outputFor({kind, extension}) {
        const base = this.#store.shot.path.replace(/(\.(%\d*d|#+))?\.[^./]*$/, '');
        return `${base}-keyed${kind === 'sequence' ? '.%04d' : ''}${extension}`;
    }

    /** Where a render goes if nothing else is said. */
    suggestedOutput() {
        return this.#outputFor(this.#formats[0]);
    }

    #form() {
        const {shot, work, view} = this.#store;
        const formats = this.#formats;
        const format = chooser({label: texts.format, id: 'render-format', choices: formats.map((each, i) => [String(i), each.name]), onChoose: () => refresh()});
        const views = [['result', texts.withMatte], ['matte', texts.views.matte], ['foreground', texts.views.foreground]];
        const what = chooser({label: texts.what, id: 'render-view', choices: views, onChoose: () => refresh()});
        const output = make('input', {type: 'text', id: 'render-output', spellcheck: 'false', autocomplete: 'off'});
        const over = make('input', {type: 'checkbox', id: 'render-over'});
        const picture = view.background.kind === 'picture' && view.background.path;
        const range = make('input', {type: 'checkbox', id: 'render-range', checked: true});
        const [first, last] = work.range;
        const whole = first === shot.first && last === shot.first + shot.count - 1;
        const refresh = () => {
            const chosen = formats[format.select.value];
            output.value = this.#outputFor(chosen);
            if (!chosen.alpha && picture) over.checked = true;
        };
        refresh();
        const browse = async () => {
            const path = await chooseFile({title: texts.where, save: output.value.split('/').at(-1)});
            if (path) output.value = path;
        };
        const start = (event) => {
            event.preventDefault();
            this.#start(output.value.trim(), whole || !range.checked ? null : [first, last],
                {view: what.select.value, ...(picture && over.checked && {background: picture})});
        };
        const field = (id, label, ...parts) => make('div', {class: 'field'}, make('label', {for: id}, label), ...parts);
        return make('form', {class: 'renderform', on: {submit: start}},
            make('div', {class: 'fields'}, format.node, what.node),
            field('render-output', texts.where, output, button({label: texts.browse, text: texts.browse, onClick: browse})),
            shot.count === 1 || whole ? null : make('div', {class: 'field'}, range, make('label', {for: 'render-range'}, texts.onlyRange(first, last))),
            picture ? make('div', {class: 'field'}, over, make('label', {for: 'render-over'}, texts.overBackground(picture))) : null,
            make('div', {class: 'field'}, make('button', {type: 'submit', class: 'primary', id: 'start-render'}, texts.startRender)));
    }

    async #start(output, frames, options) {
        const {shot, work} = this.#store;
        try {
            const {id} = await post('/api/render', {shot: shot.path, settings: work.settings, inputs: work.inputs, output, options, ...(frames && {frames})});
            if (!this.#list.has(id)) this.told({id, shot: shot.path, output, state: 'queued', done: 0, total: 0});
        } catch (refusal) {
            this.#messages.fail(refusal);
        }
    }

    #rows() {
        const renders = [...this.#list.values()].reverse();
        if (renders.length === 0) return [make('p', {class: 'dim'}, texts.noRenders)];
        return renders.map((render) => make('div', {class: `render ${render.state}`, 'data-state': render.state},
            make('span', {class: 'filename'}, render.output),
            make('progress', {max: '100', value: String(share(render)), 'aria-label': render.output}),
            make('span', {class: 'dim facts'}, factsOf(render)), ...this.#actions(render)));
    }

    #actions(render) {
        const cancel = () => post(`/api/renders/${render.id}/cancel`, {}).catch(this.#messages.fail);
        if (OVER.has(render.state)) return [button({label: texts.cancelRender(render.output), text: texts.cancel, onClick: cancel})];
        if (render.state !== 'done') return [];
        return [button({label: texts.lookAt(render.output), text: texts.look, onClick: (event) => {
            event.target.closest('dialog').close();
            this.look(render.output);
        }})];
    }
}

function share({state, done, total}) {
    return state === 'done' ? 100 : total ? Math.round(100 * done / total) : 0;
}

function factsOf({state, done, total, rate, secondsLeft, message}) {
    if (state === 'running') return texts.progress(done, total, (rate ?? 0).toFixed(1), Math.ceil(secondsLeft ?? 0));
    return state === 'failed' ? message : texts.states[state];
}
