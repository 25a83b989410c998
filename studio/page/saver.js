// The work is saved beside the shot without asking, and taken over from other pages.

import {client, post} from './api.js';
import {later} from './dom.js';
import {texts} from './texts.js';

const MOST_KEPT_ALIVE = 32000;  // characters that a browser surely sends after a page is closed

export class Saver {
    #store;
    #messages;
    #revision = 0;
    #saved = '';
    #busy = false;

    constructor(store, messages) {
        this.#store = store;
        this.#messages = messages;
        const save = later(400, () => this.save());
        store.on('shot', () => {
            this.#revision = store.shot.revision ?? 0;
            this.#saved = JSON.stringify(this.#content());
        });
        store.on('work view frame', save);
        addEventListener('pagehide', () => this.save(true));
    }

    #content() {
        const {work, view, frame} = this.#store;
        return {version: 1, ...work, view: {...view, frame}};
    }

    /** `last` where the page is being closed. */
    async save(last = false) {
        const {shot, work} = this.#store;
        if (!shot || !work || this.#busy) return;
        const content = this.#content(), text = JSON.stringify(content);
        if (text === this.#saved) return;
        this.#busy = true;
        try {
            const body = {shot: shot.path, work: content, revision: this.#revision, client};
            const answer = await post('/api/work', body, {keepalive: last && text.length < MOST_KEPT_ALIVE});
            this.#revision = answer.revision;
            this.#saved = text;
        } catch (refusal) {
            if (refusal.status === 409 && refusal.body.work) this.takeOver(refusal.body);
            else this.#messages.fail(refusal);
        }
        this.#busy = false;
        if (this.#store.shot === shot && JSON.stringify(this.#content()) !== text) this.save();
    }

    /** Another page was faster: its work is shown, and undo brings back this page's. */
    takeOver({work, revision}) {
        const {version, view, ...changed} = work;
        this.#revision = revision;
        this.#saved = JSON.stringify({version: 1, ...changed, view: {...this.#store.view, frame: this.#store.frame}});
        if (JSON.stringify(changed) === JSON.stringify(this.#store.work)) return;
        this.#store.change((own) => Object.assign(own, changed));
        this.#messages.say(texts.takenOver);
    }

    /** What the server tells of saved work. */
    told(event) {
        if (event.client === client || event.shot !== this.#store.shot?.path || event.revision <= this.#revision) return;
        if (event.work) this.takeOver(event);
    }
}
