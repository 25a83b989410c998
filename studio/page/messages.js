// One clear line for what went wrong or was done, and whether the server is there.

import {make} from './dom.js';
import {texts} from './texts.js';

export class Messages {
    #timer = 0;
    #ofPicture = '';

    constructor(node) {
        this.line = make('p', {role: 'status', class: 'message', 'aria-live': 'polite'});
        this.lost = make('p', {role: 'alert', class: 'lost', hidden: true});
        node.append(this.line, this.lost);
        this.line.addEventListener('click', () => this.#show('', ''));
    }

    #show(text, kind) {
        clearTimeout(this.#timer);
        this.line.textContent = text;
        this.line.className = `message ${kind}`;
        if (text) this.#timer = setTimeout(() => this.#show('', ''), kind === 'error' ? 12000 : 5000);
    }

    say(text) { this.#show(text, 'note'); }

    /** Shows what was refused. Frames that a newer wish replaced are no news, nor is a lost server once more. */
    fail = (refusal) => {
        if (refusal.status === 409 && !refusal.body?.work) return;
        if (refusal.status === 401) return this.setLost(texts.startedAnew);
        if (refusal.status !== 0) this.#show(refusal.message, 'error');
    };

    /** Why there is no picture; it stands until there is one. */
    failPicture = (refusal) => {
        this.fail(refusal);
        if (!this.line.classList.contains('error')) return;
        clearTimeout(this.#timer);
        this.#ofPicture = this.line.textContent;
    };

    settlePicture() {
        if (this.#ofPicture && this.line.textContent === this.#ofPicture) this.#show('', '');
        this.#ofPicture = '';
    }

    setLost(text) {
        this.lost.hidden = !text;
        this.lost.textContent = text;
    }
}
