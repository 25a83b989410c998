// The studio's page: puts its parts together and follows the server.

import {get, listen, post} from './api.js';
import {Compare} from './compare.js';
import {button, make} from './dom.js';
import {chooseFile, dialog} from './files.js';
import {Histogram} from './histogram.js';
import {keyTable, listenToKeys, showHelp} from './keys.js';
import {MattesSection, PlateSection} from './mattes.js';
import {Messages} from './messages.js';
import {Panel} from './panel.js';
import {Pen} from './pen.js';
import {Probe} from './probe.js';
import {Renders} from './renders.js';
import {Saver} from './saver.js';
import {ScreenSection} from './screen.js';
import {Stage} from './stage.js';
import {Store} from './store.js';
import {Strip} from './strip.js';
import {texts} from './texts.js';
import {Timeline} from './timeline.js';
import {Viewbar} from './viewbar.js';
import {Viewer} from './viewer.js';

const at = (id) => document.getElementById(id);

export const store = new Store();
export const messages = new Messages(at('messages'));
export let viewer = null;
let renders = null;

function section(title, id) {
    const body = make('div', {class: 'rows'});
    at('settings').append(make('details', {open: true, class: 'section', id}, make('summary', {}, title), body));
    return body;
}

/** Opens a shot, which may take a moment while settings are found for it. */
export async function openShot(path) {
    document.body.classList.add('opening');
    messages.say(texts.opening(path));
    try {
        const shot = await post('/api/open', {path});
        shot.path ??= path;
        store.open(shot);
        tellOf(shot);
    } catch (refusal) {
        messages.fail(refusal);
    }
    document.body.classList.remove('opening');
}

/** What was found for a shot, or what is wrong with what lies beside it. */
function tellOf({problems, tuneReport}) {
    if (problems?.length) messages.fail({status: 400, message: problems.join(' ')});
    else messages.say(tuneReport?.join(' ') ?? '');
}

async function askForShot() {
    const path = await chooseFile({title: texts.openShot});
    if (path) openShot(path);
}

/** The exact line that renders this on a terminal. */
async function showCommand() {
    const {shot, work} = store;
    const body = {shot: shot.path, settings: work.settings, inputs: work.inputs, output: renders.suggestedOutput()};
    const answer = await post('/api/command', body).catch(messages.fail);
    if (!answer) return;
    const text = answer.line;
    const copied = await navigator.clipboard.writeText(text).then(() => true, () => false);
    dialog(texts.command, () => [make('p', {class: 'dim'}, copied ? texts.copied : texts.copyByHand),
        make('textarea', {readonly: true, class: 'command', id: 'command', rows: '6', 'aria-label': texts.command}, text)], {wide: true});
}

async function loadPreset() {
    const path = await chooseFile({title: texts.loadPreset, kinds: ['preset']});
    if (!path) return;
    const answer = await post('/api/preset/load', {path}).catch(messages.fail);
    const {view, ...settings} = answer?.settings ?? {};
    if (answer) store.change((work) => { work.settings = settings; });
}

async function savePreset() {
    const path = await chooseFile({title: texts.savePreset, save: `${store.shot.name}.preset.json`, kinds: ['preset']});
    if (!path) return;
    const answer = await post('/api/preset/save', {path, settings: store.work.settings, shot: store.shot.path}).catch(messages.fail);
    if (answer) messages.say(texts.saved(path));
}

function buildBar() {
    at('open').addEventListener('click', askForShot);
    at('start-open').addEventListener('click', askForShot);
    const actions = [
        button({label: texts.undo, symbol: 'undo', keys: 'Ctrl+Z', class: 'quiet', id: 'undo', onClick: () => store.undo()}),
        button({label: texts.redo, symbol: 'redo', keys: 'Ctrl+Y', class: 'quiet', id: 'redo', onClick: () => store.redo()}),
        button({label: texts.commandHelp, text: texts.command, class: 'quiet', id: 'copy-command', onClick: showCommand}),
        button({label: texts.render, text: texts.render, class: 'primary', id: 'render', onClick: () => renders.open()}),
        button({label: texts.help, text: '?', class: 'quiet', id: 'help', onClick: showHelp}),
    ];
    at('actions').append(...actions);
    const [undo, redo, command, render] = actions;
    const show = () => {
        undo.disabled = !store.canUndo;
        redo.disabled = !store.canRedo;
        command.disabled = render.disabled = !store.shot;
    };
    store.on('work shot', show);
    show();
    return render;
}

function showShot() {
    const {shot} = store;
    document.body.classList.add('has-shot');
    document.title = `${shot.name} – Veltrane`;
    at('open').replaceChildren(shot.name);
    at('open').title = `${shot.path} – ${texts.openShot}`;
    at('shot-facts').textContent = texts.shotFacts(shot);
}

function buildParts(session) {
    viewer = new Viewer(at('canvas'), store, messages.failPicture);
    viewer.onPaint(() => { if (viewer.main.isCurrent) messages.settlePicture(); });
    const stage = new Stage(at('stage'), at('overlay'), viewer, store);
    const timeline = new Timeline(at('timeline'), store, viewer);
    const render = buildBar();
    renders = new Renders(store, messages, render, openShot);
    const viewbar = new Viewbar({views: at('views'), below: at('viewbar')}, store, viewer, messages.fail);
    new ScreenSection(section(texts.screenSection, 'screen-section'), store, viewer, stage, messages);
    const snapshots = make('div', {class: 'snapshots'});
    new Panel(at('settings'), store, snapshots);
    const compare = new Compare(snapshots, store);
    const pen = new Pen(store, stage, viewer);
    const drawn = make('div', {id: 'mattes-section'});
    at('set-core-color').closest('.rows').prepend(drawn);
    new MattesSection(drawn, store, pen, timeline, messages);
    new PlateSection(section(texts.cleanPlate, 'plate-section'), store, messages);
    section(texts.presets, 'presets-section').append(make('div', {class: 'buttons'},
        button({label: texts.loadPreset, text: texts.loadPreset, onClick: loadPreset}),
        button({label: texts.savePreset, text: texts.savePreset, onClick: savePreset})));
    const probe = new Probe(at('probe'), store, viewer, stage);
    new Histogram(at('histogram'), store);
    new Strip(at('strip'), store);
    const saver = new Saver(store, messages);
    store.on('shot', showShot);
    listenToKeys(keyTable({store, viewer, viewbar, timeline, stage, probe, compare, renders, openShot: askForShot}), () => Boolean(store.shot));
    listen({
        render: (event) => renders.told(event),
        work: (event) => saver.told(event),
        lost: () => messages.setLost(texts.lost),
        refused: messages.fail,
        back: () => {
            messages.setLost('');
            viewer.retry();
            renders.load();
        },
    });
}

async function start() {
    try {
        store.session = await get('/api/session');
        buildParts(store.session);
    } catch (error) {
        messages.setLost(error.message === 'WebGL2' ? texts.noWebGl : error.message || texts.lost);
        throw error;
    }
    at('version').textContent = texts.versionFacts(store.session);
    renders.load();
    if (!store.session.shot) return;
    store.open(store.session.shot);
    tellOf(store.session.shot);
}

document.documentElement.lang = texts.language;
for (const node of document.querySelectorAll('[data-text]')) node.append(texts[node.dataset.text]);
for (const node of document.querySelectorAll('[data-label]')) node.setAttribute('aria-label', texts[node.dataset.label]);
start();
