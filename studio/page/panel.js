// The settings, from the one table of parameters.

import {button, make} from './dom.js';
import {slider} from './slider.js';
import {texts} from './texts.js';

/** Rows that have a place of their own on the page. */
const ELSEWHERE = new Set(['view', 'key-color', 'screen']);

export class Panel {
    #store;
    #shows = [];

    /** Fills `node` with where to begin, `snapshots`, and the table's groups. */
    constructor(node, store, snapshots) {
        this.#store = store;
        const rows = store.session.parameters;
        node.append(this.#startings(snapshots));
        for (const group of rows.filter((row) => row.kind === 'group' && !row.group))
            node.append(this.#section(group, rows));
        store.on('work shot', () => this.show());
    }

    show() {
        if (this.#store.work) for (const show of this.#shows) show();
    }

    /** The shot's own settings or the defaults, under the screen's colour that is. */
    #startings(snapshots) {
        const store = this.#store;
        const all = (values) => () => store.change((work) => {
            const {'key-color': color, screen} = work.settings;
            work.settings = {...values(), 'key-color': color, ...(screen && {screen})};
        });
        const tuned = button({label: texts.toTunedHelp, text: texts.toTuned, id: 'to-tuned', onClick: all(() => store.tuned())});
        this.#shows.push(() => { tuned.hidden = !store.shot.tuned; });
        return make('div', {class: 'startings'},
            make('div', {class: 'buttons'}, tuned,
                button({label: texts.toDefaultsHelp, text: texts.toDefaults, id: 'to-defaults', onClick: all(() => store.defaults())})),
            snapshots);
    }

    #section(group, rows) {
        const body = make('div', {class: 'rows'});
        this.#fill(body, group, rows);
        return make('details', {open: true, class: 'section', id: `group-${group.id}`},
            make('summary', {title: group.help}, group.label), body);
    }

    #fill(body, group, rows) {
        for (const row of rows.filter((each) => each.group === group.id && !ELSEWHERE.has(each.name))) {
            if (row.kind === 'group') this.#subgroup(body, row, rows);
            else body.append(this.#row(row));
        }
    }

    /** A group that begins with its own switch needs no heading beside it. */
    #subgroup(body, group, rows) {
        const first = rows.find((row) => row.group === group.id);
        const inner = make('div', {class: 'subgroup', role: 'group', 'aria-label': group.label});
        if (first?.kind !== 'switch') inner.append(make('h3', {title: group.help}, group.label));
        this.#fill(inner, group, rows);
        body.append(inner);
    }

    #row(row) {
        const kinds = {integer: () => this.#slider(row), switch: () => this.#switch(row), choice: () => this.#choice(row)};
        return kinds[row.kind]();
    }

    #value(row) {
        return this.#store.work.settings[row.name] ?? row.default;
    }

    #label(row) {
        return this.#store.isBlue && row.labelBlue ? row.labelBlue : row.label;
    }

    #governed(row) {
        const governor = this.#store.session.parameters.find((other) => other.id === row.governor);
        return governor !== undefined && !this.#value(governor);
    }

    #slider(row) {
        const store = this.#store;
        const part = slider({id: `set-${row.name}`, label: row.label, help: row.help, min: row.min, max: row.max,
            unit: row.inPixels ? texts.pixels : texts.units[row.name] ?? '',
            onInput: (value) => store.set(row.name, value), onDrag: (on) => store.setDragging(on)});
        part.node.classList.toggle('governed', Boolean(row.governor));
        this.#shows.push(() => {
            part.node.querySelector('label').textContent = this.#label(row);
            part.show({value: this.#value(row), standard: row.default,
                tuned: store.tuned()[row.name] ?? row.default, disabled: this.#governed(row)});
        });
        return part.node;
    }

    #switch(row) {
        const id = `set-${row.name}`;
        const input = make('input', {type: 'checkbox', role: 'switch', id,
            on: {change: () => this.#store.set(row.name, input.checked, null)}});
        const node = make('div', {class: 'row switch', title: row.help}, make('label', {for: id}, row.label), input);
        this.#shows.push(() => {
            input.checked = this.#value(row);
            node.classList.toggle('changed', input.checked !== Boolean(row.default));
        });
        return node;
    }

    #choice(row) {
        const id = `set-${row.name}`;
        const select = make('select', {id, on: {change: () => this.#store.set(row.name, select.value, null)}},
            ...row.entries.map((entry) => make('option', {value: entry.name}, entry.label)));
        const names = (value) => row.entries.find((entry) => entry.number === value)?.name ?? value;
        this.#shows.push(() => { select.value = names(this.#value(row)); });
        return make('div', {class: 'row choice', title: row.help}, make('label', {for: id}, row.label), select);
    }
}
