// Choosing a file or a place for one, among those the studio may touch.

import {get} from './api.js';
import {button, icon, make} from './dom.js';
import {texts} from './texts.js';

/** What can be opened as a shot, a background or a plate. */
const SHOTS = ['still', 'sequence', 'video'];

/** What the server lists only where it is asked for. */
const ENDINGS = {shapes: '.svg', preset: '.json'};

const SYMBOLS = {folder: 'folder', still: 'still', sequence: 'film', video: 'film'};

let lastFolder = '';

/** A dialog over the page; it closes by Escape, and answers what `close(value)` is given. */
export function dialog(title, build, {wide = false} = {}) {
    return new Promise((done) => {
        const node = make('dialog', {class: wide ? 'wide' : '', 'aria-label': title});
        let value = null;
        const close = (answer = null) => {
            value = answer;
            node.close();
        };
        node.append(make('header', {}, make('h1', {}, title), button({label: texts.close, symbol: 'close', class: 'quiet', onClick: () => close()})));
        node.append(...build(close, node));
        node.addEventListener('close', () => {
            node.remove();
            done(value);
        });
        node.addEventListener('click', (event) => { if (event.target === node) close(); });
        document.body.append(node);
        node.showModal();
    });
}

/**
 * Asks for a file of these kinds, a shot if none are given; with `save`, for a new one that is called
 * so at first. Answers its path within the root, or null.
 */
export function chooseFile({title, save = null, kinds = SHOTS}) {
    return dialog(title, (close) => {
        const state = {folder: lastFolder};
        const where = make('nav', {class: 'crumbs', 'aria-label': texts.folder});
        const list = make('div', {class: 'filelist', role: 'group', 'aria-label': title});
        const name = save === null ? null : make('input', {type: 'text', id: 'save-name', value: save, spellcheck: 'false', autocomplete: 'off'});
        const pathOf = (file) => (state.folder ? `${state.folder}/${file}` : file);
        const open = (folder) => showFolder(folder, {state, where, list, kinds, name, open, close});
        open(lastFolder);
        if (name === null) return [where, list];
        const form = make('form', {method: 'dialog', class: 'savename', on: {submit: (event) => {
            event.preventDefault();
            if (name.value.trim()) close(pathOf(name.value.trim()));
        }}}, make('label', {for: 'save-name'}, texts.name), name, make('button', {type: 'submit', class: 'primary'}, texts.save));
        return [where, list, form];
    });
}

async function showFolder(folder, {state, where, list, kinds, name, open, close}) {
    let answer;
    try {
        answer = await get(`/api/files?folder=${encodeURIComponent(folder)}&also=${kinds.map((kind) => ENDINGS[kind] ?? '').join('')}`);
    } catch (refusal) {
        if (folder) return open('');
        return list.replaceChildren(make('p', {class: 'error'}, refusal.message || texts.lost));
    }
    state.folder = lastFolder = answer.folder;
    showCrumbs(where, answer.folder, open);
    const shown = answer.entries.filter(({kind}) => kind === 'folder' || kinds.includes(kind));
    const entries = shown.map((entry) => {
        const facts = entry.kind === 'sequence' ? texts.framesCount(entry.frames) : texts.kinds[entry.kind] ?? '';
        const choose = () => {
            if (entry.kind === 'folder') open(entry.path);
            else if (name) name.value = entry.name;
            else close(entry.path);
        };
        return make('button', {type: 'button', class: 'file', 'data-path': entry.path, on: {click: choose}},
            icon(SYMBOLS[entry.kind] ?? 'still'), make('span', {}, entry.name), make('span', {class: 'dim'}, facts));
    });
    list.replaceChildren(...(entries.length ? entries : [make('p', {class: 'dim'}, name ? texts.emptyForNow : texts.emptyFolder)]));
    if (!name) return list.querySelector('button')?.focus();
    name.focus();
    name.setSelectionRange(0, Math.max(name.value.lastIndexOf('.'), 0));
}

function showCrumbs(where, folder, open) {
    const parts = folder ? folder.split('/') : [];
    const crumb = (text, path) => make('button', {type: 'button', class: 'quiet', on: {click: () => open(path)}}, text);
    where.replaceChildren(crumb(texts.root, ''), ...parts.flatMap((part, i) => ['/', crumb(part, parts.slice(0, i + 1).join('/'))]));
}
