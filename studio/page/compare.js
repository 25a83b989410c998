// Snapshots A and B: settings that are kept, come back to, and compared with.

import {button, make, toggle} from './dom.js';
import {texts} from './texts.js';

const NAMES = ['A', 'B'];

export class Compare {
    #store;
    #rows;

    constructor(node, store) {
        this.#store = store;
        this.#rows = NAMES.map((name) => this.#row(name));
        node.append(...this.#rows.map((row) => row.node));
        store.on('work view shot', () => this.show());
    }

    #row(name) {
        const row = {name};
        row.keep = button({label: texts.keepAs(name), text: texts.keep, class: 'quiet', id: `keep-${name}`, onClick: () => this.keep(name)});
        row.use = button({label: texts.backTo(name), text: texts.use, class: 'quiet', id: `use-${name}`, onClick: () => this.use(name)});
        row.against = toggle({label: texts.compareWith(name), text: texts.compare, class: 'quiet', id: `compare-${name}`,
            onClick: () => this.against(name)});
        row.node = make('div', {class: 'snapshot', role: 'group', 'aria-label': texts.snapshot(name)}, make('b', {}, name), row.keep, row.use, row.against);
        return row;
    }

    keep(name) {
        this.#store.change((work) => {
            work.snapshots = [...work.snapshots.filter((entry) => entry.name !== name), {name, settings: {...work.settings}}];
        });
    }

    use(name) {
        const snapshot = this.#store.snapshot(name);
        if (snapshot) this.#store.change((work) => { work.settings = {...snapshot.settings}; });
    }

    /** The wipe and the difference are against this snapshot; once more, against none. */
    against(name) {
        const {view} = this.#store;
        const compare = view.compare === name ? '' : name;
        this.#store.look({compare, show: !compare && view.show === 'difference' ? 'result' : view.show});
    }

    show() {
        const {work, view} = this.#store;
        if (!work) return;
        for (const {name, use, against, node} of this.#rows) {
            const kept = this.#store.snapshot(name);
            use.disabled = against.disabled = !kept;
            against.setAttribute('aria-pressed', String(view.compare === name));
            const isNow = kept && JSON.stringify(kept.settings) === JSON.stringify(work.settings);
            node.classList.toggle('now', Boolean(isNow));
        }
    }
}
